#ifndef PANEL_NEWESTLINES_H
#define PANEL_NEWESTLINES_H

#include <QObject>

class QLabel;

/// Has a label of plain text show its last lines where there is no room for all, as its child; a
/// label by itself shows the first.
class NewestLines : public QObject {
    Q_OBJECT

public:
    explicit NewestLines(QLabel *label);

    bool eventFilter(QObject *watched, QEvent *event);

private:
    QLabel *m_label;
};

#endif
