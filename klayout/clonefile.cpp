#include "klayout/clonefile.h"

#include <QCoreApplication>
#include <QImageReader>
#include <QImageWriter>

#include <cmath>

namespace klayout {

// Qt writes texts with a blank in their key as one, under another key.
static const char matrixKey[] = "MatrixMicrometres", timeKey[] = "CreationTime";
static const char designKey[] = "Design";

static QString number(double value)
{
    return QString::number(value, 'g', 12);
}

static QString matrixText(const QTransform &m)
{
    QStringList values;
    for (double value : { m.m11(), m.m12(), m.m21(), m.m22(), m.dx(), m.dy() })
        values << QString::number(value, 'g', 17);
    return values.join(' ');
}

bool writeClone(const QString &file, const Clone &clone, QString *error)
{
    const QTransform &m = clone.toMicrometres;
    const struct {
        const char *key;
        QString text;
    } texts[] = {
        { timeKey, clone.time.toString(Qt::ISODateWithMs) },
        { designKey, clone.design },
        { "PositionMicrometres", number(m.dx()) + ' ' + number(m.dy()) },
        { "PixelSizeMicrometres",
          number(std::hypot(m.m11(), m.m12())) + ' ' + number(std::hypot(m.m21(), m.m22())) },
        { "RotationDegrees", number(std::atan2(m.m12(), m.m11()) * 180 / M_PI) },
        { matrixKey, matrixText(m) },
    };
    QImageWriter writer(file, "png");
    for (const auto &entry : texts)
        writer.setText(entry.key, entry.text);
    const bool grey = clone.image.allGray() && !clone.image.hasAlphaChannel();
    if (writer.write(grey ? clone.image.convertToFormat(QImage::Format_Grayscale8) : clone.image))
        return true;
    *error = QCoreApplication::translate("clones", "Cannot write %1: %2").arg(file, writer.errorString());
    return false;
}

Clone readClone(const QString &file, QString *error)
{
    QImageReader reader(file);
    Clone clone;
    clone.image = reader.read();
    if (clone.image.isNull())
        *error = QCoreApplication::translate("clones", "Cannot read %1: %2").arg(file, reader.errorString());
    clone.time = QDateTime::fromString(clone.image.text(timeKey), Qt::ISODateWithMs);
    clone.design = clone.image.text(designKey);
    const QStringList m = clone.image.text(matrixKey).split(' ');
    if (m.size() == 6)
        clone.toMicrometres = QTransform(m[0].toDouble(), m[1].toDouble(), m[2].toDouble(),
                                         m[3].toDouble(), m[4].toDouble(), m[5].toDouble());
    return clone;
}

} // namespace klayout
