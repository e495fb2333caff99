#ifndef PANEL_SEMCONTROL_H
#define PANEL_SEMCONTROL_H

#include "ui_semcontrolwidget.h"

#include <QWidget>

/// The control panel: the form and the two slots through which the rest of the system reports to
/// the user. It keeps no state beside that of its widgets, and knows neither microscope nor host.
class semControl : public QWidget, public Ui::semControlWidget {
    Q_OBJECT

public:
    semControl();
    ~semControl();

public slots:
    /// Shows a status text. One that begins with "connected" or "disconnec" turns to the operating
    /// or the connection page; one that begins with "info:" is added to the information label
    /// instead, which keeps the newest lines of 64 KiB.
    void setStatus(QString status);

    /// Appends the detectors of the microscope's enumeration, lines of the form key=value, to the
    /// list as "number - name", and selects the entry at position `index`.
    void detectorInfo(QString info, int index);
};

#endif
