#include "hosting/livewatch.h"
#include "hosting/background.h"
#include "hosting/pluginsession.h"

#include <QAbstractButton>

namespace hosting {

static const int lookIntervalMs = 500;

LiveWatch::LiveWatch(PluginSession *session, Background *background, QObject *parent)
    : QObject(parent)
    , m_session(session)
    , m_background(background)
{
    m_clock.start();
    connect(session, &PluginSession::panelAdded, this, &LiveWatch::watchPanel);
    connect(background, &Background::changed, this, &LiveWatch::takeImage);
    connect(&m_timer, &QTimer::timeout, this, &LiveWatch::look);
    m_timer.start(lookIntervalMs);
}

// Each plugin object brings a panel of its own.
void LiveWatch::watchPanel(QWidget *)
{
    connect(m_session->plugin(), SIGNAL(posUpdate()), this, SLOT(notePosition()));
    // Queued: what the plugin itself does on the press is no sign of the microscope.
    if (const QAbstractButton *button = m_session->panel()->button("connectButton"))
        connect(button, &QAbstractButton::clicked, this, &LiveWatch::beginConnection,
                Qt::QueuedConnection);
    if (const QAbstractButton *button = m_session->panel()->button("disconnectButton"))
        connect(button, &QAbstractButton::clicked, this, [this] { m_connection.stop(); });
}

void LiveWatch::beginConnection()
{
    m_connection.start(m_clock.elapsed());
    m_detectorsBefore = m_session->panel()->detectorCount();
    m_hasPosition = m_hasData = false;
}

void LiveWatch::takeImage()
{
    if (!m_session->panel()->showsLiveImage())
        m_scan.clear(); // it is an overlay
    else if (m_scan.take(m_background->image(), m_clock.elapsed()))
        m_hasData = true;
}

ConnectionSigns LiveWatch::signs() const
{
    const ControlPanel *panel = m_session->panel();
    ConnectionSigns signs;
    signs.showsOperatingPage = panel->showsOperatingPage();
    signs.answered = m_hasPosition || panel->detectorCount() > m_detectorsBefore;
    signs.showsLiveImage = panel->showsLiveImage();
    signs.hasData = m_hasData;
    signs.isPlaced = m_background->placement().isDrawable();
    signs.isDesignOpen = m_session->design().isOpen();
    signs.status = panel->status();
    signs.host = panel->host();
    signs.port = panel->port();
    signs.detector = panel->detector();
    return signs;
}

void LiveWatch::look()
{
    const qint64 now = m_clock.elapsed();
    m_scan.setDwellTime(m_session->panel()->scanSettings().first());
    const bool scans = m_session->panel()->showsOperatingPage() && !m_scan.isStale(now);
    const QString progress = scans ? m_scan.progress(now) : QString();
    const QString staleness = m_scan.staleness(now);
    const ConnectionAdvice advice = m_connection.look(signs(), now);
    if (progress == m_progress && staleness == m_staleness && advice.missing == m_advice.missing
        && advice.check == m_advice.check)
        return;
    m_progress = progress;
    m_staleness = staleness;
    m_advice = advice;
    emit changed();
}

} // namespace hosting
