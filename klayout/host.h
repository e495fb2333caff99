#ifndef KLAYOUT_HOST_H
#define KLAYOUT_HOST_H

#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/canvasoverlay.h"
#include "hosting/imagefinder.h"
#include "hosting/livewatch.h"
#include "hosting/pairguard.h"
#include "hosting/statusline.h"
#include "hosting/pluginsession.h"
#include "klayout/exitsignals.h"
#include "klayout/imagedock.h"

#include <QDockWidget>
#include <QMainWindow>
#include <QPointer>

#include <functional>

namespace klayout {

/// KLayout's main window as a host of the background plugin: the docks, the canvas with the image,
/// the modes. What only KLayout's scripts can do goes out as events:
///
///     event          argument
///     view           bring the tab with the image to the front and report its view
///     centre         x y in micrometres: centre the view there
///     mode           0, 1 or 2: which tool is in use, as sem_set_mode()
///     clone          keep the live image as an image of the layout
///     outline        0 or 1: layers without fill
///     tab            show the image in the tab in front
///     clone-show     id, 0 or 1
///     clone-save     id
///     clone-remove   id
///     shapes         left bottom right top in database units: what the visible layers have there
///                    is wanted, as sem_take_shapes()
///     message        text for the status bar
///     warning        text for a message box
class Host : public QObject {
    Q_OBJECT
public:
    using Event = std::function<void(const char *name, const QString &argument)>;

    Host(QMainWindow *window, const Event &event);
    ~Host() override;

    bool start(const QString &library, QString *error);
    void stop();

    /// Puts the docks where they were last: at first beside the cell tree, as tabs. Once the window
    /// is shown.
    void arrangeDocks();

    /// Finds the canvas that is on the screen; false if there is none.
    bool takeCanvas();
    void setView(double magnification, const QPointF &origin, const QSize &viewport);
    void setDesign(const hosting::Design &design);
    void setMode(hosting::AlignMode::Mode mode);
    void act(const QString &action);
    void connectTo(const QString &host, int port);
    /// The live image's matrix for KLayout, written to `file` with the image. Null if there is no
    /// image, empty and with a warning if the file cannot be written.
    QString writeClone(const QString &file);

    /// The shapes that were asked for.
    void takeShapes(const qint32 *numbers, int count);

    hosting::PluginSession *session() { return &m_session; }
    hosting::Background *background() { return &m_background; }
    hosting::CanvasOverlay *overlay() { return &m_overlay; }
    ImageDock *dock() { return m_imageDock; }
    void warn(const QString &text) { m_event("warning", text); }

private:
    QDockWidget *addDock(const QString &name, const QString &title, QWidget *content);
    void addPanel(QWidget *panel, const QString &name);
    void removePanel();
    void followStatus();
    bool ask(const QString &question);
    void end();
    void saveDocks();
    void showDocks();
    void connectSession();
    void connectDock();
    void centreOnImage();
    void find();
    void takeFinding(const hosting::ImageFinder::Finding &finding);
    void updateView();

    QMainWindow *m_window;
    Event m_event;
    hosting::Background m_background;
    hosting::PluginSession m_session;
    hosting::AlignMode m_mode;
    hosting::LiveWatch m_live;
    hosting::StatusLine m_statusLine;
    hosting::CanvasOverlay m_overlay;
    hosting::ImageFinder m_finder;
    hosting::PairGuard m_guard;
    ExitSignals m_exitSignals;
    ImageDock *m_imageDock;
    QPointer<QDockWidget> m_docks[2]; ///< the panel's, ours
    QPointer<QWidget> m_panel;
    QTimer m_statusTimer;
    QString m_missing; ///< of a live image, told last
    QString m_status; ///< the panel's, last seen

    // The view as KLayout reported it last.
    double m_magnification = 0; ///< viewport pixels per micrometre
    QPointF m_origin; ///< viewport pixels from the lower left
    QSize m_viewport;
};

} // namespace klayout

#endif
