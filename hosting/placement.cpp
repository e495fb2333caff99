#include "hosting/placement.h"

#include <cmath>
#include <tuple>

namespace hosting {

QTransform Placement::toTransform() const
{
    QTransform matrix;
    matrix.translate(x, y);
    matrix.scale(scaleX, -scaleY);
    matrix.shear(shearH, shearV);
    matrix.rotate(rotationDegrees);
    return matrix;
}

// An image pixel is rotated first, then sheared, scaled and moved. With shearV = 0 the second
// column of the linear part is (-sin, -cos) * -scaleY up to the sign, which gives angle and scaleY;
// turning the matrix back by that angle leaves scaleX and shearH * scaleX in its first column.
Placement Placement::fromTransform(const QTransform &matrix)
{
    const double length = std::hypot(matrix.m12(), matrix.m22());
    const double cosine = -matrix.m22() / length;
    const double sine = -matrix.m12() / length;
    Placement result;
    result.x = matrix.dx();
    result.y = matrix.dy();
    result.scaleY = length;
    result.scaleX = cosine * matrix.m11() - sine * matrix.m21();
    result.shearH = (sine * matrix.m11() + cosine * matrix.m21()) / result.scaleX;
    if (std::abs(result.shearH) < 1e-12)
        result.shearH = 0; // rounding of an image that has none
    result.rotationDegrees = std::atan2(sine, cosine) * 180 / M_PI;
    return result;
}

static auto valuesOf(const Placement &p)
{
    return std::tie(p.x, p.y, p.scaleX, p.scaleY, p.shearH, p.shearV, p.rotationDegrees);
}

bool Placement::operator==(const Placement &other) const
{
    return valuesOf(*this) == valuesOf(other);
}

bool Placement::isDrawable() const
{
    for (const double value : { x, y, scaleX, scaleY, shearH, shearV, rotationDegrees })
        if (!std::isfinite(value))
            return false;
    return toTransform().isInvertible();
}

QPointF Placement::centre(int imageSize) const
{
    return toTransform().map(QPointF(imageSize / 2, imageSize / 2));
}

Placement Placement::moved(const QPointF &offset) const
{
    Placement result = *this;
    result.x += offset.x();
    result.y += offset.y();
    return result;
}

Placement Placement::withCentre(const QPointF &wanted, int imageSize) const
{
    return moved(wanted - centre(imageSize));
}

Placement Placement::turned(const QPointF &pivot, double degrees) const
{
    QTransform turn;
    turn.translate(pivot.x(), pivot.y()).rotate(degrees).translate(-pivot.x(), -pivot.y());
    return fromTransform(toTransform() * turn);
}

Placement Placement::scaled(const QPointF &pivot, double factor) const
{
    Placement result = *this;
    result.scaleX *= factor;
    result.scaleY *= factor;
    result.x = pivot.x() + (x - pivot.x()) * factor;
    result.y = pivot.y() + (y - pivot.y()) * factor;
    return result;
}

} // namespace hosting
