// Loading a plugin, connecting it, fetching its images, and ending it.
#include "hosting/pluginsession.h"
#include "hosting/background.h"
#include "plugin/backgroundplugin.h"

#include <QFileInfo>
#include <QStackedWidget>

namespace hosting {

static const int fetchIntervalMs = 33;
static const int stageStandsMs = 1200; ///< the plugin asks for the position twice a second

PluginSession::PluginSession(Background *background, QObject *parent)
    : QObject(parent)
    , m_background(background)
{
    m_imageTimer.setSingleShot(true);
    m_imageTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_imageTimer, &QTimer::timeout, this, &PluginSession::fetchImage);
    m_stageStands.setSingleShot(true);
    m_stageStands.setInterval(stageStandsMs);
    connect(&m_stageStands, &QTimer::timeout, this, &PluginSession::noteStanding);
    connect(background, &Background::movedByUser, this, &PluginSession::noteEdit);
}

PluginSession::~PluginSession()
{
    stop();
}

bool PluginSession::load(const QString &file, QString *error)
{
    m_loader.setFileName(QFileInfo(file).absoluteFilePath()); // a bare name would be searched for
    if (!m_loader.instance()) {
        *error = tr("Cannot load the background plugin %1: %2").arg(file, m_loader.errorString());
        return false;
    }
    if (start([this] { return m_loader.instance(); }))
        return true;
    *error = tr("%1 holds no background plugin.").arg(file);
    delete m_loader.instance();
    m_loader.unload();
    return false;
}

bool PluginSession::start(const std::function<QObject *()> &create)
{
    m_create = create;
    m_memory = DesignMemory::read();
    return startObject();
}

bool PluginSession::startObject()
{
    QObject *const plugin = m_create();
    m_interface = qobject_cast<backgroundPlugIn *>(plugin);
    if (!m_interface)
        return false;
    m_plugin = plugin;
    m_served = Design();
    m_nominal = NominalScale();
    m_alignment = Alignment();
    m_lostSince = QDateTime();
    m_connected = false;
    m_asked = m_placed = m_aligned = m_disturbed = m_waitsForMove = m_outOfPlace = false;
    m_awaitsFirst = m_pairInWork = m_confirming = m_ownMove = m_strayed = m_givingUp = false;
    m_stageStands.stop();
    connectPlugin();
    m_interface->init();
    return true;
}

// The plugin's class is not known here, so its signals are found by name.
void PluginSession::connectPlugin()
{
    const struct {
        const char *signal, *member;
    } connections[] = {
        { SIGNAL(imageUpdate()), SLOT(noteImage()) },
        { SIGNAL(posUpdate()), SLOT(takePosition()) },
        { SIGNAL(addWidget(QWidget *, QString)), SLOT(notePanel(QWidget *, QString)) },
        { SIGNAL(removeWidget(QWidget *)), SLOT(dropPanel(QWidget *)) },
        { SIGNAL(centerImage()), SLOT(centre()) },
        { SIGNAL(requestAlignManuel()), SLOT(startMoving()) },
        { SIGNAL(requestAlignAssist()), SIGNAL(assistedAlignmentRequested()) },
        { SIGNAL(requestCloneImage()), SIGNAL(cloneRequested()) },
        { SIGNAL(requestView()), SLOT(answerView()) },
        { SIGNAL(requestDefaultMode()), SLOT(stopMoving()) },
        { SIGNAL(requestDesignName()), SLOT(reportName()) },
    };
    for (const auto &connection : connections)
        connect(m_plugin, connection.signal, this, connection.member);
}

void PluginSession::notePanel(QWidget *panel, const QString &name)
{
    m_panel.setWidget(panel);
    // Queued: within the plugin's own handling of the reply the object must not be replaced.
    if (m_panel.pages())
        connect(m_panel.pages(), &QStackedWidget::currentChanged, this, &PluginSession::followPage,
                Qt::QueuedConnection);
    emit panelAdded(panel, name);
}

void PluginSession::dropPanel(QWidget *panel)
{
    m_panel.setWidget(nullptr);
    emit panelRemoved(panel);
}

// The plugin writes its alignments as it goes, if it is connected. Poses and pairs belong to them,
// and a new alignment that was not written does not bring back the one that was cleared before.
void PluginSession::endObject()
{
    if (!m_plugin)
        return;
    const bool saves = m_panel.showsOperatingPage();
    m_imageTimer.stop();
    m_interface->close();
    disconnect(m_plugin, nullptr, this, nullptr);
    if (m_panel.widget())
        dropPanel(m_panel.widget());
    delete m_plugin;
    m_interface = nullptr;
    m_background->clear();
    if (saves)
        m_memory.write();
}

void PluginSession::stop()
{
    endObject();
    m_interface = nullptr; // a host may have deleted the object itself
    if (m_loader.isLoaded())
        m_loader.unload();
}

// The new object restores address, display mode and detector from the settings that the old one
// wrote as it went.
void PluginSession::renew()
{
    const QStringList scanSettings = m_panel.scanSettings();
    const bool moving = m_pairInWork;
    if (moving || m_alignment.pairs.size() == 1)
        emit told(tr("The row in work and a single pair went with the design before."));
    endObject();
    if (!startObject())
        return;
    if (moving)
        emit defaultModeRequested();
    m_panel.setScanSettings(scanSettings);
    m_panel.press("connectButton");
}

QString PluginSession::pluginName() const
{
    return m_plugin ? m_interface->getName() : QString();
}

bool PluginSession::invoke(const char *slot)
{
    m_invoking = true;
    const bool invoked = m_plugin && QMetaObject::invokeMethod(m_plugin, slot);
    m_invoking = false;
    return invoked;
}

// A scan reports every few lines; the screen needs no more than 30 images a second.
void PluginSession::noteImage()
{
    if (m_imageTimer.isActive())
        return;
    const qint64 elapsed = m_sinceFetch.isValid() ? m_sinceFetch.elapsed() : fetchIntervalMs;
    m_imageTimer.start(int(qBound<qint64>(0, fetchIntervalMs - elapsed, fetchIntervalMs)));
}

void PluginSession::fetchImage()
{
    m_imageTimer.stop();
    m_sinceFetch.start();
    if (m_plugin)
        m_background->setImage(m_interface->getImage());
}

void PluginSession::setNotice(const QString &notice)
{
    if (notice == m_notice)
        return;
    m_notice = notice;
    emit noticeChanged(notice);
}

} // namespace hosting
