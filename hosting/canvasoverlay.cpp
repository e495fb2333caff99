#include "hosting/canvasoverlay.h"
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/pluginsession.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPaintEngine>
#include <QPaintEvent>
#include <QPainter>

namespace hosting {

static const int markReach = 24; ///< screen pixels by which marks and frame exceed the image

CanvasOverlay::CanvasOverlay(PluginSession *session, Background *background, AlignMode *mode)
    : m_session(session)
    , m_background(background)
    , m_mode(mode)
{
    connect(background, &Background::changed, this, &CanvasOverlay::update);
    const auto repaintAll = [this] {
        if (m_canvas)
            m_canvas->update();
    };
    connect(mode, &AlignMode::changed, this, repaintAll);
    connect(session, &PluginSession::noticeChanged, this, repaintAll);
}

CanvasOverlay::~CanvasOverlay()
{
    setCanvas(nullptr);
}

void CanvasOverlay::setCanvas(QWidget *canvas)
{
    if (canvas == m_canvas)
        return;
    for (QWidget *widget : { m_canvas.data(), canvas })
        if (widget)
            widget->update();
    if (m_canvas)
        m_canvas->removeEventFilter(this);
    m_canvas = canvas;
    m_designOff = false;
    m_picture = QImage();
    if (canvas)
        canvas->installEventFilter(this);
}

void CanvasOverlay::setStyle(const DrawingStyle &style)
{
    m_style = style;
    if (m_canvas)
        m_canvas->update();
}

void CanvasOverlay::setGround(const QColor &ground)
{
    m_ground = ground;
    if (m_canvas)
        m_canvas->update();
}

void CanvasOverlay::setSamplingOffset(const QPointF &pixels)
{
    m_samplingOffset = pixels;
}

void CanvasOverlay::setDesignOff(bool off)
{
    m_designOff = off;
    if (m_canvas)
        m_canvas->update();
}

static int lineHeight(const QFontMetrics &metrics)
{
    return metrics.height() + 6;
}

QRect CanvasOverlay::coveredArea() const
{
    if (changesDesign())
        return m_canvas->rect();
    if (!m_background->isShown() || !m_session->view().isValid())
        return QRect();
    const QRectF area =
        m_session->view().toScreen().mapRect(m_background->outline().boundingRect());
    const QRectF nearby = QRectF(m_canvas->rect()).adjusted(-50, -50, 50, 50);
    const QRect marked = area.intersected(nearby).toAlignedRect().adjusted(-markReach, -markReach,
                                                                           markReach, markReach);
    const QRect line(0, 0, m_canvas->width(), lineHeight(m_canvas->fontMetrics()));
    return m_mode->isReadingOut() ? marked | line : marked;
}

// One pixel is left out: whenever the canvas itself or the window system asks for more than that,
// the paint event tells, and the canvas paints anew. (The pixel lies beside the image.)
void CanvasOverlay::update()
{
    if (!m_canvas)
        return;
    const QRect area = (coveredArea() | m_covered) & m_canvas->rect();
    if (area.isEmpty())
        return;
    m_asked = QRegion(area) - QRegion(area.left(), area.top(), 1, 1);
    m_canvas->update(m_asked);
}

bool CanvasOverlay::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_canvas || m_painting)
        return false;
    if (event->type() != QEvent::Paint)
        return handleInput(event);
    if (!showsAnything()) {
        m_picture = QImage();
        m_covered = QRect();
        return false;
    }
    paint(static_cast<QPaintEvent *>(event));
    return true;
}

bool CanvasOverlay::showsAnything() const
{
    return m_background->isShown() || changesDesign() || m_mode->mode() != AlignMode::Off
        || !m_session->notice().isEmpty();
}

void CanvasOverlay::paint(QPaintEvent *event)
{
    const QRegion region = event->region();
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
        m_mode->paint(&painter, m_session->view());
    paintTexts(&painter);
    m_covered = covered;
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
    const QImage design(m_picture.constScanLine(window.y()) + 4 * window.x(), window.width(),
                        window.height(), m_picture.bytesPerLine(), QImage::Format_RGB32);
    blend(design, &m_composed, ground(), style);
    m_composed.reinterpretAsFormat(QImage::Format_RGB32);
}

static void paintLine(QPainter *painter, int y, const QString &text, const QColor &colour)
{
    if (text.isEmpty())
        return;
    const QFontMetrics metrics = painter->fontMetrics();
    const QRect box(0, y, metrics.horizontalAdvance(text) + 16, lineHeight(metrics));
    painter->fillRect(box, colour);
    painter->setPen(colour.lightness() > 128 ? Qt::black : Qt::white);
    painter->drawText(box, Qt::AlignCenter, text);
}

void CanvasOverlay::paintTexts(QPainter *painter) const
{
    const int line = lineHeight(painter->fontMetrics());
    if (m_mode->mode() != AlignMode::Off)
        paintLine(painter, 0, m_mode->title() + " \u2013 " + m_mode->instruction(),
                  m_mode->colour());
    paintLine(painter, line, m_session->notice(), QColor(200, 60, 40));
}

bool CanvasOverlay::handleInput(QEvent *event)
{
    const View &view = m_session->view();
    if (!view.isValid())
        return false;
    switch (event->type()) {
    case QEvent::Enter:
        takeFocus();
        return false;
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonDblClick: // two quick clicks are two clicks
        return m_mode->mousePress(*static_cast<QMouseEvent *>(event), view);
    case QEvent::MouseMove:
        return m_mode->mouseMove(*static_cast<QMouseEvent *>(event), view);
    case QEvent::MouseButtonRelease:
        return m_mode->mouseRelease(*static_cast<QMouseEvent *>(event));
    case QEvent::ShortcutOverride:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::FocusOut:
        return handleKey(event);
    default:
        return false;
    }
}

// The keys are for what is under the mouse, as long as nobody is typing.
void CanvasOverlay::takeFocus()
{
    const QWidget *focus = QApplication::focusWidget();
    if (m_canvas->isActiveWindow() && !(focus && focus->testAttribute(Qt::WA_InputMethodEnabled)))
        m_canvas->setFocus(Qt::MouseFocusReason);
}

// A key that is a shortcut of the host's comes here only if its override is accepted.
bool CanvasOverlay::handleKey(QEvent *event)
{
    if (event->type() == QEvent::FocusOut) {
        setDesignOff(false);
        return false;
    }
    auto *key = static_cast<QKeyEvent *>(event);
    const bool blinks = m_background->isShown() && m_designOffKey && key->key() == m_designOffKey
        && !key->modifiers();
    if (event->type() == QEvent::ShortcutOverride) {
        event->setAccepted(blinks || m_mode->takesKey(*key));
        return event->isAccepted();
    }
    if (blinks) {
        if (!key->isAutoRepeat())
            setDesignOff(event->type() == QEvent::KeyPress);
        return true;
    }
    return event->type() == QEvent::KeyPress && m_mode->keyPress(*key, m_session->view());
}

} // namespace hosting
