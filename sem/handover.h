#ifndef SEM_HANDOVER_H
#define SEM_HANDOVER_H

#include <QList>
#include <QObject>
#include <QPointer>

/// Stands on the stack while a signal of an owner's objects is handled.
///
/// The host may delete the owner meanwhile, from an event loop of its own even, in which
/// deleteLater() would come too early: the objects are still at work further up the stack. So the
/// owner leaves them here, and the outermost handler gives them up.
class Handover {
public:
    /// `current` is the owner's pointer to the innermost handler, null while there is none.
    explicit Handover(Handover **current)
        : m_current(current)
        , m_outer(*current)
    {
        *current = this;
    }
    ~Handover();

    /// For the owner's destructor: deletes the objects, or leaves them to `current` if there is
    /// one.
    static void release(Handover *current, const QList<QPointer<QObject>> &objects);

private:
    Q_DISABLE_COPY(Handover)

    Handover **m_current; ///< null when the owner is gone
    Handover *m_outer;
    QList<QPointer<QObject>> m_objects;
};

#endif
