#include "simulator/scene.h"

#include "layout/design.h"

#include <QPainter>

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

/// Paints the polygons of one design into one image.
class PolygonPainter {
public:
    PolygonPainter(QImage *image, const QTransform &designToPixel)
        : m_image(image)
        , m_transform(designToPixel)
        , m_upright(designToPixel.type() <= QTransform::TxScale)
        , m_painter(image)
    {
        m_painter.setPen(Qt::NoPen);
    }

    void setMaterial(uchar material)
    {
        m_material = material;
        m_painter.setBrush(QColor(material, material, material));
    }

    void paint(const QPolygon &polygon, const QRect &bounds)
    {
        const QRectF exact(bounds.left(), bounds.top(), bounds.right() - bounds.left(),
                           bounds.bottom() - bounds.top());
        const QRect pixels = coveredPixels(m_transform.mapRect(exact), m_image->size());
        if (pixels.isEmpty())
            return;
        if (m_upright && isRectangle(polygon, bounds))
            fill(pixels);
        else
            m_painter.drawPolygon(m_transform.map(QPolygonF(polygon)), Qt::WindingFill);
    }

private:
    void fill(const QRect &pixels)
    {
        for (int row = pixels.top(); row <= pixels.bottom(); ++row)
            std::memset(m_image->scanLine(row) + pixels.left(), m_material, size_t(pixels.width()));
    }

    QImage *m_image;
    QTransform m_transform;
    bool m_upright;
    QPainter m_painter;
    uchar m_material = 0;
};

class DesignScene : public Scene {
public:
    explicit DesignScene(const layout::Design &design)
        : m_design(design)
    {
    }

    double databaseUnitMetres() const override { return m_design.databaseUnitMetres(); }
    QPointF centre() const override { return m_design.bounds().center(); }
    void paint(QImage *materials, const QTransform &designToPixel) const override;

private:
    layout::Design m_design;
};

void DesignScene::paint(QImage *materials, const QTransform &designToPixel) const
{
    const QRectF window = designToPixel.inverted().mapRect(QRectF(materials->rect()));
    PolygonPainter painter(materials, designToPixel);
    for (int layer = 0; layer < m_design.layers().size(); ++layer) {
        painter.setMaterial(uchar(1 + layer % (materialCount - 1)));
        m_design.forEachPolygon(layer, window, [&](const QPolygon &polygon, const QRect &bounds) {
            painter.paint(polygon, bounds);
        });
    }
}

} // namespace

std::unique_ptr<Scene> makeDesignScene(const layout::Design &design)
{
    return std::make_unique<DesignScene>(design);
}

} // namespace simulator
