#include "host/pluginsession.h"
#include "host/viewtransform.h"
#include "plugin/backgroundplugin.h"

#include <QFileInfo>
#include <QWidget>

#include <limits>

namespace viewer {

static const int fetchIntervalMs = 33;

PluginSession::PluginSession(Background *background, QObject *parent)
    : QObject(parent)
    , m_background(background)
{
    m_imageTimer.setSingleShot(true);
    m_imageTimer.setTimerType(Qt::PreciseTimer);
    connect(&m_imageTimer, &QTimer::timeout, this, &PluginSession::fetchImage);
}

PluginSession::~PluginSession()
{
    stop();
}

bool PluginSession::load(const QString &file, QString *error)
{
    m_loader.setFileName(QFileInfo(file).absoluteFilePath()); // a bare name would be searched for
    QObject *plugin = m_loader.instance();
    if (!plugin) {
        *error = tr("Cannot load the background plugin %1: %2").arg(file, m_loader.errorString());
        return false;
    }
    if (attach(plugin))
        return true;
    *error = tr("%1 holds no background plugin.").arg(file);
    delete plugin;
    m_loader.unload();
    return false;
}

bool PluginSession::attach(QObject *plugin)
{
    m_interface = qobject_cast<backgroundPlugIn *>(plugin);
    if (!m_interface)
        return false;
    m_plugin = plugin;
    m_placed = m_pairInWork = false;
    connectPlugin();
    m_interface->init();
    reportDesign();
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
        { SIGNAL(addWidget(QWidget *, QString)), SIGNAL(panelAdded(QWidget *, QString)) },
        { SIGNAL(removeWidget(QWidget *)), SIGNAL(panelRemoved(QWidget *)) },
        { SIGNAL(centerImage()), SLOT(centre()) },
        { SIGNAL(requestAlignManuel()), SLOT(startMoving()) },
        { SIGNAL(requestAlignAssist()), SIGNAL(assistedAlignmentRequested()) },
        { SIGNAL(requestCloneImage()), SIGNAL(cloneRequested()) },
        { SIGNAL(requestView()), SIGNAL(viewRequested()) },
        { SIGNAL(requestDefaultMode()), SLOT(stopMoving()) },
        { SIGNAL(requestDesignName()), SLOT(reportDesign()) },
    };
    for (const auto &connection : connections)
        connect(m_plugin, connection.signal, this, connection.member);
}

void PluginSession::stop()
{
    m_imageTimer.stop();
    if (m_plugin) {
        m_interface->close();
        disconnect(m_plugin, nullptr, this, nullptr);
        delete m_plugin;
    }
    m_interface = nullptr;
    m_background->setImage(QImage());
    if (m_loader.isLoaded())
        m_loader.unload();
}

QString PluginSession::pluginName() const
{
    return m_interface ? m_interface->getName() : QString();
}

// The image lies where it lies in metres: its coordinates follow the database unit.
bool PluginSession::setDesign(const QString &name, double databaseUnitMetres)
{
    if (m_hasDesign && name == m_designName && databaseUnitMetres == m_databaseUnitMetres)
        return false;
    if (databaseUnitMetres != m_databaseUnitMetres)
        m_background->rescale(m_databaseUnitMetres / databaseUnitMetres);
    m_designName = name;
    m_databaseUnitMetres = databaseUnitMetres;
    m_hasDesign = true;
    report(true);
    return true;
}

void PluginSession::reportDesign()
{
    report(false);
}

// The unit first: the name brings back a stored alignment, which is checked with the unit. With
// another design, and with the first one, the pairs at hand go: they must not be stored under its
// name. Before the first placement there are none, and it needs no name: that would keep it from
// being made.
void PluginSession::report(bool anotherDesign)
{
    if (!m_interface || !m_hasDesign)
        return;
    m_interface->setDatabaseUnits(m_databaseUnitMetres);
    if (anotherDesign) {
        if (!m_placed)
            return;
        m_reportingName = true;
        invoke("alignClear");
        m_reportingName = false;
    }
    m_interface->getDesignName(m_designName);
}

static int wholeUnits(double coordinate)
{
    const double limit = std::numeric_limits<int>::max();
    return qRound(qBound(-limit, coordinate, limit));
}

void PluginSession::reportView(const ViewTransform &view)
{
    if (m_interface)
        m_interface->getView(view.zoom(), wholeUnits(view.centre().x()),
                             wholeUnits(view.centre().y()), view.size().width(),
                             view.size().height());
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
    if (m_interface)
        m_background->setImage(m_interface->getImage());
}

void PluginSession::takePosition()
{
    if (!m_interface || m_takingPosition)
        return; // the call under way answers this one as well
    m_takingPosition = true;
    Placement p = m_background->placement();
    m_interface->getPos(&p.x, &p.y, &p.scaleX, &p.scaleY, &p.shearH, &p.shearV, &p.rotationDegrees);
    m_takingPosition = false;
    m_background->takePlacement(p);
    if (m_imageTimer.isActive())
        fetchImage(); // the new values may be for an image of another size
    if (m_centreAfterPosition) {
        centre();
        restoreOnce();
    }
}

// Connecting makes the plugin forget the alignment for a new first placement, and the name brings
// it back. Only once for each plugin: after "clear alignment" it has to stay away, and the plugin
// does not tell which of the two it was.
void PluginSession::restoreOnce()
{
    m_pairInWork = false;
    const bool again = m_placed;
    m_placed = true;
    if (m_reportingName)
        return;
    if (again)
        emit placedAnew();
    else
        reportDesign();
}

// The first placement asks for this before it has handed back the values.
void PluginSession::centre()
{
    m_centreAfterPosition = m_takingPosition;
    if (!m_takingPosition)
        emit centreRequested();
}

// The user's own wish to move the image by hand comes the same way, and is no pair.
void PluginSession::startMoving()
{
    m_pairInWork = m_pairInWork || !m_invoking;
    emit manualAlignmentRequested();
}

void PluginSession::stopMoving()
{
    m_pairInWork = false;
    emit defaultModeRequested();
}

} // namespace viewer
