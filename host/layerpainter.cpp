#include "host/layerpainter.h"
#include "host/polygonclip.h"

#include <QPainter>

namespace viewer {

// Bright enough for the dark ground and distinct from the greys of the microscope.
static const QRgb colours[] = {
    0x4fc3f7, 0xff8a65, 0x81c784, 0xf06292, 0xffd54f, 0xba68c8,
    0x4db6ac, 0xe57373, 0xaed581, 0x7986cb, 0xffb74d, 0x90a4ae,
};
static const int fillAlpha = 56;
static const int maxLabels = 400; ///< on the screen; more would only be a carpet

QColor layerColour(int index)
{
    return QColor(colours[index % (sizeof colours / sizeof *colours)]);
}

bool LayerScene::operator==(const LayerScene &other) const
{
    return design == other.design && hiddenLayers == other.hiddenLayers && view == other.view
        && devicePixelRatio == other.devicePixelRatio;
}

namespace {

class Renderer {
public:
    explicit Renderer(const LayerScene &scene);
    QImage render();

private:
    void drawLayer(int index);
    void drawPolygon(const QPolygon &polygon, const QRect &bounds);
    void drawSmall(const QRectF &screenBounds);
    void drawLabels();
    void drawLabel(const layout::Label &label);

    const LayerScene &m_scene;
    const QTransform m_toScreen;
    QImage m_picture;
    QPainter m_painter;
    QColor m_colour;
    QVector<QRectF> m_takenByLabels;
};

Renderer::Renderer(const LayerScene &scene)
    : m_scene(scene)
    , m_toScreen(scene.view.toScreen())
    , m_picture(scene.view.size() * scene.devicePixelRatio, QImage::Format_ARGB32_Premultiplied)
{
    m_picture.setDevicePixelRatio(scene.devicePixelRatio);
    m_picture.fill(Qt::transparent);
}

QImage Renderer::render()
{
    m_painter.begin(&m_picture);
    for (int i = 0; i < m_scene.design->layers().size(); ++i)
        if (!m_scene.hiddenLayers.contains(m_scene.design->layers()[i].number))
            drawLayer(i);
    drawLabels();
    m_painter.end();
    return m_picture;
}

void Renderer::drawLayer(int index)
{
    m_colour = layerColour(index);
    QColor fill = m_colour;
    fill.setAlpha(fillAlpha);
    m_painter.setPen(QPen(m_colour, 0));
    m_painter.setBrush(fill);
    m_scene.design->forEachPolygon(
        index, m_scene.view.visible(),
        [this](const QPolygon &polygon, const QRect &bounds) { drawPolygon(polygon, bounds); });
}

// QRect counts pixels and is one larger than the distance of the corners.
static QRectF extent(const QRect &bounds)
{
    return QRectF(bounds.topLeft(), bounds.bottomRight());
}

static bool isRectangle(const QPolygon &polygon)
{
    const int corners = polygon.size() - (polygon.first() == polygon.last() ? 1 : 0);
    if (corners != 4)
        return false;
    const QPoint a = polygon[0], b = polygon[1], c = polygon[2], d = polygon[3];
    return (a.x() == b.x() && b.y() == c.y() && c.x() == d.x() && d.y() == a.y())
        || (a.y() == b.y() && b.x() == c.x() && c.y() == d.y() && d.x() == a.x());
}

void Renderer::drawPolygon(const QPolygon &polygon, const QRect &bounds)
{
    const QRectF box = m_toScreen.mapRect(extent(bounds));
    if (box.width() < 2 && box.height() < 2)
        return drawSmall(box);
    // The margin hides the edges along which a polygon is cut.
    const QRectF screen = QRectF(QPointF(), QSizeF(m_scene.view.size())).adjusted(-8, -8, 8, 8);
    if (isRectangle(polygon)) {
        const QRectF part = box.intersected(screen);
        m_painter.drawRect(
            QRect(part.topLeft().toPoint(), part.bottomRight().toPoint()).adjusted(0, 0, -1, -1));
        return;
    }
    QPolygonF shape = m_toScreen.map(QPolygonF(polygon));
    if (!screen.contains(box))
        shape = clipPolygon(shape, screen);
    m_painter.setRenderHint(QPainter::Antialiasing, !isManhattan(polygon));
    m_painter.drawPolygon(shape, Qt::WindingFill);
    m_painter.setRenderHint(QPainter::Antialiasing, false);
}

void Renderer::drawSmall(const QRectF &box)
{
    m_painter.fillRect(QRect(box.topLeft().toPoint(), QSize(1, 1)), m_colour);
}

void Renderer::drawLabels()
{
    QVector<const layout::Label *> shown;
    const QRectF window = m_scene.view.visible();
    for (const layout::Label &label : m_scene.design->labels()) {
        if (m_scene.hiddenLayers.contains(label.layer) || !window.contains(label.position))
            continue;
        shown.append(&label);
        if (shown.size() > maxLabels)
            return;
    }
    for (const layout::Label *label : qAsConst(shown))
        drawLabel(*label);
}

void Renderer::drawLabel(const layout::Label &label)
{
    const QPointF anchor = m_toScreen.map(QPointF(label.position));
    QRectF box = m_painter.fontMetrics().boundingRect(label.text).adjusted(-3, -1, 3, 1);
    box.moveCenter(anchor);
    for (const QRectF &taken : qAsConst(m_takenByLabels))
        if (taken.intersects(box))
            return;
    m_takenByLabels.append(box);
    m_painter.setPen(Qt::NoPen);
    m_painter.setBrush(QColor(16, 20, 26, 170));
    m_painter.drawRoundedRect(box, 3, 3);
    m_painter.setPen(QColor(240, 244, 248));
    m_painter.drawText(box, Qt::AlignCenter, label.text);
}

} // namespace

QImage renderLayers(const LayerScene &scene)
{
    return Renderer(scene).render();
}

} // namespace viewer
