#include "hosting/movehistory.h"
#include "hosting/background.h"

namespace hosting {

MoveHistory::MoveHistory(Background *background, QObject *parent)
    : QObject(parent)
    , m_background(background)
    , m_places{ background->placement() }
{
    connect(background, &Background::movedByUser, this, &MoveHistory::record);
    connect(background, &Background::changed, this, &MoveHistory::follow);
}

void MoveHistory::begin()
{
    m_joins = true;
    m_stepIsOpen = false;
}

void MoveHistory::end()
{
    m_joins = m_stepIsOpen = false;
}

bool MoveHistory::canUndo() const
{
    return m_at > 0 && m_background->isShown();
}

bool MoveHistory::canRedo() const
{
    return m_at + 1 < m_places.size() && m_background->isShown();
}

void MoveHistory::undo()
{
    if (canUndo())
        step(-1);
}

void MoveHistory::redo()
{
    if (canRedo())
        step(1);
}

// The place is taken for known before the image is there, so that record() sees no new move.
void MoveHistory::step(int by)
{
    m_at += by;
    m_stepIsOpen = false;
    m_background->setPlacement(m_places[m_at]);
    emit changed();
}

void MoveHistory::clear()
{
    m_places = { m_background->placement() };
    m_at = 0;
    m_stepIsOpen = false;
    emit changed();
}

void MoveHistory::record()
{
    const Placement &now = m_background->placement();
    if (now == m_places[m_at])
        return;
    m_places.resize(m_at + 1);
    if (m_stepIsOpen)
        m_places[m_at] = now;
    else
        m_places.insert(++m_at, now);
    m_stepIsOpen = m_joins;
    emit changed();
}

void MoveHistory::follow()
{
    if (m_background->placement() != m_places[m_at])
        clear();
}

} // namespace hosting
