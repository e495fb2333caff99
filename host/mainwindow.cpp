#include "host/mainwindow.h"
#include "host/layerlist.h"
#include "host/layoutview.h"

#include <QDragEnterEvent>
#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QMimeData>
#include <QSettings>
#include <QSlider>
#include <QStatusBar>

namespace viewer {

static const int hintMs = 15000;

MainWindow::MainWindow()
    : m_session(&m_background)
    , m_view(new LayoutView(&m_background))
{
    setWindowTitle(tr("Layout viewer"));
    setCentralWidget(m_view);
    setAcceptDrops(true);
    resize(1400, 1000);
    buildDocks();
    buildMenus();
    buildStatusBar();
    connectSession();
}

// The plugin owns its panel and deletes it, so it leaves the window first.
MainWindow::~MainWindow()
{
    if (m_panel)
        removePanel(m_panel);
    m_session.stop();
}

void MainWindow::connectSession()
{
    AlignMode *mode = m_view->alignMode();
    connect(&m_session, &PluginSession::panelAdded, this, &MainWindow::addPanel);
    connect(&m_session, &PluginSession::panelRemoved, this, &MainWindow::removePanel);
    connect(&m_session, &PluginSession::centreRequested, m_view, &LayoutView::centreOnImage);
    connect(&m_session, &PluginSession::cloneRequested, this, [this] {
        if (!m_background.cloneLive())
            statusBar()->showMessage(tr("There is no live image to clone."), hintMs);
    });
    connect(&m_session, &PluginSession::placedAnew, this, [this] {
        statusBar()->showMessage(
            tr("The image was placed anew. Press B to bring a stored alignment back."), hintMs);
    });
    connect(&m_session, &PluginSession::viewRequested, this,
            [this] { m_session.reportView(m_view->view()); });
    connect(&m_session, &PluginSession::manualAlignmentRequested, mode,
            [mode] { mode->setMode(AlignMode::Manual); });
    connect(&m_session, &PluginSession::assistedAlignmentRequested, mode,
            [mode] { mode->setMode(AlignMode::Assisted); });
    connect(&m_session, &PluginSession::defaultModeRequested, mode,
            [mode] { mode->setMode(AlignMode::Off); });
}

bool MainWindow::openDesign(const QString &path, QString *error)
{
    auto fresh = std::make_shared<layout::Design>();
    if (!fresh->load(path, error))
        return false;
    m_design = fresh;
    m_designPath = path;
    m_layers->setDesign(*m_design);
    m_view->setDesign(m_design);
    setWindowTitle(
        tr("%1 \u2013 %2 \u2013 Layout viewer").arg(m_design->name(), QFileInfo(path).fileName()));
    if (m_session.setDesign(m_design->name(), m_design->databaseUnitMetres()))
        m_view->alignMode()->setMode(AlignMode::Off);
    return true;
}

void MainWindow::openOrComplain(const QString &path)
{
    QString error;
    if (!openDesign(path, &error))
        QMessageBox::warning(this, tr("Open design"), error);
}

void MainWindow::chooseDesign()
{
    const QString path = QFileDialog::getOpenFileName(
        this, tr("Open design"), QFileInfo(m_designPath).path(),
        tr("GDSII layouts (*.gds *.gdsii *.gds2 *.sf);;All files (*)"));
    if (!path.isEmpty())
        openOrComplain(path);
}

void MainWindow::reloadDesign()
{
    if (!m_design)
        return;
    const ViewTransform view = m_view->view();
    const auto before = m_design;
    openOrComplain(m_designPath);
    if (m_design->name() == before->name()
        && m_design->databaseUnitMetres() == before->databaseUnitMetres())
        m_view->setView(view);
}

// In the middle of a pair the plugin would take the user's next click for the start of a new one.
void MainWindow::bringBackAlignment()
{
    if (m_session.isPairInWork())
        statusBar()->showMessage(tr("Finish the alignment step first."), hintMs);
    else if (m_background.isShown())
        m_session.reportDesign();
}

static QString droppedFile(const QMimeData *data)
{
    return data->urls().size() == 1 ? data->urls().first().toLocalFile() : QString();
}

void MainWindow::dragEnterEvent(QDragEnterEvent *event)
{
    if (!droppedFile(event->mimeData()).isEmpty())
        event->acceptProposedAction();
}

void MainWindow::dropEvent(QDropEvent *event)
{
    openOrComplain(droppedFile(event->mimeData()));
}

void MainWindow::restoreSettings()
{
    const QSettings settings;
    restoreGeometry(settings.value("viewer/geometry").toByteArray());
    restoreState(settings.value("viewer/docks").toByteArray());
    findChild<QSlider *>("fade")->setValue(settings.value("viewer/fade", 100).toInt());
}

void MainWindow::saveSettings() const
{
    QSettings settings;
    settings.setValue("viewer/geometry", saveGeometry());
    settings.setValue("viewer/docks", saveState());
    settings.setValue("viewer/fade", findChild<QSlider *>("fade")->value());
}

} // namespace viewer
