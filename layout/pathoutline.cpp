#include "layout/pathoutline.h"

#include <QtMath>

namespace layout {
namespace {

const int roundEndSegments = 8;
const double sharpestMitre = 0.3; // 1 + cosine of the angle between two segments

QPointF direction(const QPointF &from, const QPointF &to)
{
    const QPointF step = to - from;
    return step / std::hypot(step.x(), step.y());
}

QPointF leftOf(const QPointF &direction)
{
    return QPointF(-direction.y(), direction.x());
}

QPolygonF withoutRepeats(const QPolygonF &points)
{
    QPolygonF distinct;
    for (const QPointF &point : points) {
        if (distinct.isEmpty() || point != distinct.last())
            distinct.append(point);
    }
    return distinct;
}

void appendBend(QPolygonF *side, const QPointF &point, const QPointF &before, const QPointF &after,
                double half)
{
    const double closeness = 1 + QPointF::dotProduct(before, after);
    if (closeness < sharpestMitre)
        *side << point + leftOf(before) * half << point + leftOf(after) * half;
    else
        *side << point + (leftOf(before) + leftOf(after)) * (half / closeness);
}

// From the left of the last segment to its right, around the end of the wire.
void appendEnd(QPolygonF *side, const QPointF &end, const QPointF &along, double half, int pathType)
{
    const QPointF left = leftOf(along) * half;
    const QPointF ahead = pathType == 2 ? along * half : QPointF();
    *side << end + ahead + left;
    for (int i = 1; pathType == 1 && i < roundEndSegments; ++i) {
        const double angle = M_PI * i / roundEndSegments;
        *side << end + left * std::cos(angle) + along * half * std::sin(angle);
    }
    *side << end + ahead - left;
}

// The left side of the wire and its far end.
void appendSide(QPolygonF *outline, const QPolygonF &points, double half, int pathType)
{
    for (int i = 1; i + 1 < points.size(); ++i)
        appendBend(outline, points[i], direction(points[i - 1], points[i]),
                   direction(points[i], points[i + 1]), half);
    const QPointF along = direction(points[points.size() - 2], points.last());
    appendEnd(outline, points.last(), along, half, pathType);
}

} // namespace

QPolygonF pathOutline(const QPolygonF &points, double width, int pathType)
{
    QPolygonF line = withoutRepeats(points);
    QPolygonF outline;
    if (line.size() == 1) {
        appendEnd(&outline, line.first(), QPointF(1, 0), width / 2, pathType);
        appendEnd(&outline, line.first(), QPointF(-1, 0), width / 2, pathType);
        return outline;
    }
    appendSide(&outline, line, width / 2, pathType);
    std::reverse(line.begin(), line.end());
    appendSide(&outline, line, width / 2, pathType);
    return outline;
}

QPolygonF lengthened(const QPolygonF &points, double atFirst, double atLast)
{
    QPolygonF line = withoutRepeats(points);
    if (line.size() < 2)
        return points;
    const QPointF first = direction(line[1], line[0]);
    const QPointF last = direction(line[line.size() - 2], line.last());
    line.first() += first * atFirst;
    line.last() += last * atLast;
    return line;
}

} // namespace layout
