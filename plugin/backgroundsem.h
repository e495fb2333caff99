#ifndef PLUGIN_BACKGROUNDSEM_H
#define PLUGIN_BACKGROUNDSEM_H

#include "plugin/backgroundplugin.h"

#include <QImage>
#include <QMap>
#include <QMatrix>
#include <QObject>
#include <QPointF>
#include <QPointer>
#include <QPolygonF>
#include <QSet>
#include <QString>
#include <QTimer>

class Handover;
class QSettings;
class QWidget;
class semControl;
class tescan;
struct PairFit;

/// The plugin object: what the host sees of the library. It builds the control panel and the link
/// to the microscope, wires the two, composes the background image and keeps stage and design in
/// register. It lives on the host's GUI thread; a host may delete it within any of its signals.
///
/// Matrices follow QMatrix: (x, y) maps to (m11 x + m21 y + dx, m12 x + m22 y + dy), and
/// translate(), scale(), shear() and rotate() act on a point before what was built so far.
class backgroundSEM : public QObject, public backgroundPlugIn {
    Q_OBJECT
    Q_INTERFACES(backgroundPlugIn)
#if QT_VERSION >= 0x050000
    Q_PLUGIN_METADATA(IID "com.omrandel.Quillmap.backgroundPlugIn/1.1")
#endif

public:
    backgroundSEM();
    ~backgroundSEM();

    void init();
    void close();
    QImage getImage();
    void getPos(double *x, double *y, double *scaleX, double *scaleY, double *shearH,
                double *shearV, double *rotation);
    QString getName();
    void setDatabaseUnits(double units);
    void getView(double zoom, int centreX, int centreY, int width, int height);
    void getDesignName(QString name);

signals:
    void imageUpdate();
    void posUpdate();
    void addWidget(QWidget *, QString name);
    void removeWidget(QWidget *);
    void centerImage();
    void requestAlignManuel();
    void requestAlignAssist();
    void requestCloneImage();
    void requestView();
    void requestDefaultMode();
    void requestDesignName();

public slots:
    void triggerTimer();
    void newImageData();
    void connectToSEM();
    void newImageSize(const QString &text); ///< "<edge>x<edge>"
    void alignManuel();
    void alignAssist();
    void cloneImage();
    void updatePos();
    void prepareImage();
    void displayChanged();
    void stageToView();
    void viewToStage();
    void align1();
    void align2();
    void align3();
    void alignClear();

private:
    enum DisplayMode { DisplayLive = 0, DisplayBox = 1, DisplayCross = 2, DisplayNone = 3 };

    // The states of pair k follow those of pair 1; seeking, positioning and confirming are 10
    // apart.
    enum AlignState {
        StateUnset = -1,
        StateAwaitView = 0, ///< the next view report notes the view centre
        StateViewNoted = 1, ///< the next position request places the image there
        StatePlaced = 2, ///< placed with the one-pair map, not aligned
        StatePositioning1 = 11, ///< the user moves the image for the pair
        StatePositioning2 = 12,
        StatePositioning3 = 13,
        StateSeeking1 = 21, ///< the next position request puts the image on the stored design point
        StateSeeking2 = 22,
        StateSeeking3 = 23,
        StateConfirming1 = 31, ///< the next position request records the pair
        StateConfirming2 = 32,
        StateConfirming3 = 33,
        StateAligned = 50
    };
    static const int pairCount = 3;
    static const int refreshMs = 5000; ///< after the last getImage(), until the host is reminded

    // Lifecycle and settings.
    int restoreScan(QSettings &settings, int *dwellNs, int *detector);
    void restorePanel(QSettings &settings, int dwellNs, int scanSize);
    void restoreAlignments(const QSettings &settings);
    void save();
    void wire();

    // Image composition.
    bool isPlaced() const
    {
        return alignState > StateViewNoted;
    }
    void enableLiveWidgets(bool enabled);
    int selectedDisplayMode() const;

    // Stage map.
    void createStageMap(QPointF stage, QPointF design);
    void createStageMap(QPointF stage1, QPointF design1, QPointF stage2, QPointF design2);
    void createStageMap();
    void finishStageMap(const PairFit &fit, const QMatrix &map, const QPointF &firstStage,
                        const QPointF &firstDesign);
    static QString explain(const PairFit &fit, int pairs);
    void showStatus(const QString &text);

    // Alignment workflow.
    bool canMoveStage(const QPointF &stage) const; ///< whether all five values are finite
    void moveStage(QPointF stage); ///< to a position in mm
    void alignRow(int pair);
    void startRow(int pair);
    void confirmRow(int pair);
    enum RowLook { RowIdle, RowInWork, RowRecorded, RowRejected };
    void showVerdict(int pair); ///< on the map that came of recording the pair
    void showRow(int pair, RowLook look);
    void explainRow(int pair, RowLook look);
    void resetRows();
    void enableRow(int pair, bool enabled);
    void enableClear(bool enabled);

    // View placement.
    struct HostValues;
    double nominalPixelSize() const; ///< database units per pixel of the microscope's image
    QPointF designUnderStage() const;
    bool canPlace() const; ///< whether what the microscope reports makes a finite placement
    void takeOverMicroscope();
    void startPlacement(const HostValues &host);
    void placeFirst(const HostValues &host);
    void followImageSize(const HostValues &host);
    bool alignStep(const HostValues &host);
    void recordPair(int pair, const QPointF &design);
    void track(const HostValues &host, bool keepPlacement);
    void moveStageToView(const QPointF &centre, double viewFieldMm);

    QTimer refreshTimer; ///< reminds the host to fetch the image
    tescan *sem;
    QPointer<semControl> panel; ///< ours, but a host might delete it
    double databaseUnits; ///< metres
    int lastImageSize; ///< pixels, last taken over by the placement, like the four below
    double lastStageX; ///< mm
    double lastStageY;
    double lastStageValue4;
    double lastViewField; ///< mm; 0 while no placement has been made
    QString designName;
    QMap<QString, QPolygonF> alignMap; ///< the alignment points of each design by its name
    QPolygonF alignPoints; ///< design point 1 (database units), stage position 1 (mm), 2, 2, 3, 3
    QImage composedImage;
    int displayMode;
    int alignState;
    QMatrix stageMap; ///< stage (mm) to design (database units)
    bool stageToViewPending; ///< the next view report moves the stage
    Handover *handler; ///< the innermost one that handles a signal of the panel
    QString mapFlaw; ///< why the pairs were rejected, empty while they are in force
    QSet<int> unticked; ///< rows whose pair led to a rejection
};

#endif
