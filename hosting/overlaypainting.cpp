// What CanvasOverlay puts on the canvas, and where.
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/canvasoverlay.h"
#include "hosting/pairmarks.h"
#include "hosting/pluginsession.h"
#include "hosting/statusline.h"

#include <QCoreApplication>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>

namespace hosting {

static const int wrapped = Qt::TextWordWrap | Qt::AlignLeft;
static const QMargins padding(8, 3, 8, 3); ///< round a text
static const int markReach = 24; ///< screen pixels by which marks and frame exceed the image
static const double dimmed = 0.45; ///< opacity of an image that is no longer live

static int lineHeight(const QFontMetrics &metrics)
{
    return metrics.height() + padding.top() + padding.bottom();
}

static QSize lineSize(const QFontMetrics &metrics, const QString &text)
{
    return QSize(metrics.horizontalAdvance(text) + padding.left() + padding.right(),
                 lineHeight(metrics));
}

/// Where the live image lies on the canvas, a little beyond its edges; empty if it is not shown.
QRect CanvasOverlay::imageArea() const
{
    if (!m_background->isShown() || !m_session->view().isValid())
        return QRect();
    const QRectF area =
        m_session->view().toScreen().mapRect(m_background->outline().boundingRect());
    const QRectF nearby = QRectF(m_canvas->rect()).adjusted(-50, -50, 50, 50);
    return area.intersected(nearby).toAlignedRect();
}

/// Below the image; at the canvas's lower right if that is beyond it (the other corners are in
/// use).
QRect CanvasOverlay::statusArea() const
{
    const QString text = m_status ? m_status->text() : QString();
    const QRect image = imageArea();
    if (text.isEmpty() || image.isEmpty())
        return QRect();
    QRect line(image.bottomLeft() + QPoint(0, 6), lineSize(m_canvas->fontMetrics(), text));
    const QRect canvas = m_canvas->rect();
    if (line.bottom() > canvas.bottom())
        line.moveBottomRight(canvas.bottomRight());
    line.moveRight(qMin(line.right(), canvas.right()));
    line.moveLeft(qMax(line.left(), canvas.left()));
    return line;
}

QRect CanvasOverlay::coveredArea() const
{
    if (changesDesign())
        return m_canvas->rect();
    const QRect image = imageArea();
    if (image.isEmpty())
        return QRect();
    const QRect marked = image.adjusted(-markReach, -markReach, markReach, markReach);
    const QRect line(0, 0, m_canvas->width(), lineHeight(m_canvas->fontMetrics()));
    return (m_mode->isReadingOut() ? marked | line : marked) | statusArea();
}

// One pixel is left out: whenever the canvas itself or the window system asks for more than that,
// the paint event tells, and the canvas paints anew. (The pixel lies beside the image.)
void CanvasOverlay::ask(const QRect &area)
{
    const QRect visible = area & m_canvas->rect();
    if (visible.isEmpty())
        return;
    const QRegion region = QRegion(visible) - QRegion(visible.left(), visible.top(), 1, 1);
    m_asked += region;
    m_canvas->update(region);
}

void CanvasOverlay::update()
{
    if (m_canvas)
        ask(coveredArea() | m_covered);
}

void CanvasOverlay::updateStatus()
{
    const bool dimmedNow = m_status && !m_status->isLive();
    if (m_canvas && notice() != m_notice)
        m_canvas->update();
    else if (m_canvas && dimmedNow != m_dimmed)
        update();
    else if (m_canvas)
        ask(statusArea() | m_statusArea);
    m_notice = notice();
    m_dimmed = dimmedNow;
}

bool CanvasOverlay::showsAnything() const
{
    return m_background->isShown() || changesDesign() || m_mode->mode() != AlignMode::Off
        || !notice().isEmpty();
}

void CanvasOverlay::paint(QPaintEvent *event)
{
    const QRegion region = event->region();
    if (m_status && m_cursor)
        m_status->setCursor(m_session->view().toDesign(*m_cursor)); // the view may have changed
    const QRect covered = coveredArea();
    QRect area = region.boundingRect();
    const QSize wanted = m_canvas->size() * m_canvas->devicePixelRatioF();
    if (region != m_asked || m_picture.size() != wanted) {
        keepPicture(region, event);
        area &= covered; // the rest is on the canvas as it should be
    }
    m_asked = QRegion();
    QPainter painter(m_canvas);
    if (!area.isEmpty()) {
        compose(area);
        painter.drawImage(area.topLeft(), m_composed);
    }
    if (m_session->view().isValid())
        paintMarks(&painter);
    paintTexts(&painter);
    m_covered = covered;
    m_statusArea = statusArea();
}

void CanvasOverlay::paintMarks(QPainter *painter) const
{
    if (m_contoursShown)
        paintErrorContours(painter, m_contours, m_session->view().toScreen());
    paintPairs(painter, *m_session, *m_background);
    m_mode->paint(painter, m_session->view());
}

static QImage pictureUnder(const QPainter &painter)
{
    const QPaintDevice *device = painter.paintEngine()->paintDevice();
    if (device->devType() == QInternal::Image)
        return *static_cast<const QImage *>(device);
    if (device->devType() == QInternal::Pixmap) // of a screenshot
        return static_cast<const QPixmap *>(device)->toImage();
    return QImage();
}

/// Lets the canvas paint `region` and keeps a copy of what came out.
void CanvasOverlay::keepPicture(const QRegion &region, QPaintEvent *event)
{
    const qreal ratio = m_canvas->devicePixelRatioF();
    const QSize size = m_canvas->size() * ratio;
    if (m_picture.size() != size) {
        m_picture = QImage(size, QImage::Format_RGB32);
        m_picture.fill(ground());
        if (region != m_canvas->rect())
            m_canvas->update(); // the rest of it
    }
    m_painting = true;
    QCoreApplication::sendEvent(m_canvas, event);
    m_painting = false;
    QPainter target(m_canvas);
    const QImage whole = pictureUnder(target);
    const QPoint origin = target.deviceTransform().map(QPointF()).toPoint();
    target.end();
    QPainter copy(&m_picture);
    copy.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect &rect : region) {
        const QRect part(rect.topLeft() * ratio, rect.size() * ratio);
        copy.drawImage(part, whole, part.translated(origin)); // whatever its pixel ratio
    }
}

