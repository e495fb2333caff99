#ifndef HOSTING_PLUGINSESSION_H
#define HOSTING_PLUGINSESSION_H

#include "hosting/controlpanel.h"
#include "hosting/pose.h"
#include "hosting/view.h"

#include <QElapsedTimer>
#include <QPluginLoader>
#include <QPointer>
#include <QSet>
#include <QTimer>

#include <functional>

class backgroundPlugIn;

namespace hosting {

class Background;

/// What is on the screen: the name under which alignments are stored, and the length of one
/// database unit. Another name or another unit is another design.
struct Design {
    QString name;
    double databaseUnitMetres = 0; ///< 0: no design is open

    bool isOpen() const { return databaseUnitMetres > 0; }
    bool operator==(const Design &other) const
    {
        return name == other.name && databaseUnitMetres == other.databaseUnitMetres;
    }
    bool operator!=(const Design &other) const { return !(*this == other); }
};

/// The host's side of the contract with a background plugin: connects its signals, reports design
/// and view, fetches image and placement into a Background. What concerns windows is passed on as
/// signals.
///
/// A plugin object serves one design. When another one is on the screen, a new object takes over
/// and connects by itself: only a new object puts the image where a stored alignment wants it
/// before the stage moves.
class PluginSession : public QObject {
    Q_OBJECT
public:
    explicit PluginSession(Background *background, QObject *parent = nullptr);
    ~PluginSession() override;

    /// Loads the library `file` and starts its plugin; on failure puts the reason into `error`.
    bool load(const QString &file, QString *error);
    /// Starts with the objects that `create` makes and that belong to this session from then on;
    /// false if they are no background plugins.
    bool start(const std::function<QObject *()> &create);
    /// Deletes the plugin object and unloads the library.
    void stop();

    QObject *plugin() const { return m_plugin; }
    QString pluginName() const;
    ControlPanel *panel() { return &m_panel; }

    /// What the screen shows; a Design that is not open when there is none.
    void setDesign(const Design &design);
    const Design &design() const { return m_design; }
    void setView(const View &view) { m_view = view; }
    const View &view() const { return m_view; }

    /// True from when the user starts an alignment pair until it is confirmed or given up.
    bool isPairInWork() const { return m_pairInWork; }
    /// Calls one of the plugin's public slots that take no arguments.
    bool invoke(const char *slot);
    /// Brings a stored alignment back that the user cleared; false if none is known.
    bool bringBackAlignment();
    /// Why there is no image, or what the user has to know about its place; mostly empty.
    QString notice() const { return m_notice; }

signals:
    void panelAdded(QWidget *panel, const QString &name);
    void panelRemoved(QWidget *panel);
    void viewRequested(); ///< the last moment for setView(), before it is reported
    void centreRequested();
    void manualAlignmentRequested();
    void assistedAlignmentRequested();
    void cloneRequested();
    void defaultModeRequested();
    void noticeChanged(const QString &notice);

private slots:
    void notePanel(QWidget *panel, const QString &name);
    void dropPanel(QWidget *panel);
    void followPage();
    void noteImage();
    void takePosition();
    void answerView();
    void reportName();
    void startMoving();
    void stopMoving();
    void noteEdit();
    void centre();

private:
    bool startObject();
    void endObject();
    void renew();
    void connectPlugin();
    void fetchImage();

    bool servesAnotherDesign() const;
    void answerWhileConnecting();
    void reportView();
    bool restoreAlignment();
    void settle(const Placement &before, Placement *placement);
    void noteFirstPlacement();
    void finishPair();
    void showOrHide();
    void setNotice(const QString &notice);

    Background *m_background;
    QPluginLoader m_loader;
    std::function<QObject *()> m_create;
    QPointer<QObject> m_plugin;
    backgroundPlugIn *m_interface = nullptr;
    ControlPanel m_panel;
    QTimer m_imageTimer;
    QElapsedTimer m_sinceFetch;

    Design m_design; ///< on the screen
    View m_view;
    QMap<QString, Pose> m_poses;
    QSet<QString> m_stored; ///< designs of which the plugin is known to hold an alignment
    QSet<QString> m_cleared; ///< those whose alignment the user does not want to see again
    QString m_notice;

    // Of the plugin object at hand:
    Design m_served; ///< whose view it was told
    NominalScale m_nominal;
    bool m_asked = false; ///< for a view, once at least
    bool m_placed = false;
    bool m_aligned = false; ///< with two pairs or more, restored or recorded
    bool m_disturbed = false; ///< the image is not where the alignment put it last
    bool m_waitsForMove = false; ///< the image gets its place with the next stage move
    bool m_outOfPlace = false; ///< a new object has to take over, once this one is connected
    bool m_awaitsFirst = false; ///< connected, and not placed since
    bool m_pairInWork = false;
    bool m_confirming = false;

    bool m_takingPosition = false;
    bool m_holdingPositions = false;
    bool m_positionAsked = false; ///< while it was held
    bool m_centreAfterPosition = false;
    bool m_clearing = false;
    bool m_invoking = false;
};

} // namespace hosting

#endif
