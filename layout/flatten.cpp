#include "layout/flatten.h"

#include "layout/gdsiistream.h"
#include "layout/pathoutline.h"

#include <QTemporaryFile>
#include <QTransform>

#include <cmath>

#include <libGDSII.h>

#if defined(__SANITIZE_ADDRESS__)
// The reading library never frees the names of what it has read.
extern "C" const char *__lsan_default_suppressions();
extern "C" const char *__lsan_default_suppressions()
{
    return "leak:libGDSII";
}
#endif

namespace layout {
namespace {

const double maxCoordinate = 1e9; // sums and differences of two still fit an int

class Flattener {
public:
    Flattener(const libGDSII::GDSIIData &data, const QVector<QByteArray> &texts, FlatLayout *layout)
        : m_data(data)
        , m_texts(texts)
        , m_layout(layout)
    {
    }

    bool place(size_t structure, const QTransform &placement);

private:
    bool placeElement(const GDSIIElement &element, const QTransform &placement);
    bool placeArray(const GDSIIElement &element, const QTransform &placement);
    bool addPolygon(int layer, const QPolygonF &outline, const QTransform &placement);
    bool map(const QTransform &placement, const QPointF &point, QPoint *mapped) const;

    const libGDSII::GDSIIData &m_data;
    const QVector<QByteArray> &m_texts;
    FlatLayout *m_layout;
};

QPolygonF pointsOf(const GDSIIElement &element)
{
    QPolygonF points;
    for (size_t i = 0; i + 1 < element.XY.size(); i += 2)
        points.append(QPointF(element.XY[i], element.XY[i + 1]));
    return points;
}

// Mirrored at the x axis first, then magnified and rotated, then put in its place.
QTransform placementOf(const GDSIIElement &element, const QPointF &origin)
{
    const double degrees = std::remainder(element.Angle, 360.0);
    double cosine = std::cos(degrees * M_PI / 180), sine = std::sin(degrees * M_PI / 180);
    if (std::fmod(degrees, 90.0) == 0) { // keeps the coordinates exact
        cosine = std::round(cosine);
        sine = std::round(sine);
    }
    const double mag = element.Mag, flip = element.Refl ? -1 : 1;
    return QTransform(mag * cosine, mag * sine, -mag * flip * sine, mag * flip * cosine, origin.x(),
                      origin.y());
}

bool Flattener::map(const QTransform &placement, const QPointF &point, QPoint *mapped) const
{
    const QPointF exact = placement.map(point);
    // also refuses what is not a number
    if (!(std::fabs(exact.x()) <= maxCoordinate && std::fabs(exact.y()) <= maxCoordinate))
        return false;
    *mapped = exact.toPoint();
    return true;
}

bool Flattener::addPolygon(int layer, const QPolygonF &outline, const QTransform &placement)
{
    QPolygon polygon(outline.size());
    for (int i = 0; i < outline.size(); ++i) {
        if (!map(placement, outline.at(i), &polygon[i]))
            return false;
    }
    if (polygon.size() > 1 && polygon.first() == polygon.last())
        polygon.removeLast();
    m_layout->polygons[layer].append(polygon);
    return true;
}

bool Flattener::placeArray(const GDSIIElement &element, const QTransform &placement)
{
    const QPolygonF corners = pointsOf(element);
    const QPointF columnStep = (corners[1] - corners[0]) / element.Columns;
    const QPointF rowStep = (corners[2] - corners[0]) / element.Rows;
    for (int row = 0; row < element.Rows; ++row) {
        for (int column = 0; column < element.Columns; ++column) {
            const QPointF origin = corners[0] + column * columnStep + row * rowStep;
            if (!place(size_t(element.nsRef), placementOf(element, origin) * placement))
                return false;
        }
    }
    return true;
}

bool Flattener::placeElement(const GDSIIElement &element, const QTransform &placement)
{
    switch (element.Type) {
    case BOUNDARY:
        return addPolygon(element.Layer, pointsOf(element), placement);
    case PATH: {
        const double magnification = std::sqrt(std::fabs(placement.determinant()));
        const double width = element.Width < 0 ? -element.Width / magnification : element.Width;
        return addPolygon(element.Layer, pathOutline(pointsOf(element), width, element.PathType),
                          placement);
    }
    case SREF:
        return place(size_t(element.nsRef),
                     placementOf(element, pointsOf(element).first()) * placement);
    case AREF:
        return placeArray(element, placement);
    case TEXT: {
        const QByteArray text = m_texts.value(std::stoi(*element.Text));
        Label label{ element.Layer, QPoint(), QString::fromLatin1(text) };
        const bool inside = map(placement, pointsOf(element).first(), &label.position);
        m_layout->labels.append(label);
        return inside;
    }
    default:
        return true;
    }
}

bool Flattener::place(size_t structure, const QTransform &placement)
{
    for (const GDSIIElement *element : m_data.Structs[structure]->Elements) {
        if (!placeElement(*element, placement))
            return false;
    }
    return true;
}

bool flattenTopCells(const libGDSII::GDSIIData &data, const GdsiiStream &stream, FlatLayout *layout,
                     QString *error)
{
    Flattener flattener(data, stream.texts, layout);
    for (size_t i = 0; i < data.Structs.size(); ++i) {
        if (data.Structs[i]->IsReferenced)
            continue;
        if (layout->topCell.isEmpty())
            layout->topCell =
                QString::fromLatin1(stream.structureNames.value(std::stoi(*data.Structs[i]->Name)));
        if (!flattener.place(i, QTransform())) {
            *error =
                QStringLiteral("the layout reaches beyond %1 database units").arg(maxCoordinate);
            return false;
        }
    }
    return true;
}

} // namespace

bool flatten(const GdsiiStream &stream, FlatLayout *layout, QString *error)
{
    QTemporaryFile file; // the library reads files only
    if (!file.open() || file.write(stream.bytes) != stream.bytes.size() || !file.flush()) {
        *error = "cannot write a temporary file: " + file.errorString();
        return false;
    }
    const libGDSII::GDSIIData data(file.fileName().toStdString());
    if (data.ErrMsg) {
        *error = QString::fromStdString(*data.ErrMsg);
        return false;
    }
    layout->databaseUnitMetres = data.FileUnits[1];
    if (!(layout->databaseUnitMetres >= 1e-13 && layout->databaseUnitMetres <= 1e-3)) {
        *error = QStringLiteral("a database unit of %1 m is out of range")
                     .arg(layout->databaseUnitMetres);
        return false;
    }
    return flattenTopCells(data, stream, layout, error);
}

} // namespace layout