QColor CanvasOverlay::ground() const
{
    return m_ground.isValid() ? m_ground
                              : m_canvas->palette().color(QPalette::Normal, QPalette::Base);
}

/// Puts canvas and image together, in m_composed. It is kept from paint to paint: memory that is
/// new to the process costs more than what is written into it.
void CanvasOverlay::compose(const QRect &area)
{
    const qreal ratio = m_canvas->devicePixelRatioF();
    const QRect window =
        QRect(area.topLeft() * ratio, area.size() * ratio).intersected(m_picture.rect());
    if (m_composed.size() != window.size())
        m_composed = QImage(window.size(), QImage::Format_RGB32);
    m_composed.setDevicePixelRatio(1);
    if (m_background->isShown() || changesDesign())
        composeWithImage(window);
    else
        QPainter(&m_composed).drawImage(QPoint(), m_picture, window);
    m_composed.setDevicePixelRatio(ratio);
}

void CanvasOverlay::composeWithImage(const QRect &window)
{
    m_composed.reinterpretAsFormat(QImage::Format_ARGB32_Premultiplied);
    m_composed.fill(Qt::transparent);
    if (m_background->isShown() && m_session->view().isValid()) {
        const qreal ratio = m_canvas->devicePixelRatioF();
        const QTransform toWindow = m_background->placement().toTransform()
            * m_session->view().toScreen() * QTransform::fromScale(ratio, ratio)
            * QTransform::fromTranslate(m_samplingOffset.x() - window.x(),
                                        m_samplingOffset.y() - window.y());
        QPainter painter(&m_composed);
        paintImage(&painter, m_background->image(), toWindow, m_composed.rect());
    }
    DrawingStyle style = m_style;
    if (m_designOff)
        style.designOpacity = 0;
    if (m_status && !m_status->isLive())
        style.imageOpacity *= dimmed;
    const QImage design(m_picture.constScanLine(window.y()) + 4 * window.x(), window.width(),
                        window.height(), m_picture.bytesPerLine(), QImage::Format_RGB32);
    blend(design, &m_composed, ground(), style);
    m_composed.reinterpretAsFormat(QImage::Format_RGB32);
}

QString CanvasOverlay::notice() const
{
    const QString notice = m_session->notice();
    return notice.isEmpty() && m_status ? m_status->advice() : notice;
}

static void paintLine(QPainter *painter, const QRect &box, const QString &text,
                      const QColor &colour, int flags = Qt::TextSingleLine)
{
    if (text.isEmpty() || box.isEmpty())
        return;
    painter->fillRect(box, colour);
    painter->setPen(colour.lightness() > 128 ? Qt::black : Qt::white);
    painter->drawText(box - padding, Qt::AlignVCenter | flags, text);
}

void CanvasOverlay::paintTexts(QPainter *painter) const
{
    const QFontMetrics metrics = painter->fontMetrics();
    const int line = lineHeight(metrics);
    const QString mode = m_mode->title() + " \u2013 " + m_mode->instruction();
    if (m_mode->mode() != AlignMode::Off)
        paintLine(painter, QRect(QPoint(), lineSize(metrics, mode)), mode, m_mode->colour());
    const QRect below = m_canvas->rect().adjusted(0, line, 0, 0) - padding;
    paintLine(painter, painter->boundingRect(below, wrapped, notice()) + padding, notice(),
              QColor(200, 60, 40), wrapped);
    if (m_status)
        paintLine(painter, statusArea(), m_status->text(), m_status->colour());
}

} // namespace hosting
