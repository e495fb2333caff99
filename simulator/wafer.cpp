#include "simulator/wafer.h"

#include <QtMath>

namespace simulator {
namespace {

QTransform turnAndScale(double degrees, double factor)
{
    const double cosine = factor * std::cos(qDegreesToRadians(degrees));
    const double sine = factor * std::sin(qDegreesToRadians(degrees));
    return QTransform(cosine, sine, -sine, cosine, 0, 0);
}

} // namespace

QTransform Wafer::stageToDesign() const
{
    return QTransform::fromTranslate(-offsetMm.x(), -offsetMm.y())
        * turnAndScale(rotationDegrees, -unitsPerMm() * scale);
}

QTransform Wafer::frameToDesign(const QPointF &stageMm, double viewFieldMm,
                                const QSize &frame) const
{
    const QPointF centre = stageToDesign().map(stageMm);
    const double mmPerPixel = viewFieldMm / frame.width();
    return QTransform::fromTranslate(-frame.width() / 2.0, -frame.height() / 2.0)
        * QTransform::fromScale(mmPerPixel, -mmPerPixel)
        * turnAndScale(rotationDegrees, unitsPerMm() * scale)
        * QTransform::fromTranslate(centre.x(), centre.y());
}

} // namespace simulator
