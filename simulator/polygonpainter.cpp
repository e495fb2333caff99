#include "simulator/polygonpainter.h"

#include <cmath>
#include <cstring>

namespace simulator {
namespace {

bool isRectangle(const QPolygon &polygon, const QRect &bounds)
{
    if (polygon.size() != 4)
        return false;
    for (int i = 0; i < 4; ++i) {
        const QPoint &corner = polygon.at(i), &next = polygon.at((i + 1) % 4);
        const bool onCorner = (corner.x() == bounds.left() || corner.x() == bounds.right())
            && (corner.y() == bounds.top() || corner.y() == bounds.bottom());
        if (!onCorner || (corner.x() == next.x()) == (corner.y() == next.y()))
            return false;
    }
    return true;
}

// The pixels whose centres lie between two corners; may be empty.
QRect coveredPixels(const QRectF &area, const QSize &image)
{
    auto edge = [](double coordinate, int limit) {
        return int(std::ceil(qBound(-1.0, coordinate - 0.5, double(limit))));
    };
    const QPoint first(qMax(0, edge(area.left(), image.width())),
                       qMax(0, edge(area.top(), image.height())));
    return QRect(
        first,
        QPoint(edge(area.right(), image.width()) - 1, edge(area.bottom(), image.height()) - 1));
}

} // namespace

PolygonPainter::PolygonPainter(QImage *image, const QTransform &designToPixel)
    : m_image(image)
    , m_transform(designToPixel)
    , m_upright(designToPixel.type() <= QTransform::TxScale)
    , m_painter(image)
{
    m_painter.setPen(Qt::NoPen);
}

void PolygonPainter::paint(const QPolygon &polygon, const QRect &bounds, uchar material)
{
    const QRectF exact(bounds.left(), bounds.top(), bounds.right() - bounds.left(),
                       bounds.bottom() - bounds.top());
    const QRect pixels = coveredPixels(m_transform.mapRect(exact), m_image->size());
    if (pixels.isEmpty())
        return;
    if (m_upright && isRectangle(polygon, bounds)) {
        fill(pixels, material);
        return;
    }
    m_painter.setBrush(QColor(material, material, material));
    m_painter.drawPolygon(m_transform.map(QPolygonF(polygon)), Qt::WindingFill);
}

void PolygonPainter::fill(const QRect &pixels, uchar material)
{
    for (int row = pixels.top(); row <= pixels.bottom(); ++row)
        std::memset(m_image->scanLine(row) + pixels.left(), material, size_t(pixels.width()));
}

} // namespace simulator
