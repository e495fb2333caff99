#ifndef HOSTING_PLUGINSESSION_H
#define HOSTING_PLUGINSESSION_H

#include "hosting/controlpanel.h"
#include "hosting/designmemory.h"
#include "hosting/pairchecks.h"
#include "hosting/view.h"

#include <QDateTime>
#include <QElapsedTimer>
#include <QPluginLoader>
#include <QPointer>
#include <QTimer>

#include <functional>
#include <optional>

class backgroundPlugIn;

namespace hosting {

class Background;

/// What is on the screen: the name under which alignments are stored, and the length of one
/// database unit. Another name or another unit is another design.
struct Design {
    QString name;
    double databaseUnitMetres = 0; ///< 0: no design is open
    QRectF extent; ///< database units; empty if not known

    double micrometres() const { return databaseUnitMetres * 1e6; } ///< to the database unit
    bool isOpen() const { return databaseUnitMetres > 0; }
    bool operator==(const Design &other) const
    {
        return name == other.name && databaseUnitMetres == other.databaseUnitMetres;
    }
    bool operator!=(const Design &other) const { return !(*this == other); }
};

/// What the image's place rests on.
struct Alignment {
    QVector<PickedPair> pairs; ///< by row, as far as the host knows them
    int inForce = 0; ///< so many of them make the map; 0: the place is assumed
    bool restored = false; ///< it came back with the design
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
    void setView(const View &view);
    const View &view() const { return m_view; }

    const Alignment &alignment() const { return m_alignment; }
    bool isConnected() const { return m_panel.showsOperatingPage(); }
    /// When the connection of the image on the screen ended; null while there is one.
    QDateTime lostSince() const { return m_lostSince; }

    /// True from when the user starts an alignment pair until it is confirmed or given up.
    bool isPairInWork() const { return m_pairInWork; }
    int rowInWork() const; ///< 1 to 3; 0 for none
    /// How far the user put the image off the place where the map has it, database units.
    QPointF movedByHand() const;
    /// As far as it can be seen: plugins tell of moves only that there are some.
    bool isStageMoving() const { return m_stageStands.isActive(); }
    /// What is taken for granted about wafers, from the settings.
    const WaferAssumption &assumption() const { return m_memory.assumption; }
    double pixelSize() const { return m_nominal.pixelSize(); } ///< of the image, database units
    /// The confirmed pairs for reckoning; rows that came back without their points are left out.
    QVector<ConfirmedPair> confirmedPairs() const;
    /// What confirming the row in work would record; its row is 0 if there is none.
    PairToConfirm pairToConfirm() const;
    /// Gives the row in work up. A stored alignment comes back; otherwise confirmed pairs are lost,
    /// and the image goes back to where it was, as soon as the stage stands. False if no row is in
    /// work.
    bool giveUpPair();
    /// Has the stage moved so that what the image shows at this design point comes to its centre.
    bool bringToCentre(const QPointF &point);
    /// The image was put where it lies now so exactly (standard deviation, image pixels). That holds
    /// until it is moved; what the user's hand does is taken for exact to one pixel.
    void notePick(double deviationPixels);
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
    void alignmentChanged(); ///< or the connection
    void told(const QString &message); ///< to be shown for a while

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
    void finishPair(const QPointF &centre);
    void followStageToView(const QPointF &centre);
    void noteStageMove();
    void noteStanding();
    void startAgain();
    void startAgainAt(const QPointF &centre, const Pose &pose);
    QString reportOf(bool rejected) const;
    double pickDeviation() const;
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
    QTimer m_stageStands; ///< after the last move that was seen

    Design m_design; ///< on the screen
    View m_view;
    QPointF m_reportedCentre;
    View m_special; ///< reported instead of it, if valid
    DesignMemory m_memory;
    QSet<QString> m_stored; ///< designs of which the plugin is known to hold an alignment
    QString m_notice;

    // Of the plugin object at hand:
    Design m_served; ///< whose view it was told
    NominalScale m_nominal;
    Alignment m_alignment;
    QPointF m_mappedCentre; ///< where the map puts the image's centre, as far as it was seen
    Pose m_poseBefore; ///< that the row in work began with
    Correction m_correction; ///< of the row being confirmed
    int m_confirmingRow = 0;
    double m_confirmedDeviation = 0; ///< of its pick, database units
    Placement m_pickedPlacement; ///< of the pick that was noted
    double m_pickedPixels = 1;
    std::optional<QPointF> m_restingCentre; ///< for the image when the stage goes to the view
    QDateTime m_lostSince;
    bool m_connected = false;
    bool m_asked = false; ///< for a view, once at least
    bool m_placed = false;
    bool m_aligned = false; ///< with two pairs or more, restored or recorded
    bool m_disturbed = false; ///< the image is not where the alignment put it last
    bool m_waitsForMove = false; ///< the image gets its place with the next stage move
    bool m_outOfPlace = false; ///< a new object has to take over, once this one is connected
    bool m_awaitsFirst = false; ///< connected, and not placed since
    bool m_pairInWork = false;
    bool m_rowStarts = false;
    bool m_ownMove = false; ///< the host or the plugin sent the stage where it goes
    bool m_strayed = false; ///< in a row, the stage was moved otherwise
    bool m_givingUp = false; ///< once the stage stands
    bool m_tellRestored = false;
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
