#ifndef HOST_SCRIPT_H
#define HOST_SCRIPT_H

#include "host/commandline.h"

#include <QObject>

namespace viewer {

class MainWindow;

/// Does what the command line asks for once the window is up: presses the panel's buttons, chooses
/// the view, takes the screenshot or the measurement and quits.
class Script : public QObject {
    Q_OBJECT
public:
    Script(MainWindow *window, const Options &options, QObject *parent = nullptr);

    /// False with the reason in `error` when the panel has no such control.
    bool start(QString *error);

private:
    bool pressDisplay(QString *error);
    bool chooseFromLists(QString *error);
    bool pressConnect(QString *error);
    void chooseView();
    void finish();
    void takeScreenshot();

    MainWindow *m_window;
    const Options m_options;
    bool m_zoomed = false;
};

} // namespace viewer

#endif
