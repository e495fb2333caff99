// A whole session: both channels, the user at the panel and the host's calls in any order, and a
// host that deletes the plugin within one of its signals.

#include "fuzz/driver.h"
#include "fuzz/feedsocket.h"
#include "fuzz/pluginlink.h"
#include "plugin/backgroundsem.h"
#include "sem/tescan.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QMetaMethod>
#include <QSettings>
#include <qnumeric.h>

#include <functional>

namespace {
const char *const buttons[] = { "connectButton", "disconnectButton", "displayLive", "displayBox",
                                "displayCross",  "displayNone",      "stageToView", "viewToStage",
                                "align1",        "align2",           "align3",      "alignClear",
                                "freezeButton" };
// The frame of the largest image size would cost more than the rest of a run.
const int largestChoice = 3;

class Session : public QObject {
public:
    Session();
    ~Session() override { delete plugin; }

    /// One step; false when the plugin is gone.
    bool step(Input &input);

private:
    void listen();
    void take(const QByteArray &signal);
    void getPos();
    void feedChannel(Input &input, bool control);
    void changeState(Input &input);
    void click(Input &input);
    void choose(Input &input);

    QPointer<backgroundSEM> plugin;
    tescan *link = nullptr;
    QPointer<QWidget> panel;
    QScopedPointer<Feed> feed;
    double values[7] = { 0, 0, 1, 1, 0, 0, 0 };
    int depth = 0;
    int signalsToDeath = -1;
};

Session::Session()
    : plugin(new backgroundSEM)
{
    connect(plugin, &backgroundSEM::addWidget, this, [this](QWidget *widget) { panel = widget; });
    plugin->init();
    link = linkOf(*plugin);
    feed.reset(new Feed(link));
    link->setImageSize(16);
    listen();
}

void Session::listen()
{
    connect(plugin, &backgroundSEM::imageUpdate, this, [this] { take("imageUpdate"); });
    connect(plugin, &backgroundSEM::posUpdate, this, [this] { take("posUpdate"); });
    connect(plugin, &backgroundSEM::requestView, this, [this] { take("requestView"); });
    connect(plugin, &backgroundSEM::centerImage, this, [this] { take("centerImage"); });
    connect(plugin, &backgroundSEM::requestAlignManuel, this, [this] { take("align"); });
    connect(plugin, &backgroundSEM::requestDefaultMode, this, [this] { take("default"); });
    connect(plugin, &backgroundSEM::requestCloneImage, this, [this] { take("clone"); });
}

void Session::take(const QByteArray &signal)
{
    if (signalsToDeath == 0)
        delete plugin;
    --signalsToDeath;
    if (!plugin || depth > 3)
        return;
    ++depth;
    if (signal == "posUpdate")
        getPos();
    else if (signal == "imageUpdate")
        require(!plugin->getImage().isNull(), "there is always an image");
    else if (signal == "requestView")
        plugin->getView(0.001, 10, 20, 800, 600);
    --depth;
}

void Session::getPos()
{
    bool finite = true;
    for (const double value : values)
        finite = finite && qIsFinite(value);
    double *v = values;
    plugin->getPos(v, v + 1, v + 2, v + 3, v + 4, v + 5, v + 6);
    for (const double value : values)
        require(!finite || qIsFinite(value), "finite values stay finite");
}

void Session::feedChannel(Input &input, bool control)
{
    const QByteArray bytes = input.shortText();
    if (control)
        feed->control(bytes);
    else
        feed->data(bytes);
}

void Session::changeState(Input &input)
{
    switch (input.below(4)) {
    case 0:
        return link->connected();
    case 1:
        return link->connectedData();
    case 2:
        return link->disconnected();
    default:
        return link->triggerTimer();
    }
}

void Session::click(Input &input)
{
    const char *name = buttons[input.below(sizeof buttons / sizeof buttons[0])];
    if (panel)
        panel->findChild<QAbstractButton *>(name)->click();
}

void Session::choose(Input &input)
{
    const char *const lists[] = { "detector", "dwellTime", "imageSize" };
    const char *name = lists[input.below(3)];
    const int index = input.below(largestChoice);
    if (panel)
        panel->findChild<QComboBox *>(name)->setCurrentIndex(index);
}

bool Session::step(Input &input)
{
    switch (input.below(12)) {
    case 0:
    case 1:
        feedChannel(input, true);
        break;
    case 2:
        feedChannel(input, false);
        break;
    case 3:
        changeState(input);
        break;
    case 4:
        click(input);
        break;
    case 5:
        choose(input);
        break;
    case 6:
        values[input.below(7)] = input.real();
        getPos();
        break;
    case 7: {
        const double zoom = input.real();
        const int x = input.integer(), y = input.integer();
        plugin->getView(zoom, x, y, input.integer(), input.integer());
        break;
    }
    case 8:
        plugin->getDesignName(QString::fromLatin1(input.shortText()));
        break;
    case 9:
        plugin->setDatabaseUnits(input.real());
        break;
    case 10:
        plugin->newImageSize(QString::number(input.byte()) + "x");
        break;
    default:
        signalsToDeath = input.below(8);
    }
    return plugin;
}
} // namespace

void fuzzOne(Input &input)
{
    static const bool prepared =
        (QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, scratchFolder()), true);
    Q_UNUSED(prepared);
    Session session;
    for (int steps = 0; steps < 200 && !input.atEnd() && session.step(input); ++steps) { }
}
