#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/view.h"

#include <QKeyEvent>
#include <QLineF>
#include <QMouseEvent>

#include <cmath>

namespace hosting {

static const double degreesPerPixel = 0.1;
static const double scalePerPixel = 1.002;
static const double decisionPixels = 4; ///< a drag shorter than this has no direction yet

AlignMode::AlignMode(Background *background, QObject *parent)
    : QObject(parent)
    , m_background(background)
{
}

void AlignMode::setMode(Mode mode)
{
    m_mode = mode;
    m_drag = NoDrag;
    m_havePixel = m_missed = false;
    emit modeChanged();
    emit changed();
}

bool AlignMode::mousePress(const QMouseEvent &event, const View &view)
{
    if (m_mode == Off || event.button() != Qt::LeftButton || !m_background->isShown())
        return false;
    const QPointF design = view.toDesign(event.localPos());
    if (m_mode == Assisted) {
        click(design);
        return true;
    }
    m_drag = event.modifiers() & Qt::ControlModifier ? Undecided : Moving;
    m_pivot = m_lastDesign = design;
    m_lastScreen = event.localPos();
    emit changed();
    return true;
}

bool AlignMode::mouseMove(const QMouseEvent &event, const View &view)
{
    if (m_mode == Assisted && m_havePixel) {
        m_lastDesign = view.toDesign(event.localPos());
        emit changed();
    }
    if (m_drag == NoDrag)
        return false;
    drag(event.localPos(), view);
    return true;
}

// Step by step from where the image is now: the plugin may have rescaled it since the button went
// down.
void AlignMode::drag(const QPointF &screen, const View &view)
{
    const QPointF offset = screen - m_lastScreen;
    if (m_drag == Undecided)
        decide(offset);
    if (m_drag == Undecided)
        return;
    const Placement &now = m_background->placement();
    const QPointF design = view.toDesign(screen);
    if (now.isDrawable()) {
        if (m_drag == Moving)
            m_background->setPlacement(now.moved(design - m_lastDesign));
        else if (m_drag == Turning)
            m_background->setPlacement(now.turned(m_pivot, -offset.x() * degreesPerPixel));
        else
            m_background->setPlacement(now.scaled(m_pivot, std::pow(scalePerPixel, -offset.y())));
    }
    m_lastScreen = screen;
    m_lastDesign = design;
}

// One drag does one thing; a turn should not change the scale by accident.
void AlignMode::decide(const QPointF &offset)
{
    if (std::hypot(offset.x(), offset.y()) >= decisionPixels)
        m_drag = std::abs(offset.x()) >= std::abs(offset.y()) ? Turning : Scaling;
}

bool AlignMode::mouseRelease(const QMouseEvent &event)
{
    if (m_drag == NoDrag || event.button() != Qt::LeftButton)
        return false;
    m_drag = NoDrag;
    emit changed();
    return true;
}

void AlignMode::click(const QPointF &design)
{
    const Placement &now = m_background->placement();
    m_missed = !m_background->isShown()
        || (!m_havePixel && !m_background->outline().containsPoint(design, Qt::OddEvenFill));
    if (m_missed) {
        m_havePixel = false;
    } else if (m_havePixel) {
        m_background->setPlacement(now.moved(design - now.toTransform().map(m_pixel)));
        m_havePixel = false;
    } else {
        m_pixel = now.toTransform().inverted().map(design);
        m_lastDesign = design;
        m_havePixel = true;
    }
    emit changed();
}

static const struct {
    int key;
    QPointF direction; ///< in the design
} nudges[] = { { Qt::Key_Left, { -1, 0 } },
               { Qt::Key_Right, { 1, 0 } },
               { Qt::Key_Up, { 0, 1 } },
               { Qt::Key_Down, { 0, -1 } } };

bool AlignMode::takesKey(const QKeyEvent &event) const
{
    if (m_mode == Off || event.key() == Qt::Key_Escape)
        return m_mode != Off;
    for (const auto &nudge : nudges)
        if (m_mode == Manual && event.key() == nudge.key)
            return true;
    return false;
}

bool AlignMode::keyPress(const QKeyEvent &event, const View &view)
{
    if (!takesKey(event))
        return false;
    if (event.key() == Qt::Key_Escape)
        setMode(Off);
    for (const auto &nudge : nudges) {
        if (event.key() != nudge.key || !m_background->placement().isDrawable())
            continue;
        const double screenPixels = event.modifiers() & Qt::ShiftModifier ? 10 : 1;
        m_background->setPlacement(
            m_background->placement().moved(nudge.direction * screenPixels / view.zoom));
    }
    return true;
}

} // namespace hosting
