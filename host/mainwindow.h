#ifndef HOST_MAINWINDOW_H
#define HOST_MAINWINDOW_H

#include "host/background.h"
#include "host/layerpainter.h"
#include "host/pluginsession.h"

#include <QHash>
#include <QMainWindow>

class QDockWidget;
class QLabel;

namespace viewer {

class LayerList;
class LayoutView;

/// The window: the layout view in the middle, layers and image settings on the left, the plugin's
/// panel on the right.
class MainWindow : public QMainWindow {
    Q_OBJECT
public:
    MainWindow();
    ~MainWindow() override;

    /// Shows the design of a GDSII file and reports it to the plugin. On failure the reason is in
    /// `error` and the open design stays.
    bool openDesign(const QString &path, QString *error);

    LayoutView *view() { return m_view; }
    Background *background() { return &m_background; }
    PluginSession *session() { return &m_session; }
    QWidget *panel() const { return m_panel; } ///< the plugin's, or null
    DesignPointer design() const { return m_design; }

    /// Window place and image fading, kept from one start to the next.
    void restoreSettings();
    void saveSettings() const;

protected:
    void dragEnterEvent(QDragEnterEvent *event) override;
    void dropEvent(QDropEvent *event) override;

private:
    void buildDocks();
    void buildMenus();
    void buildStatusBar();
    QDockWidget *addDock(const QString &name, const QString &title, Qt::DockWidgetArea area,
                         QWidget *content);
    void connectSession();
    void chooseDesign();
    void reloadDesign();
    void bringBackAlignment();
    void openOrComplain(const QString &path);
    void addPanel(QWidget *panel, const QString &name);
    void removePanel(QWidget *panel);
    void showCursor(const QPointF &design);
    void showZoom();

    Background m_background;
    PluginSession m_session;
    DesignPointer m_design;
    QString m_designPath;
    LayoutView *m_view;
    LayerList *m_layers = nullptr;
    QPointer<QWidget> m_panel;
    QPointer<QDockWidget> m_panelDock;
    QMenu *m_windowMenu = nullptr;
    QLabel *m_cursorLabel = nullptr, *m_zoomLabel = nullptr;
};

} // namespace viewer

#endif
