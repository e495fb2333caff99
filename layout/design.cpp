#include "layout/design.h"

#include "layout/flatten.h"
#include "layout/gdsiistream.h"
#include "layout/layergrid.h"

#include <QFile>
#include <QFileInfo>

namespace layout {
namespace {

const qint64 maxFileBytes = qint64(1) << 29; // two copies of it in one QByteArray each

bool readFile(const QString &path, QByteArray *bytes, QString *reason)
{
    QFile file(path);
    if (QFileInfo(path).isDir()) {
        *reason = "this is a folder";
        return false;
    }
    if (!file.open(QIODevice::ReadOnly)) {
        *reason = file.errorString();
        return false;
    }
    if (file.size() > maxFileBytes) {
        *reason = "the file is too large";
        return false;
    }
    *bytes = file.readAll();
    *reason = file.errorString();
    return file.error() == QFileDevice::NoError;
}

Layer makeLayer(int number, const QVector<QPolygon> &polygons)
{
    Layer layer{ number, polygons, {} };
    layer.bounds.reserve(polygons.size());
    for (const QPolygon &polygon : polygons)
        layer.bounds.append(polygon.boundingRect());
    return layer;
}

// Many editors give every library the same name, others none.
QString nameOf(const QString &library, const QString &topCell)
{
    return library.isEmpty() || library == topCell ? topCell : library + '/' + topCell;
}

bool readLayout(const QString &path, GdsiiStream *stream, FlatLayout *flat, QString *reason)
{
    QByteArray file;
    if (!readFile(path, &file, reason) || !checkGdsii(file, stream, reason)
        || !flatten(*stream, flat, reason))
        return false;
    *reason = "there is no polygon in it";
    return !flat->polygons.empty();
}

} // namespace

bool Design::load(const QString &path, QString *error)
{
    GdsiiStream stream;
    FlatLayout flat;
    QString reason;
    if (!readLayout(path, &stream, &flat, &reason)) {
        *error = QStringLiteral("cannot read the layout %1: %2").arg(path, reason);
        return false;
    }
    Design read;
    QVector<QRect> layerBounds;
    for (const auto &entry : flat.polygons) {
        const Layer layer = makeLayer(entry.first, entry.second);
        layerBounds.append(united(layer.bounds));
        read.m_grids.append(std::make_shared<const LayerGrid>(layer.bounds));
        read.m_layers.append(layer);
    }
    read.m_name = nameOf(QString::fromLatin1(stream.libraryName), flat.topCell);
    read.m_databaseUnitMetres = flat.databaseUnitMetres;
    read.m_bounds = united(layerBounds);
    read.m_labels = flat.labels;
    *this = read;
    return true;
}

void Design::forEachPolygon(int layerIndex, const QRectF &window,
                            const std::function<void(const QPolygon &, const QRect &)> &visit) const
{
    const Layer &layer = m_layers.at(layerIndex);
    for (int index : m_grids.at(layerIndex)->find(window))
        visit(layer.polygons.at(index), layer.bounds.at(index));
}

} // namespace layout
