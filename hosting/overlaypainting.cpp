// What CanvasOverlay puts on the canvas, and where.
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/canvasoverlay.h"
#include "hosting/pairmarks.h"
#include "hosting/pluginsession.h"
#include "hosting/statusline.h"

#include <QBackingStore>
#include <QCoreApplication>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>

#include <cstring>

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

// While the view changes, the canvas's own paints show the newest image.
void CanvasOverlay::update()
{
    if (!m_canvas || m_viewChanges.isActive())
        return;
    ask(coveredArea() | m_covered);
    m_sinceAll.start();
}

/// What the rows that changed cover, from edge to edge of what is covered at all.
QRect CanvasOverlay::changedArea() const
{
    const int reach = 3; // of interpolation and thinning out, screen pixels
    const double interpolated = 2; // image rows
    const QRectF rows(0, m_changed.first() - interpolated, m_changed.image().width(),
                      m_changed.last() + 1 - m_changed.first() + 2 * interpolated);
    const QRect band = (m_background->placement().toTransform() * m_session->view().toScreen())
                           .mapRect(rows)
                           .toAlignedRect()
                           .adjusted(-reach, -reach, reach, reach);
    return QRect(m_covered.left(), band.top(), m_covered.width(), band.height()) & m_covered;
}

// A slow scan changes a few rows from image to image. All of them are painted now and then, in case
// the microscope sent some out of turn.
void CanvasOverlay::followBackground()
{
    const int allMs = 500;
    m_changed.take(m_background->image());
    const bool isRowsOnly = m_changed.first() >= 0 && m_background->placement() == m_placement
        && m_sinceAll.isValid() && m_sinceAll.elapsed() < allMs;
    if (!m_canvas || !isRowsOnly || coveredArea() != m_covered)
        update();
    else if (!m_viewChanges.isActive())
        ask(changedArea());
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

// In bands, what is put together stays within the processor's cache until it is on the screen;
// those of a turned image would have too many of its pixels in common.
static QVector<QRect> bandsOf(const QRect &area, bool turned)
{
    const int height = turned ? area.height() : 64;
    QVector<QRect> bands;
    for (int top = area.top(); top <= area.bottom(); top += height)
        bands.append(QRect(area.left(), top, area.width(), qMin(height, area.bottom() + 1 - top)));
    return bands;
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
    const bool turned = m_background->placement().toTransform().type() > QTransform::TxScale;
    for (const QRect &band : bandsOf(area, turned)) {
        compose(band);
        painter.drawImage(band.topLeft(), m_composed);
    }
    if (m_session->view().isValid())
        paintMarks(&painter);
    paintTexts(&painter);
    m_covered = covered;
    m_placement = m_background->placement();
    m_statusArea = statusArea();
}

void CanvasOverlay::paintMarks(QPainter *painter) const
{
    if (m_contoursShown)
        paintErrorContours(painter, m_contours, m_session->view().toScreen());
    paintPairs(painter, *m_session, *m_background);
    m_mode->paint(painter, m_session->view());
}

// Without a copy of its pixels, which is what copying an image that is being painted on makes.
static QImage pictureUnder(const QPainter &painter)
{
    const QPaintDevice *device = painter.paintEngine()->paintDevice();
    QImage image;
    if (device->devType() == QInternal::Image) {
        const auto *screen = static_cast<const QImage *>(device);
        image = QImage(screen->constBits(), screen->width(), screen->height(),
                       screen->bytesPerLine(), screen->format());
    } else if (device->devType() == QInternal::Pixmap) { // of a screenshot
        image = static_cast<const QPixmap *>(device)->toImage();
    }
    return image.depth() == 32 ? image : image.convertToFormat(QImage::Format_RGB32);
}

// By the row: a painter takes three times as long where the two differ in what they do with alpha.
static void copyPixels(const QImage &from, const QRect &part, const QPoint &origin, QImage *to)
{
    const QRect pixels = part & to->rect() & from.rect().translated(-origin);
    for (int y = pixels.top(); y <= pixels.bottom(); ++y)
        std::memcpy(to->scanLine(y) + 4 * pixels.left(),
                    from.constScanLine(y + origin.y()) + 4 * (pixels.left() + origin.x()),
                    4 * size_t(pixels.width()));
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
    // Not every canvas paints all of itself, and nothing was painted below it.
    QPainter(m_canvas).fillRect(region.boundingRect(), m_canvas->palette().window());
    m_painting = true;
    QCoreApplication::sendEvent(m_canvas, event);
    m_painting = false;
    QPainter target(m_canvas);
    const QImage whole = pictureUnder(target);
    const QPoint origin = target.deviceTransform().map(QPointF()).toPoint();
    QBackingStore *screen = m_canvas->backingStore();
    if (screen && target.paintEngine()->paintDevice() == screen->paintDevice())
        m_viewChanges.start(); // a screenshot is not followed by anything better
    target.end();
    for (const QRect &rect : region)
        copyPixels(whole, QRect(rect.topLeft() * ratio, rect.size() * ratio), origin, &m_picture);
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
    if (m_background->isShown() && m_session->view().isValid()) {
        const qreal ratio = m_canvas->devicePixelRatioF();
        const QTransform toWindow = m_background->placement().toTransform()
            * m_session->view().toScreen() * QTransform::fromScale(ratio, ratio)
            * QTransform::fromTranslate(m_samplingOffset.x() - window.x(),
                                        m_samplingOffset.y() - window.y());
        paintImage(&m_composed, m_background->image(), toWindow,
                   m_viewChanges.isActive() ? Quality::Fast : Quality::Smooth);
    } else {
        m_composed.fill(Qt::transparent);
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
