#ifndef KLAYOUT_CLONEFILE_H
#define KLAYOUT_CLONEFILE_H

#include <QDateTime>
#include <QImage>
#include <QTransform>

namespace klayout {

/// A picture of the microscope and where it lies.
struct Clone {
    QImage image;
    /// Pixels, counted from the image's centre to the right and upwards as KLayout's images do, to
    /// micrometres in the design.
    QTransform toMicrometres;
    QDateTime time;
    QString design;
};

/// Writes a PNG with text entries for the position of the centre, the pixel size, the rotation, the
/// whole matrix, the time and the design. Returns false, with the reason in `error`.
bool writeClone(const QString &file, const Clone &clone, QString *error);

/// Reads one back; the image is null, with the reason in `error`, if there is none.
Clone readClone(const QString &file, QString *error);

} // namespace klayout

#endif
