#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/view.h"

#include <QMouseEvent>

#include <cmath>

namespace hosting {

// A step is a screen pixel of a drag, or a key.
static const double degreesPerStep = 0.1;
static const double scalePerStep = 1.002;
static const double decisionPixels = 4; ///< a drag shorter than this has no direction yet
static const int runMs = 1000;

AlignMode::AlignMode(Background *background, QObject *parent)
    : QObject(parent)
    , m_background(background)
    , m_history(background)
{
    m_nudging.setSingleShot(true);
    m_nudging.setInterval(runMs);
    connect(&m_nudging, &QTimer::timeout, this, &AlignMode::endMove);
}

void AlignMode::setMode(Mode mode)
{
    m_mode = mode;
    m_drag = NoDrag;
    m_havePixel = m_missed = false;
    emit modeChanged();
    endMove();
}

void AlignMode::finish()
{
    m_history.clear();
    setMode(Off);
}

void AlignMode::chooseCentre()
{
    const int size = m_background->image().width();
    m_pixel = QPointF(size / 2, size / 2);
    emit changed();
}

void AlignMode::put(const Placement &placement)
{
    beginMove();
    m_background->setPlacement(placement);
    endMove();
}

double AlignMode::fineness(const QInputEvent &event)
{
    return event.modifiers() & Qt::ShiftModifier ? 0.1 : 1;
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
    m_nudging.stop();
    beginMove();
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
    drag(event.localPos(), view, fineness(event));
    return true;
}

// Step by step from where the image is now: the plugin may have rescaled it since the button went
// down, and Shift may come and go.
void AlignMode::drag(const QPointF &screen, const View &view, double fineness)
{
    const QPointF offset = screen - m_lastScreen;
    if (m_drag == Undecided)
        decide(offset);
    if (m_drag == Undecided)
        return;
    const QPointF design = view.toDesign(screen);
    if (m_background->placement().isDrawable()) {
        if (m_drag == Moving)
            move((design - m_lastDesign) * fineness);
        else if (m_drag == Turning)
            turn(m_pivot, offset.x() * fineness);
        else
            scale(m_pivot, -offset.y() * fineness);
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
    endMove();
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

// Here it is known what the user did; a comparison of placements would count in what the plugin did
// meanwhile.
void AlignMode::beginMove()
{
    m_history.begin();
    m_readingOut = false;
    m_moved = QPointF();
    m_degrees = 0;
    m_factor = 1;
    emit changed();
}

void AlignMode::endMove()
{
    m_nudging.stop();
    m_history.end();
    m_readingOut = false;
    emit changed();
}

void AlignMode::move(const QPointF &offset)
{
    m_readingOut = true;
    m_moved += offset;
    m_background->setPlacement(m_background->placement().moved(offset));
}

void AlignMode::turn(const QPointF &pivot, double steps)
{
    const double degrees = -steps * degreesPerStep;
    m_readingOut = true;
    m_degrees += degrees;
    m_background->setPlacement(m_background->placement().turned(pivot, degrees));
}

void AlignMode::scale(const QPointF &pivot, double steps)
{
    const double factor = std::pow(scalePerStep, steps);
    m_readingOut = true;
    m_factor *= factor;
    m_background->setPlacement(m_background->placement().scaled(pivot, factor));
}

} // namespace hosting
