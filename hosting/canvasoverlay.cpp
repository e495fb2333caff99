#include "hosting/canvasoverlay.h"
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/pluginsession.h"
#include "hosting/statusline.h"

#include <QApplication>
#include <QKeyEvent>
#include <QPaintEvent>

namespace hosting {

static const int viewChangeMs = 150; // a canvas that draws bit by bit shows more before that

CanvasOverlay::CanvasOverlay(PluginSession *session, Background *background, AlignMode *mode)
    : m_session(session)
    , m_background(background)
    , m_mode(mode)
{
    connect(session, &PluginSession::alignmentChanged, this, &CanvasOverlay::followAlignment);
    connect(background, &Background::changed, this, &CanvasOverlay::followBackground);
    const auto repaintAll = [this] {
        if (m_canvas)
            m_canvas->update();
    };
    connect(mode, &AlignMode::changed, this, repaintAll);
    connect(session, &PluginSession::noticeChanged, this, repaintAll);
    m_viewChanges.setSingleShot(true);
    m_viewChanges.setInterval(viewChangeMs);
    connect(&m_viewChanges, &QTimer::timeout, this, &CanvasOverlay::update);
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
    if (m_canvas) {
        m_canvas->removeEventFilter(this);
        m_canvas->setAttribute(Qt::WA_OpaquePaintEvent, m_isOpaque);
    }
    m_canvas = canvas;
    m_designOff = false;
    m_picture = QImage();
    m_isOpaque = canvas && canvas->testAttribute(Qt::WA_OpaquePaintEvent);
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

void CanvasOverlay::setStatusLine(StatusLine *status)
{
    m_status = status;
    connect(status, &StatusLine::changed, this, &CanvasOverlay::updateStatus);
}

void CanvasOverlay::setContoursShown(bool shown)
{
    m_contoursShown = shown;
    followAlignment();
}

void CanvasOverlay::followAlignment()
{
    const Design &design = m_session->design();
    m_contours.clear();
    if (m_contoursShown && design.isOpen())
        m_contours = errorContours(AlignError(m_session->confirmedPairs(), m_session->assumption()),
                                   design.extent, design.micrometres());
    if (m_canvas)
        m_canvas->update();
}

bool CanvasOverlay::eventFilter(QObject *watched, QEvent *event)
{
    if (watched != m_canvas || m_painting)
        return false;
    if (event->type() != QEvent::Paint)
        return handleInput(event);
    // What would be painted below it costs a tenth of all, thirty times a second.
    const bool wasOpaque = m_canvas->testAttribute(Qt::WA_OpaquePaintEvent);
    m_canvas->setAttribute(Qt::WA_OpaquePaintEvent, m_isOpaque || showsAnything());
    if (!showsAnything()) {
        if (wasOpaque && !m_isOpaque)
            m_canvas->update();
        m_picture = QImage();
        m_covered = QRect();
        return false;
    }
    paint(static_cast<QPaintEvent *>(event));
    return true;
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
        m_cursor = static_cast<QMouseEvent *>(event)->localPos();
        if (m_status)
            m_status->setCursor(view.toDesign(*m_cursor));
        return m_mode->mouseMove(*static_cast<QMouseEvent *>(event), view);
    case QEvent::Leave:
        m_cursor.reset();
        if (m_status)
            m_status->setCursor(std::nullopt);
        return false;
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
