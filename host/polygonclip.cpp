#include "host/polygonclip.h"

#include <cmath>

namespace viewer {

namespace {
// The half plane in which sign * coordinate <= sign * limit.
struct HalfPlane {
    bool vertical; ///< bounds y instead of x
    double sign, limit;

    double outside(const QPointF &point) const
    {
        return sign * ((vertical ? point.y() : point.x()) - limit);
    }
};
} // namespace

static QPolygonF clipTo(const HalfPlane &plane, const QPolygonF &polygon)
{
    QPolygonF result;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF from = polygon[i], to = polygon[(i + 1) % polygon.size()];
        const double fromOutside = plane.outside(from), toOutside = plane.outside(to);
        if (fromOutside <= 0)
            result.append(from);
        if ((fromOutside < 0 && toOutside > 0) || (fromOutside > 0 && toOutside < 0))
            result.append(from + (to - from) * (fromOutside / (fromOutside - toOutside)));
    }
    return result;
}

QPolygonF clipPolygon(const QPolygonF &polygon, const QRectF &window)
{
    const HalfPlane planes[] = { { false, -1, window.left() },
                                 { false, 1, window.right() },
                                 { true, -1, window.top() },
                                 { true, 1, window.bottom() } };
    QPolygonF result = polygon;
    for (const HalfPlane &plane : planes)
        result = clipTo(plane, result);
    return result;
}

bool isManhattan(const QPolygon &polygon)
{
    for (int i = 0; i < polygon.size(); ++i) {
        const QPoint from = polygon[i], to = polygon[(i + 1) % polygon.size()];
        if (from.x() != to.x() && from.y() != to.y())
            return false;
    }
    return true;
}

double meanWidth(const QPolygon &polygon)
{
    double doubleArea = 0, length = 0;
    for (int i = 0; i < polygon.size(); ++i) {
        const QPointF from = polygon[i], to = polygon[(i + 1) % polygon.size()];
        doubleArea += from.x() * to.y() - to.x() * from.y();
        length += std::hypot(to.x() - from.x(), to.y() - from.y());
    }
    return length > 0 ? std::abs(doubleArea) / length : 0;
}

} // namespace viewer
