#include "simulator/shapelist.h"

#include "simulator/polygonpainter.h"

namespace simulator {

ShapeList::ShapeList(const QByteArray &encoded)
{
    const auto *at = reinterpret_cast<const qint32 *>(encoded.constData());
    const auto *end = at + encoded.size() / int(sizeof *at);
    while (end - at >= 2) {
        Shape shape;
        shape.material = uchar(at[0]);
        const qint32 points = at[1];
        at += 2;
        if (points < 0 || points > (end - at) / 2)
            return;
        shape.polygon.reserve(points);
        for (const auto *last = at + 2 * points; at < last; at += 2)
            shape.polygon.append(QPoint(at[0], at[1]));
        shape.bounds = shape.polygon.boundingRect();
        m_shapes.append(shape);
    }
}

void ShapeList::paint(QImage *materials, const Place &place) const
{
    const QPoint corner = place.pixels.topLeft();
    PolygonPainter painter(
        materials, place.designToFrame * QTransform::fromTranslate(-corner.x(), -corner.y()));
    for (const Shape &shape : m_shapes)
        painter.paint(shape.polygon, shape.bounds, shape.material);
}

} // namespace simulator
