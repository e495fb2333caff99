#ifndef HOSTING_PLACEMENT_H
#define HOSTING_PLACEMENT_H

#include <QPointF>
#include <QTransform>

namespace hosting {

/// The seven values that say where a background image lies in the design. Lengths are database
/// units, y upwards; image rows run downwards, hence the negated scaleY in the matrix.
struct Placement {
    double x = 0, y = 0; ///< design position of the image's top left corner
    double scaleX = 0, scaleY = 0; ///< database units per image pixel; 0 for no place yet
    double shearH = 0, shearV = 0;
    double rotationDegrees = 0;

    /// Image pixels to design coordinates.
    QTransform toTransform() const;
    /// Values with which toTransform() gives `matrix`; shearV is 0. `matrix` must be invertible.
    static Placement fromTransform(const QTransform &matrix);

    /// Exactly the same values.
    bool operator==(const Placement &other) const;
    bool operator!=(const Placement &other) const { return !(*this == other); }

    /// False when the values are not finite or squeeze the image into a line.
    bool isDrawable() const;

    /// The design point that counts as the centre of an image with so many pixels a side. Whole
    /// pixels, as plugins halve the image size.
    QPointF centre(int imageSize) const;

    Placement moved(const QPointF &offset) const;
    Placement withCentre(const QPointF &centre, int imageSize) const;
    /// Turned counter-clockwise about `pivot`, a design point.
    Placement turned(const QPointF &pivot, double degrees) const;
    /// Enlarged by `factor` about `pivot`, a design point.
    Placement scaled(const QPointF &pivot, double factor) const;
};

} // namespace hosting

#endif
