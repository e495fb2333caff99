#ifndef TESTS_PLUGINFIXTURE_H
#define TESTS_PLUGINFIXTURE_H

#include "plugin/backgroundplugin.h"
#include "tests/fakemicroscope.h"

#include <QPluginLoader>
#include <QSettings>
#include <QTemporaryDir>
#include <QWidget>

#include <functional>

/// A host's view of the library: loads it, knows nothing of its classes, notes all its signals and,
/// unless told otherwise, answers them as a host does.
class PluginFixture : public QObject {
    Q_OBJECT

public:
    /// `libraryFile` is loaded with the host's settings in a folder that lives as long as the
    /// fixture.
    explicit PluginFixture(const QString &libraryFile);
    ~PluginFixture() override;

    /// Gets the plugin object, a new one if the last was deleted, and notes its signals. No init().
    void create();
    void init();
    void destroy();

    /// Connects through the panel, as a user does; false if the operating page does not come up.
    bool connectTo(const FakeMicroscope &microscope);
    /// init(), connectTo() and the first placement, on the view centre.
    bool place(FakeMicroscope *microscope);

    void getPos();
    void getView();
    /// The image's centre in the design: turned, sheared, scaled with rows downwards, moved.
    QPointF centre(int imageSize) const;

    template <typename Widget> Widget *widget(const char *name) const
    {
        return panel->findChild<Widget *>(name);
    }
    void click(const char *button);
    void choose(const char *list, const QString &text);
    QString status() const;
    bool call(const char *slot) { return QMetaObject::invokeMethod(object, slot); }

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
