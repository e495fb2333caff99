// The keys of the alignment modes.
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/view.h"

#include <QKeyEvent>

namespace hosting {

static const struct {
    int key;
    QPointF direction; ///< in the design
} arrows[] = { { Qt::Key_Left, { -1, 0 } },
               { Qt::Key_Right, { 1, 0 } },
               { Qt::Key_Up, { 0, 1 } },
               { Qt::Key_Down, { 0, -1 } } };

/// Null for other keys.
static QPointF arrowOf(const QKeyEvent &event)
{
    if (event.modifiers() & (Qt::AltModifier | Qt::MetaModifier))
        return QPointF();
    for (const auto &arrow : arrows)
        if (event.key() == arrow.key)
            return arrow.direction;
    return QPointF();
}

// Both habits of the desktops.
AlignMode::HistoryStep AlignMode::historyStepOf(const QKeyEvent &event) const
{
    const bool shift = event.modifiers() == (Qt::ControlModifier | Qt::ShiftModifier);
    if (!shift && event.modifiers() != Qt::ControlModifier)
        return nullptr;
    if (event.key() == Qt::Key_Z && !shift)
        return m_history.canUndo() ? &MoveHistory::undo : nullptr;
    if (event.key() == (shift ? Qt::Key_Z : Qt::Key_Y))
        return m_history.canRedo() ? &MoveHistory::redo : nullptr;
    return nullptr;
}

bool AlignMode::wantsCentre(const QKeyEvent &event) const
{
    return m_mode == Assisted && m_havePixel && event.key() == Qt::Key_C && !event.modifiers();
}

bool AlignMode::wantsFinding(const QKeyEvent &event)
{
    return event.key() == Qt::Key_F && !event.modifiers();
}

bool AlignMode::takesKey(const QKeyEvent &event) const
{
    if (m_mode == Off)
        return false;
    return event.key() == Qt::Key_Escape || historyStepOf(event) || wantsCentre(event)
        || wantsFinding(event) || (m_mode == Manual && !arrowOf(event).isNull());
}

bool AlignMode::keyPress(const QKeyEvent &event, const View &view)
{
    if (!takesKey(event))
        return false;
    if (event.key() == Qt::Key_Escape) {
        setMode(Off);
        emit escaped();
    } else if (wantsFinding(event)) {
        emit findWanted();
    } else if (wantsCentre(event)) {
        emit centreWanted(m_background->placement().toTransform().map(m_pixel));
    } else if (const HistoryStep step = historyStepOf(event)) {
        m_drag == NoDrag ? endMove() : beginMove(); // what is dragged on is another step
        (m_history.*step)();
    } else if (m_background->isShown()) {
        nudge(arrowOf(event) * fineness(event), event.modifiers() & Qt::ControlModifier, view);
    }
    return true;
}

// What a drag by one pixel does, but about the centre: no point was pressed.
void AlignMode::nudge(const QPointF &steps, bool turnsOrScales, const View &view)
{
    if (m_drag == NoDrag) {
        if (!m_nudging.isActive())
            beginMove();
        m_nudging.start();
    }
    if (!turnsOrScales)
        move(steps / view.zoom);
    else if (steps.x() != 0)
        turn(m_background->centre(), steps.x());
    else
        scale(m_background->centre(), steps.y());
}

} // namespace hosting
