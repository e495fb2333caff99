#include "hosting/pairguard.h"
#include "hosting/pluginsession.h"

#include <QAbstractButton>
#include <QKeyEvent>
#include <QMouseEvent>

namespace hosting {

static const char *const rowNames[] = { "align1", "align2", "align3" };
static const char clearName[] = "alignClear";

PairGuard::PairGuard(PluginSession *session, const Ask &ask)
    : m_session(session)
    , m_ask(ask)
{
    connect(session, &PluginSession::panelAdded, this, &PairGuard::watch);
}

void PairGuard::watch()
{
    for (const char *name : { rowNames[0], rowNames[1], rowNames[2], clearName })
        if (QAbstractButton *button = m_session->panel()->button(name))
            button->installEventFilter(this);
}

static bool wouldClick(const QAbstractButton *button, const QEvent *event)
{
    if (!button->isDown())
        return false;
    if (event->type() == QEvent::MouseButtonRelease)
        return button->rect().contains(static_cast<const QMouseEvent *>(event)->pos());
    return event->type() == QEvent::KeyRelease
        && !static_cast<const QKeyEvent *>(event)->isAutoRepeat();
}

// Asked once the event is over: the panel may be gone after the question.
bool PairGuard::eventFilter(QObject *watched, QEvent *event)
{
    auto *button = qobject_cast<QAbstractButton *>(watched); // not any more while it is destroyed
    if (!button || !wouldClick(button, event) || question(button).isEmpty())
        return false;
    button->setDown(false);
    QMetaObject::invokeMethod(
        button, [this, button] { askAndPress(button); }, Qt::QueuedConnection);
    return true;
}

void PairGuard::askAndPress(QAbstractButton *button)
{
    const QPointer<QAbstractButton> alive(button);
    const int row = m_session->rowInWork();
    const QString asked = question(button);
    if ((asked.isEmpty() || m_ask(asked)) && alive && m_session->rowInWork() == row)
        button->click();
}

/// Empty if there is nothing to ask.
QString PairGuard::question(const QAbstractButton *button) const
{
    if (button->objectName() == clearName) {
        const Alignment &alignment = m_session->alignment();
        const int pairs = qMax(alignment.inForce, alignment.pairs.size());
        return pairs ? tr("Give up the alignment? Pairs confirmed: %1.").arg(pairs) : QString();
    }
    const int row = m_session->rowInWork();
    if (row == 0 || button->objectName() != rowNames[row - 1])
        return QString();
    QStringList doubts = m_session->pairToConfirm().questions();
    if (doubts.isEmpty())
        return QString();
    doubts << tr("Confirm pair %1 all the same?").arg(row);
    return doubts.join("\n\n");
}

} // namespace hosting
