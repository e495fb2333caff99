// Docks, menus and status bar of the main window.
#include "host/imagepanel.h"
#include "host/layerlist.h"
#include "host/layoutview.h"
#include "host/mainwindow.h"
#include "host/viewdecoration.h"

#include <QAction>
#include <QDockWidget>
#include <QLabel>
#include <QMenuBar>
#include <QScrollArea>
#include <QScrollBar>
#include <QStatusBar>

#include <functional>

namespace viewer {

QDockWidget *MainWindow::addDock(const QString &name, const QString &title, Qt::DockWidgetArea area,
                                 QWidget *content)
{
    auto *dock = new QDockWidget(title);
    dock->setObjectName(name); // the key under which its place is saved
    dock->setWidget(content);
    addDockWidget(area, dock);
    if (m_windowMenu)
        m_windowMenu->addAction(dock->toggleViewAction());
    return dock;
}

void MainWindow::buildDocks()
{
    m_windowMenu = new QMenu(tr("&Window"), this);
    m_layers = new LayerList;
    auto *image = new ImagePanel(&m_background);
    QDockWidget *layerDock = addDock("layerDock", tr("Layers"), Qt::LeftDockWidgetArea, m_layers);
    QDockWidget *imageDock =
        addDock("imageDock", tr("Background image"), Qt::LeftDockWidgetArea, image);
    resizeDocks({ layerDock, imageDock }, { 210, 210 }, Qt::Horizontal);
    resizeDocks({ layerDock, imageDock }, { 600, 300 }, Qt::Vertical);
    connect(m_layers, &LayerList::hiddenLayersChanged, m_view, &LayoutView::setHiddenLayers);
}

void MainWindow::buildMenus()
{
    const auto invoke = [this](const char *slot) {
        return [this, slot] { m_session.invoke(slot); };
    };
    QMenu *file = menuBar()->addMenu(tr("&File"));
    QMenu *view = menuBar()->addMenu(tr("&View"));
    QMenu *image = menuBar()->addMenu(tr("&Image"));
    menuBar()->addMenu(m_windowMenu);
    const struct {
        QMenu *menu;
        QString text;
        QKeySequence key;
        std::function<void()> act;
    } actions[] = {
        { file, tr("&Open\u2026"), QKeySequence::Open, [this] { chooseDesign(); } },
        { file, tr("&Reload"), QKeySequence("F5"), [this] { reloadDesign(); } },
        { file, tr("&Quit"), QKeySequence("Ctrl+Q"), [this] { close(); } },
        { view, tr("&Fit design"), QKeySequence("F"), [this] { m_view->fitDesign(); } },
        { view, tr("Fit &image"), QKeySequence("I"), [this] { m_view->fitImage(); } },
        { view, tr("Zoom i&n"), QKeySequence("+"), [this] { m_view->zoomIn(1.5); } },
        { view, tr("Zoom &out"), QKeySequence("-"), [this] { m_view->zoomIn(1 / 1.5); } },
        { image, tr("&Move by hand"), QKeySequence("M"), invoke("alignManuel") },
        { image, tr("Move by &two clicks"), QKeySequence("T"), invoke("alignAssist") },
        { image, tr("&Leave alignment mode"), QKeySequence(),
          [this] { m_view->alignMode()->setMode(AlignMode::Off); } },
        { image, tr("&Bring back the alignment"), QKeySequence("B"),
          [this] { bringBackAlignment(); } },
        { image, tr("&Clone live image"), QKeySequence("C"), invoke("cloneImage") },
    };
    for (const auto &action : actions) {
        QAction *entry = action.menu->addAction(action.text);
        entry->setShortcut(action.key);
        connect(entry, &QAction::triggered, this, action.act);
    }
}

void MainWindow::buildStatusBar()
{
    m_cursorLabel = new QLabel;
    m_zoomLabel = new QLabel;
    m_cursorLabel->setObjectName("cursorPosition");
    statusBar()->addWidget(m_cursorLabel, 1);
    statusBar()->addPermanentWidget(m_zoomLabel);
    connect(m_view, &LayoutView::cursorMoved, this, &MainWindow::showCursor);
    connect(m_view, &LayoutView::cursorLeft, m_cursorLabel, &QLabel::clear);
    connect(m_view, &LayoutView::viewChanged, this, &MainWindow::showZoom);
}

void MainWindow::showCursor(const QPointF &design)
{
    if (!m_design)
        return;
    const double micrometres = m_design->databaseUnitMetres() * 1e6;
    m_cursorLabel->setText(QStringLiteral("x %1 \u00b5m   y %2 \u00b5m")
                               .arg(design.x() * micrometres, 0, 'f', 3)
                               .arg(design.y() * micrometres, 0, 'f', 3));
}

void MainWindow::showZoom()
{
    if (!m_design)
        return;
    const double metres = m_view->view().visible().width() * m_design->databaseUnitMetres();
    m_zoomLabel->setText(tr("view %1 wide").arg(lengthText(metres)));
}

// The panel is taller than many screens.
void MainWindow::addPanel(QWidget *panel, const QString &name)
{
    if (m_panel)
        removePanel(m_panel);
    const QSize wanted = panel->size();
    auto *area = new QScrollArea;
    area->setFrameShape(QFrame::NoFrame);
    area->setWidget(panel);
    area->setWidgetResizable(true);
    area->setMinimumWidth(qMax(wanted.width(), panel->minimumSizeHint().width())
                          + area->verticalScrollBar()->sizeHint().width());
    m_panel = panel;
    m_panelDock = addDock("pluginDock", name, Qt::RightDockWidgetArea, area);
}

void MainWindow::removePanel(QWidget *panel)
{
    if (panel != m_panel)
        return;
    panel->setParent(nullptr); // back to the plugin, before its place goes
    m_panel = nullptr;
    delete m_panelDock;
}

} // namespace viewer
