// Building panel and link, wiring them, and taking everything down again.

#include "panel/semcontrol.h"
#include "plugin/backgroundsem.h"
#include "sem/handover.h"
#include "sem/tescan.h"

#include <QSettings>
#include <QStringList>

backgroundSEM::backgroundSEM()
    : sem(0)
    , databaseUnits(1e-9)
    , lastImageSize(1)
    , lastStageX(0)
    , lastStageY(0)
    , lastStageValue4(0)
    , lastViewField(0)
    , displayMode(DisplayCross)
    , alignState(StateUnset)
    , stageToViewPending(false)
    , handler(0)
{
    connect(&refreshTimer, SIGNAL(timeout()), this, SLOT(triggerTimer()));
    refreshTimer.setSingleShot(true);
}

backgroundSEM::~backgroundSEM()
{
    refreshTimer.stop();
    if (sem && sem->linkState > tescan::DataConnecting)
        save();
    delete sem;
    sem = 0; // hosts ask even while the panel goes
    const QPointer<QWidget> going(panel.data());
    panel = 0;
    if (going)
        going->hide();
    Handover::release(handler, QList<QPointer<QObject>>() << going.data());
}

void backgroundSEM::init()
{
    refreshTimer.start(refreshMs);
    if (sem)
        return;
    const QPointer<backgroundSEM> alive(this);
    QSettings settings;
    int dwellNs;
    int detector;
    const int scanSize = restoreScan(settings, &dwellNs, &detector);
    sem = new tescan(detector, dwellNs, scanSize);
    if (displayMode == DisplayLive)
        sem->scanning = true;
    panel = new semControl;
    restorePanel(settings, dwellNs, scanSize);
    emit addWidget(panel, QLatin1String("TESCAN"));
    if (!alive)
        return;
    if (panel) {
        QRadioButton *const modes[] = { panel->displayLive, panel->displayBox, panel->displayCross,
                                        panel->displayNone };
        if (displayMode >= DisplayLive && displayMode <= DisplayNone)
            modes[displayMode]->setChecked(true);
        if (displayMode != DisplayLive)
            enableLiveWidgets(false);
    }
    prepareImage();
    wire();
    alignState = StateAwaitView;
    for (int pair = 1; pair <= pairCount; ++pair) {
        explainRow(pair, RowIdle);
        enableRow(pair, false);
    }
    enableClear(false);
    emit imageUpdate();
}

void backgroundSEM::wire()
{
    if (!panel)
        return;
    const struct {
        QObject *sender;
        const char *signal;
        QObject *receiver;
        const char *slot;
    } connections[] = {
        { sem, SIGNAL(setStatus(QString)), panel, SLOT(setStatus(QString)) },
        { sem, SIGNAL(imageChanged()), this, SLOT(newImageData()) },
        { panel->connectButton, SIGNAL(clicked()), this, SLOT(connectToSEM()) },
        { panel->disconnectButton, SIGNAL(clicked()), sem, SLOT(disconnected()) },
        { sem, SIGNAL(detectorInfo(QString, int)), panel, SLOT(detectorInfo(QString, int)) },
        { panel->detector, SIGNAL(currentIndexChanged(QString)), sem, SLOT(setDetector(QString)) },
        { panel->dwellTime, SIGNAL(currentIndexChanged(QString)), sem,
          SLOT(setDewellTime(QString)) },
        { panel->imageSize, SIGNAL(currentIndexChanged(QString)), this,
          SLOT(newImageSize(QString)) },
        { panel->freezeButton, SIGNAL(clicked()), this, SLOT(cloneImage()) },
        { sem, SIGNAL(zoomed()), this, SLOT(updatePos()) },
        { sem, SIGNAL(stageMoved()), this, SLOT(updatePos()) },
        { panel->displayBox, SIGNAL(clicked()), this, SLOT(displayChanged()) },
        { panel->displayNone, SIGNAL(clicked()), this, SLOT(displayChanged()) },
        { panel->displayCross, SIGNAL(clicked()), this, SLOT(displayChanged()) },
        { panel->displayLive, SIGNAL(clicked()), this, SLOT(displayChanged()) },
        { panel->stageToView, SIGNAL(clicked()), this, SLOT(stageToView()) },
        { panel->viewToStage, SIGNAL(clicked()), this, SLOT(viewToStage()) },
        { panel->align1, SIGNAL(clicked()), this, SLOT(align1()) },
        { panel->align2, SIGNAL(clicked()), this, SLOT(align2()) },
        { panel->align3, SIGNAL(clicked()), this, SLOT(align3()) },
        { panel->alignClear, SIGNAL(clicked()), this, SLOT(alignClear()) },
    };
    for (size_t i = 0; i < sizeof connections / sizeof connections[0]; ++i)
        connect(connections[i].sender, connections[i].signal, connections[i].receiver,
                connections[i].slot);
}

void backgroundSEM::close()
{
    refreshTimer.stop();
}

QString backgroundSEM::getName()
{
    return QLatin1String("TeScan SEM");
}

void backgroundSEM::setDatabaseUnits(double units)
{
    databaseUnits = units;
}

void backgroundSEM::alignManuel()
{
    emit requestAlignManuel();
}

void backgroundSEM::alignAssist()
{
    emit requestAlignAssist();
}

void backgroundSEM::cloneImage()
{
    const Handover handling(&handler);
    emit requestCloneImage();
}

void backgroundSEM::connectToSEM()
{
    const Handover handling(&handler);
    if (!sem || !panel)
        return;
    const QPointer<backgroundSEM> alive(this);
    sem->connectToSEM(panel->host->text(), panel->port->value(), 0);
    if (!alive)
        return;
    // The host's view replaces the pairs. A row that went on from them would record a pair with
    // none before it.
    resetRows();
    alignState = StateAwaitView;
    emit requestView();
}

void backgroundSEM::newImageSize(const QString &text)
{
    const Handover handling(&handler);
    const QStringList sides = text.split(QLatin1Char('x'));
    if (!sem || sides.size() < 2)
        return;
    const QPointer<backgroundSEM> alive(this);
    sem->setImageSize(sides.at(0).toInt());
    if (alive)
        emit imageUpdate();
    if (alive)
        emit posUpdate();
}
