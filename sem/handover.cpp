#include "sem/handover.h"

Handover::~Handover()
{
    if (m_current) {
        *m_current = m_outer;
        return;
    }
    if (m_outer) {
        release(m_outer, m_objects);
        return;
    }
    for (int i = 0; i < m_objects.size(); ++i)
        if (m_objects.at(i))
            m_objects.at(i)->deleteLater();
}

void Handover::release(Handover *current, const QList<QPointer<QObject>> &objects)
{
    if (current) {
        current->m_current = 0;
        current->m_objects = objects;
        return;
    }
    for (int i = 0; i < objects.size(); ++i)
        delete objects.at(i);
}
