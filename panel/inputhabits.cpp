#include "panel/inputhabits.h"

#include "panel/semcontrol.h"

#include <QKeyEvent>

InputHabits::InputHabits(semControl *panel)
    : QObject(panel)
    , m_panel(panel)
{
    panel->host->installEventFilter(this);
    QWidget *const turned[] = { panel->port, panel->detector, panel->dwellTime, panel->imageSize };
    for (size_t i = 0; i < sizeof turned / sizeof turned[0]; ++i) {
        turned[i]->installEventFilter(this);
        turned[i]->setFocusPolicy(Qt::StrongFocus); // the wheel alone does not give the focus
    }
}

bool InputHabits::eventFilter(QObject *watched, QEvent *event)
{
    if (isConnecting(watched, event)) {
        m_panel->port->interpretText();
        m_panel->connectButton->click(); // the host may delete the panel within
        return true;
    }
    if (event->type() != QEvent::Wheel || static_cast<QWidget *>(watched)->hasFocus())
        return false;
    event->ignore(); // for what the panel may be scrolled in
    return true;
}

bool InputHabits::isConnecting(QObject *watched, QEvent *event) const
{
    if (event->type() != QEvent::KeyPress || (watched != m_panel->host && watched != m_panel->port))
        return false;
    const QKeyEvent *const key = static_cast<QKeyEvent *>(event);
    return (key->key() == Qt::Key_Return || key->key() == Qt::Key_Enter) && !key->isAutoRepeat();
}
