#ifndef HOST_PLUGINSESSION_H
#define HOST_PLUGINSESSION_H

#include "host/background.h"

#include <QElapsedTimer>
#include <QPluginLoader>
#include <QPointer>
#include <QTimer>

class backgroundPlugIn;

namespace viewer {

class ViewTransform;

/// The host's side of the contract with a background plugin: connects its signals, reports design
/// and view, fetches image and placement into a Background. What concerns windows is passed on as
/// signals.
class PluginSession : public QObject {
    Q_OBJECT
public:
    explicit PluginSession(Background *background, QObject *parent = nullptr);
    ~PluginSession() override;

    /// Loads the library `file` and starts its plugin; on failure puts the reason into `error`.
    bool load(const QString &file, QString *error);
    /// Starts a plugin object and takes ownership of it; false if it is no background plugin.
    bool attach(QObject *plugin);
    /// Deletes the plugin object and unloads the library. The panel must be out of the window.
    void stop();

    QObject *plugin() const { return m_plugin; }
    QString pluginName() const;

    /// Reports the design on the screen, now and after the start of a plugin. One that has the name
    /// and the unit of the design before counts as the same: nothing is reported, returns false.
    bool setDesign(const QString &name, double databaseUnitMetres);
    void reportView(const ViewTransform &view);
    /// True from when the user starts an alignment pair until it is confirmed or given up.
    bool isPairInWork() const { return m_pairInWork; }
    /// Calls one of the plugin's public slots that take no arguments.
    bool invoke(const char *slot);

public slots:
    /// Reports the design again, which brings back the alignment stored for it.
    void reportDesign();

signals:
    void panelAdded(QWidget *panel, const QString &name);
    void panelRemoved(QWidget *panel);
    void centreRequested();
    void manualAlignmentRequested();
    void assistedAlignmentRequested();
    void cloneRequested();
    void placedAnew(); ///< not for the first time: the alignment is no longer in force
    void viewRequested(); ///< answer with reportView()
    void defaultModeRequested();

private slots:
    void noteImage();
    void takePosition();
    void startMoving();
    void stopMoving();
    void centre();

private:
    void restoreOnce();
    void report(bool anotherDesign);
    void connectPlugin();
    void fetchImage();

    Background *m_background;
    QPluginLoader m_loader;
    QPointer<QObject> m_plugin;
    backgroundPlugIn *m_interface = nullptr;
    QString m_designName;
    double m_databaseUnitMetres = 1e-9; ///< before the first design what plugins begin with
    bool m_hasDesign = false;
    QTimer m_imageTimer;
    QElapsedTimer m_sinceFetch;
    bool m_takingPosition = false;
    bool m_centreAfterPosition = false;
    bool m_reportingName = false; ///< the name follows, and with it the alignment
    bool m_placed = false; ///< once at least; the alignment was asked for then
    bool m_invoking = false;
    bool m_pairInWork = false;
};

} // namespace viewer

#endif
