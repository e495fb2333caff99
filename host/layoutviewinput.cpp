// The mouse and the keys of the drawing area.
#include "host/layoutview.h"

#include <QKeyEvent>
#include <QMouseEvent>
#include <QWheelEvent>

#include <cmath>

namespace viewer {

void LayoutView::mousePressEvent(QMouseEvent *event)
{
    if (m_alignMode.mousePress(*event, m_view))
        return;
    if (event->button() != Qt::LeftButton && event->button() != Qt::MiddleButton)
        return;
    if (event->button() == Qt::LeftButton && m_alignMode.mode() != AlignMode::Off)
        return;
    m_panning = true;
    m_lastPan = event->localPos();
    setCursor(Qt::ClosedHandCursor);
}

void LayoutView::mouseMoveEvent(QMouseEvent *event)
{
    if (m_panning) {
        ViewTransform wanted = m_view;
        wanted.panBy(event->localPos() - m_lastPan);
        m_lastPan = event->localPos();
        setView(wanted);
    } else {
        m_alignMode.mouseMove(*event, m_view);
    }
    emit cursorMoved(m_view.toDesign(event->localPos()));
}

void LayoutView::mouseReleaseEvent(QMouseEvent *event)
{
    if (m_alignMode.mouseRelease(*event) || event->buttons() != Qt::NoButton)
        return;
    m_panning = false;
    alignModeChanged(); // gives back the cursor
}

void LayoutView::wheelEvent(QWheelEvent *event)
{
    ViewTransform wanted = m_view;
    wanted.zoomAbout(event->position(), std::pow(1.0015, event->angleDelta().y()));
    setView(wanted);
    emit cursorMoved(m_view.toDesign(event->position()));
}

void LayoutView::keyPressEvent(QKeyEvent *event)
{
    if (m_alignMode.keyPress(*event, m_view))
        return;
    const struct {
        int key;
        QPointF direction;
    } steps[] = { { Qt::Key_Left, { 1, 0 } },
                  { Qt::Key_Right, { -1, 0 } },
                  { Qt::Key_Up, { 0, 1 } },
                  { Qt::Key_Down, { 0, -1 } } };
    for (const auto &step : steps) {
        if (event->key() != step.key)
            continue;
        ViewTransform wanted = m_view;
        wanted.panBy(QPointF(step.direction.x() * width(), step.direction.y() * height()) / 8);
        return setView(wanted);
    }
    QWidget::keyPressEvent(event);
}

void LayoutView::leaveEvent(QEvent *)
{
    emit cursorLeft();
}

} // namespace viewer
