#include "host/layerpainter.h"
#include "host/polygonclip.h"

#include <QPainter>

namespace viewer {

// Bright enough for the dark ground and distinct from the greys of the microscope.
static const QRgb colours[] = {
    0x4fc3f7, 0xff8a65, 0x81c784, 0xf06292, 0xffd54f, 0x748ffc,
    0x4db6ac, 0xe57373, 0xaed581, 0xba68c8, 0xffb74d, 0x90a4ae,
};
static const int fillAlpha = 56;
// Crowded thin shapes replace each other instead of adding up, so the background is never buried.
static const int thinAlpha = 84;
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
    void drawLabels();
    void drawLabel(const layout::Label &label);

    const LayerScene &m_scene;
    const QTransform m_toScreen;
    QImage m_picture, m_layerPicture; // a layer is drawn by itself, then laid over the others
    QPainter m_painter;
    QPen m_outline, m_thinOutline;
    QVector<QRectF> m_takenByLabels;
};

Renderer::Renderer(const LayerScene &scene)
    : m_scene(scene)
    , m_toScreen(scene.view.toScreen())
    , m_picture(scene.view.size() * scene.devicePixelRatio, QImage::Format_ARGB32_Premultiplied)
{
    m_picture.setDevicePixelRatio(scene.devicePixelRatio);
    m_picture.fill(Qt::transparent);
    m_layerPicture = m_picture;
}

QImage Renderer::render()
{
    QPainter whole(&m_picture);
    for (int i = 0; i < m_scene.design->layers().size(); ++i) {
        if (m_scene.hiddenLayers.contains(m_scene.design->layers()[i].number))
            continue;
        m_layerPicture.fill(Qt::transparent);
        m_painter.begin(&m_layerPicture);
        drawLayer(i);
        m_painter.end();
        whole.drawImage(0, 0, m_layerPicture);
    }
    whole.end();
    m_painter.begin(&m_picture);
    drawLabels();
    m_painter.end();
    return m_picture;
}

void Renderer::drawLayer(int index)
{
    QColor faint = layerColour(index), fill = faint;
    faint.setAlpha(thinAlpha);
    fill.setAlpha(fillAlpha);
    m_outline = QPen(layerColour(index), 0);
    m_thinOutline = QPen(faint, 0);
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
    if (box.width() < 2 && box.height() < 2) {
        m_painter.setCompositionMode(QPainter::CompositionMode_Source);
        m_painter.fillRect(QRect(box.topLeft().toPoint(), QSize(1, 1)), m_thinOutline.color());
        return;
    }
    const bool isThin = meanWidth(polygon) * m_scene.view.zoom() < 3;
    m_painter.setPen(isThin ? m_thinOutline : m_outline);
    m_painter.setCompositionMode(isThin ? QPainter::CompositionMode_Source
                                        : QPainter::CompositionMode_SourceOver);
    // The margin hides the edges along which a polygon is cut.
    const QRectF screen = QRectF(QPointF(), QSizeF(m_scene.view.size())).adjusted(-8, -8, 8, 8);
    if (isRectangle(polygon)) {
        // not intersected(), which loses a wire of no width
        const QPointF first(qMax(box.left(), screen.left()), qMax(box.top(), screen.top()));
        const QPointF last(qMin(box.right(), screen.right()), qMin(box.bottom(), screen.bottom()));
        m_painter.drawRect(QRect(first.toPoint(), last.toPoint()).adjusted(0, 0, -1, -1));
        return;
    }
    QPolygonF shape = m_toScreen.map(QPolygonF(polygon));
    if (!screen.contains(box))
        shape = clipPolygon(shape, screen);
    m_painter.setRenderHint(QPainter::Antialiasing, !isManhattan(polygon));
    m_painter.drawPolygon(shape, Qt::WindingFill);
    m_painter.setRenderHint(QPainter::Antialiasing, false);
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
    box.moveBottomLeft(anchor + QPointF(6, -6)); // beside the spot, which stays visible
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
