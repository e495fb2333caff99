#include "klayout/host.h"
#include "klayout/clonefile.h"

#include <QCoreApplication>
#include <QMessageBox>
#include <QRadioButton>
#include <QScrollArea>
#include <QScrollBar>
#include <QSettings>

namespace klayout {

using hosting::AlignMode;

// KLayout takes the pixel whose corner is next to a point, Qt's painter the one whose area holds
// it.
static const QPointF samplingOffset(0.5, -0.5);
static const int statusMs = 100;
static const char placesKey[] = "background/docks";
static const int placesVersion = 1; // of the window's parts; KLayout's own saving has 0

Host::Host(QMainWindow *window, const Event &event)
    : m_window(window)
    , m_event(event)
    , m_session(&m_background)
    , m_mode(&m_background)
    , m_live(&m_session, &m_background)
    , m_statusLine(&m_session, &m_background, &m_live)
    , m_overlay(&m_session, &m_background, &m_mode)
    , m_finder(&m_session, &m_background)
    , m_guard(&m_session, [this](const QString &question) { return ask(question); })
    , m_exitSignals([this] { end(); })
    , m_imageDock(new ImageDock)
{
    setObjectName("semHost");
    m_background.setObjectName("semBackground");
    m_background.setParent(this);
    m_statusLine.setObjectName("semStatusLine");
    m_statusLine.setParent(this);
    m_overlay.setSamplingOffset(samplingOffset);
    m_overlay.setDesignOffKey(Qt::Key_D);
    m_overlay.setStatusLine(&m_statusLine);
    connectSession();
    connectDock();
    m_docks[1] = addDock("semImageDock", tr("SEM image"), m_imageDock);
    // KLayout's scripts can end it with only one of the two.
    connect(qApp, &QCoreApplication::aboutToQuit, this, &Host::end);
    connect(window, &QObject::destroyed, this, &Host::stop);
}

Host::~Host()
{
    stop();
    for (QPointer<QDockWidget> &dock : m_docks)
        delete dock;
}

bool Host::start(const QString &library, QString *error)
{
    // The plugin's settings need names; KLayout gives its application one, and no organisation.
    if (QCoreApplication::organizationName().isEmpty())
        QCoreApplication::setOrganizationName("klayout");
    return m_session.load(library, error);
}

void Host::stop()
{
    m_overlay.setCanvas(nullptr);
    m_session.stop();
}

// KLayout saves and restores where docks are at times when ours are not shown yet, so that they
// would stay hidden.
void Host::arrangeDocks()
{
    const QByteArray places = QSettings().value(placesKey).toByteArray();
    if (!m_window->restoreState(places, placesVersion))
        showDocks();
}

void Host::end()
{
    saveDocks();
    stop();
}

void Host::saveDocks()
{
    QSettings().setValue(placesKey, m_window->saveState(placesVersion));
}

void Host::showDocks()
{
    auto *cells = m_window->findChild<QDockWidget *>("hp_dock_widget");
    for (QDockWidget *dock : { m_docks[1].data(), m_docks[0].data() }) {
        if (cells && dock)
            m_window->tabifyDockWidget(cells, dock);
        if (dock) {
            dock->show();
            dock->raise();
        }
    }
}

void Host::connectSession()
{
    using hosting::PluginSession;
    connect(&m_session, &PluginSession::panelAdded, this, &Host::addPanel);
    connect(&m_session, &PluginSession::panelRemoved, this, &Host::removePanel);
    connect(&m_session, &PluginSession::viewRequested, this,
            [this] { m_event("view", QString()); });
    connect(&m_session, &PluginSession::centreRequested, this, &Host::centreOnImage);
    connect(&m_session, &PluginSession::cloneRequested, this,
            [this] { m_event("clone", QString()); });
    connect(&m_session, &PluginSession::manualAlignmentRequested, this,
            [this] { m_mode.setMode(AlignMode::Manual); });
    connect(&m_session, &PluginSession::assistedAlignmentRequested, this,
            [this] {
                m_mode.setMode(AlignMode::Assisted);
                find(); // the two clicks are left if it is not found
            });
    connect(&m_mode, &AlignMode::findWanted, this, &Host::find);
    connect(&m_finder, &hosting::ImageFinder::finished, this, &Host::takeFinding);
    connect(&m_session, &PluginSession::defaultModeRequested, &m_mode,
            &AlignMode::finish);
    connect(&m_session, &PluginSession::noticeChanged, this, [this](const QString &notice) {
        m_event("message", notice); // without a design there is no canvas to show it on
    });
    connect(&m_live, &hosting::LiveWatch::changed, this, [this] {
        const QString missing = m_live.advice().missing;
        if (missing != m_missing && !missing.isEmpty())
            m_event("message", tr("SEM: %1").arg(missing));
        m_missing = missing;
    });
    connect(&m_session, &PluginSession::told, this,
            [this](const QString &message) { m_event("message", tr("SEM: %1").arg(message)); });
    connect(&m_statusTimer, &QTimer::timeout, this, &Host::followStatus);
    m_statusTimer.start(statusMs);
    connect(&m_mode, &AlignMode::escaped, &m_session, &PluginSession::giveUpPair);
    connect(&m_mode, &AlignMode::centreWanted, this, [this](const QPointF &design) {
        if (m_session.bringToCentre(design))
            m_mode.chooseCentre();
    });
    connect(&m_mode, &AlignMode::modeChanged, this,
            [this] { m_event("mode", QString::number(m_mode.mode())); });
}

// The panel's status line is often below what its dock shows, and soon says something else.
void Host::followStatus()
{
    const QString status = m_session.panel()->status();
    if (status == m_status)
        return;
    m_status = status;
    for (const char *important : { "connection failed", "disconnec" })
        if (status.startsWith(important))
            m_event("message", tr("SEM: %1").arg(status));
}

void Host::connectDock()
{
    connect(m_imageDock, &ImageDock::styleChanged, this,
            [this] { m_overlay.setStyle(m_imageDock->style()); });
    connect(m_imageDock, &ImageDock::designOffChanged, &m_overlay,
            &hosting::CanvasOverlay::setDesignOff);
    connect(m_imageDock, &ImageDock::contoursChanged, &m_overlay,
            &hosting::CanvasOverlay::setContoursShown);
    connect(m_imageDock, &ImageDock::outlineOnlyChanged, this,
            [this](bool on) { m_event("outline", on ? "1" : "0"); });
    connect(m_imageDock, &ImageDock::tabWanted, this, [this] { m_event("tab", QString()); });
    connect(m_imageDock, &ImageDock::cloneShown, this, [this](const QString &id, bool visible) {
        m_event("clone-show", id + (visible ? " 1" : " 0"));
    });
    connect(m_imageDock, &ImageDock::cloneToSave, this,
            [this](const QString &id) { m_event("clone-save", id); });
    connect(m_imageDock, &ImageDock::cloneToRemove, this,
            [this](const QString &id) { m_event("clone-remove", id); });
}

bool Host::ask(const QString &question)
{
    return QMessageBox::question(m_window, tr("SEM image"), question) == QMessageBox::Yes;
}

QDockWidget *Host::addDock(const QString &name, const QString &title, QWidget *content)
{
    auto *dock = new QDockWidget(title, m_window);
    dock->setObjectName(name); // the key under which its place is saved
    dock->setWidget(content);
    m_window->addDockWidget(Qt::LeftDockWidgetArea, dock);
    return dock;
}

// The panel is taller than many screens.
void Host::addPanel(QWidget *panel, const QString &name)
{
    const QSize wanted = panel->size();
    auto *area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(panel);
    area->setWidgetResizable(true);
    area->setMinimumWidth(qMax(wanted.width(), panel->minimumSizeHint().width())
                          + area->verticalScrollBar()->sizeHint().width());
    m_panel = panel;
    if (m_docks[0]) {
        delete m_docks[0]->widget();
        m_docks[0]->setWidget(area);
        m_docks[0]->setWindowTitle(name);
    } else {
        m_docks[0] = addDock("semPanelDock", name, area);
    }
}

// Back to the plugin, which owns it, before its place goes. The dock waits for the next one.
void Host::removePanel()
{
    if (m_panel)
        m_panel->setParent(nullptr);
    m_panel = nullptr;
}

bool Host::takeCanvas()
{
    QWidget *shown = nullptr;
    // The navigator, a dock, has a canvas of that name, too.
    if (const QWidget *tabs = m_window->centralWidget())
        for (QWidget *canvas : tabs->findChildren<QWidget *>("canvas"))
            if (canvas->isVisible())
                shown = canvas;
    m_overlay.setCanvas(shown);
    updateView();
    return shown;
}

void Host::setView(double magnification, const QPointF &origin, const QSize &viewport)
{
    m_magnification = magnification;
    m_origin = origin;
    m_viewport = viewport;
    updateView();
}

// On screens with a scale factor KLayout may count other pixels than the widget does.
void Host::updateView()
{
    hosting::View view;
    const QWidget *canvas = m_overlay.canvas();
    const double unit = m_session.design().databaseUnitMetres * 1e6;
    if (canvas && unit > 0 && m_viewport.width() > 0 && m_magnification > 0) {
        const double perViewportPixel = double(canvas->width()) / m_viewport.width();
        view.zoom = m_magnification * unit * perViewportPixel;
        view.centre = (QPointF(m_viewport.width() / 2.0, m_viewport.height() / 2.0) - m_origin)
            / (m_magnification * unit);
        view.size = canvas->size();
    }
    m_session.setView(view);
}

void Host::setDesign(const hosting::Design &design)
{
    m_session.setDesign(design);
    m_mode.setDatabaseUnit(design.databaseUnitMetres);
    updateView();
}

void Host::setMode(AlignMode::Mode mode)
{
    if (mode != m_mode.mode())
        m_mode.setMode(mode);
}

void Host::centreOnImage()
{
    if (!m_background.isShown())
        return;
    const QPointF centre = m_background.centre() * m_session.design().databaseUnitMetres * 1e6;
    m_event("centre",
            QString::number(centre.x(), 'g', 17) + ' ' + QString::number(centre.y(), 'g', 17));
}

void Host::act(const QString &action)
{
    const bool moves = action == "hand" || action == "clicks";
    if (moves && !m_overlay.canvas())
        m_event("message", tr("No design is open."));
    else if (action == "hand")
        m_session.invoke("alignManuel");
    else if (action == "clicks")
        m_session.invoke("alignAssist");
    else if (action == "find")
        find();
    else if (action == "centre")
        centreOnImage();
    else if (action == "panels")
        showDocks();
    else if (action == "clone")
        m_session.invoke("cloneImage");
    else if (action == "bringBack" && !m_session.isConnected())
        warn(tr("Connect to the microscope first."));
    else if (action == "bringBack" && !m_session.bringBackAlignment())
        warn(m_session.isPairInWork() ? tr("Finish the alignment step first.")
                                      : tr("No alignment is stored for this design."));
}

void Host::connectTo(const QString &host, int port)
{
    m_session.panel()->setAddress(host, port);
    m_session.panel()->press("displayLive");
    m_session.panel()->press("connectButton");
}

QString Host::writeClone(const QString &file)
{
    const auto *live = m_panel ? m_panel->findChild<QRadioButton *>("displayLive") : nullptr;
    if (!m_background.isShown() || !live || !live->isChecked())
        return QString();
    const QSizeF half = QSizeF(m_background.image().size()) / 2;
    const double unit = m_session.design().databaseUnitMetres * 1e6;
    Clone clone;
    clone.image = m_background.image();
    clone.toMicrometres = QTransform(1, 0, 0, -1, half.width(), half.height())
        * m_background.placement().toTransform() * QTransform::fromScale(unit, unit);
    clone.time = QDateTime::currentDateTime();
    clone.design = m_session.design().name;
    QString error;
    if (!klayout::writeClone(file, clone, &error)) {
        warn(error);
        return QString("");
    }
    const QTransform &m = clone.toMicrometres;
    QStringList values;
    for (double value : { m.m11(), m.m12(), m.m21(), m.m22(), m.dx(), m.dy() })
        values << QString::number(value, 'g', 17);
    return values.join(' ');
}

} // namespace klayout
