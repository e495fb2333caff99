#include "alignment/imageplacement.h"

#include <qnumeric.h>

namespace {
double zoomedScale(double scale, double from, double to, double nominal)
{
    scale = scale / from * to;
    return scale < 0.9 * nominal || scale > 1.1 * nominal ? nominal : scale;
}
} // namespace

QMatrix ImagePlacement::matrix() const
{
    QMatrix matrix;
    matrix.translate(x, y);
    matrix.scale(scaleX, -scaleY);
    matrix.shear(shearH, shearV);
    matrix.rotate(rotation);
    return matrix;
}

QPointF ImagePlacement::centre(int imageSize) const
{
    const double half = imageSize / 2;
    return matrix().map(QPointF(half, half));
}

void ImagePlacement::moveBy(const QPointF &offset)
{
    x += offset.x();
    y += offset.y();
}

void ImagePlacement::moveCentreTo(const QPointF &design, int imageSize)
{
    moveBy(design - centre(imageSize));
}

void ImagePlacement::zoom(double from, double to, double nominalPixelSize)
{
    scaleX = zoomedScale(scaleX, from, to, nominalPixelSize);
    scaleY = zoomedScale(scaleY, from, to, nominalPixelSize);
}

bool ImagePlacement::isFinite() const
{
    const double values[] = { x, y, scaleX, scaleY, shearH, shearV, rotation };
    for (size_t i = 0; i < sizeof values / sizeof values[0]; ++i)
        if (!qIsFinite(values[i]))
            return false;
    return true;
}

double pixelSize(double viewFieldMm, double databaseUnits, int imageSize)
{
    return viewFieldMm / 1000 / databaseUnits / imageSize;
}
