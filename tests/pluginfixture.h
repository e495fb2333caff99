#ifndef TESTS_PLUGINFIXTURE_H
#define TESTS_PLUGINFIXTURE_H

#include "plugin/backgroundplugin.h"
#include "tests/fakemicroscope.h"

#include <QPluginLoader>
#include <QSettings>
#include <QTemporaryDir>
#include <QVariantMap>
#include <QWidget>

#include <functional>

/// A host with a microscope. It loads the library, knows nothing of its classes, notes all its
/// signals and, unless told otherwise, answers them as a host does.
class PluginFixture : public QObject {
    Q_OBJECT

public:
    /// Begins with these settings, in a folder that lives as long as the fixture.
    explicit PluginFixture(const QVariantMap &settings = QVariantMap());
    ~PluginFixture() override;

    void set(const QVariantMap &settings); ///< by their names in the plugin's section
    /// Gets the plugin object, a new one if the last was deleted, and notes its signals. No init().
    void create();
    void destroy();
    void restart(); ///< another plugin object, with its init()

    void pressConnect(int port = 0); ///< 0: that of the microscope
    /// Connects through the panel, as a user does; false if the operating page does not come up.
    bool connectAll();
    /// init(), connectAll() and the first placement, on the view centre, stage at (10, 20) and view
    /// field 1 mm.
    bool place();
    /// Whether whatever came before can be followed by a live image whose first pixels have these
    /// levels; makes what is missing.
    bool showsLiveImage(const QByteArray &levels);
    /// Lets the microscope report something new; true once the host was asked to place the image.
    bool report(const std::function<void()> &send);
    bool reportStage(const QPointF &at)
    {
        return report([&] { microscope.setStage(at.x(), at.y()); });
    }
    bool reportViewField(double viewFieldMm)
    {
        return report([&] { microscope.setViewField(viewFieldMm); });
    }
    void forget() ///< signals and commands
    {
        events.clear();
        microscope.forget();
    }

    void getPos();
    void getView();
    /// The image's centre in the design: turned, sheared, scaled with rows downwards, moved.
    QPointF centre(int imageSize) const;
    bool imageAt(const QPointF &design, int imageSize = 512) const; ///< whether its centre is
    void dragImageTo(const QPointF &design); ///< as in the manual alignment mode, 512 pixels
    bool isFinite() const; ///< whether the host can draw the image

    template <typename Widget = QWidget> Widget *widget(const char *name) const
    {
        return panel->findChild<Widget *>(name);
    }
    void use(const QString &what); ///< clicks a button, or chooses from the list that has the item
    QString items(const char *list) const; ///< separated by '|'
    QString text(const char *label) const; ///< or the selected item
    int page() const; ///< 0: connection, 1: operating
    QRgb corner() const { return plugin->getImage().pixel(0, 0); }
    bool call(const char *slot) { return QMetaObject::invokeMethod(object, slot); }

    FakeMicroscope microscope;
    QTemporaryDir settingsDir;
    QPluginLoader loader;
    QPointer<QObject> object;
    backgroundPlugIn *plugin = nullptr;
    QPointer<QWidget> panel; ///< as handed over by addWidget()
    QString panelName;

    QStringList events; ///< the names of the signals in their order
    bool answering = true; ///< posUpdate() is followed by getPos(), requestView() by getView()
    std::function<void(const QByteArray &)> onSignal; ///< called first for each signal

    double values[7] = { 0, 0, 1, 1, 0, 0, 0 }; ///< x, y, scaleX, scaleY, shearH, shearV, rotation
    double zoom = 0.001;
    QPoint viewCentre;
    QSize viewSize = { 800, 600 };

private slots:
    void note();
    void takePanel(QWidget *widget, const QString &name);
};

#endif
