#ifndef PANEL_INPUTHABITS_H
#define PANEL_INPUTHABITS_H

#include <QObject>

class semControl;

/// How the panel takes wheel and keys, as its child: Return in host or port connects, and the wheel
/// changes only the list or number that has the focus.
class InputHabits : public QObject {
    Q_OBJECT

public:
    explicit InputHabits(semControl *panel);

    bool eventFilter(QObject *watched, QEvent *event);

private:
    bool isConnecting(QObject *watched, QEvent *event) const;

    semControl *m_panel;
};

#endif
