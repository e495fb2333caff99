#ifndef ALIGNMENT_IMAGEPLACEMENT_H
#define ALIGNMENT_IMAGEPLACEMENT_H

#include <QMatrix>
#include <QPointF>

/// The seven values with which a host draws the background image over the design.
struct ImagePlacement {
    double x; ///< design point of the image's pixel (0, 0), database units
    double y;
    double scaleX; ///< database units per pixel
    double scaleY; ///< applied negated: rows run downwards, design y upwards
    double shearH;
    double shearV;
    double rotation; ///< degrees

    /// Maps image pixels to the design.
    QMatrix matrix() const;

    /// The design point of the centre of an image with `imageSize` pixels a side.
    QPointF centre(int imageSize) const;
    void moveBy(const QPointF &offset);
    void moveCentreTo(const QPointF &design, int imageSize);

    /// Follows a view field that changed from `from` to `to` (mm). A scale that ends up more than
    /// 10 % off `nominalPixelSize` (database units) is set to it.
    void zoom(double from, double to, double nominalPixelSize);

    bool isFinite() const;
};

/// Database units that one pixel of the microscope's image covers.
double pixelSize(double viewFieldMm, double databaseUnits, int imageSize);

#endif
