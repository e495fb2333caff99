#ifndef TESTS_PLUGINFIXTURE_H
#define TESTS_PLUGINFIXTURE_H

#include "plugin/backgroundplugin.h"
#include "tests/fakemicroscope.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QLineF>
#include <QMetaMethod>
#include <QPluginLoader>
#include <QSettings>
#include <QSpinBox>
#include <QStackedWidget>
#include <QTemporaryDir>
#include <QtMath>

#include <algorithm>
#include <functional>

/// A host with a microscope. It loads the library, knows nothing of its classes, notes all its
/// signals and, unless told otherwise, answers them as a host does.
class PluginFixture : public QObject {
    Q_OBJECT

public:
    /// Begins with these settings, in a folder that lives as long as the fixture.
    explicit PluginFixture(const QVariantMap &settings = QVariantMap())
        : loader(LIBRARY_FILE)
    {
        // Qt 5 would keep the library in memory; hosts on Qt 4 unload it in earnest.
        loader.setLoadHints({});
        QCoreApplication::setOrganizationName("layout-tests");
        QCoreApplication::setApplicationName("layout-tests");
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDir.path());
        set(settings);
        create();
    }
    ~PluginFixture() override
    {
        destroy();
        loader.unload();
    }

    void set(const QVariantMap &settings) ///< by their names in the plugin's section
    {
        QSettings store;
        for (auto setting = settings.begin(); setting != settings.end(); ++setting)
            store.setValue("tescan/" + setting.key(), setting.value());
    }
    /// Gets the plugin object, a new one if the last was deleted, and notes its signals. No init().
    void create()
    {
        if (object)
            return;
        object = loader.instance();
        plugin = qobject_cast<backgroundPlugIn *>(object);
        if (!plugin)
            qFatal("%s", qPrintable(loader.errorString()));
        const QMetaObject *meta = object->metaObject();
        const QMetaMethod slot = metaObject()->method(metaObject()->indexOfSlot("note()"));
        for (int i = meta->methodOffset(); i < meta->methodCount(); ++i)
            if (meta->method(i).methodType() == QMetaMethod::Signal)
                connect(object, meta->method(i), this, slot);
        connect(object, SIGNAL(addWidget(QWidget *, QString)), this,
                SLOT(takePanel(QWidget *, QString)));
    }
    void destroy()
    {
        delete object;
        plugin = nullptr;
    }
    void restart() ///< another plugin object, with its init()
    {
        destroy();
        create();
        forget();
        plugin->init();
    }

    void pressConnect(int port = 0) ///< 0: that of the microscope
    {
        widget<QLineEdit>("host")->setText("127.0.0.1");
        widget<QSpinBox>("port")->setValue(port ? port : microscope.port());
        use("connectButton");
    }
    /// Connects through the panel, as a user does; false if the operating page does not come up.
    bool connectAll()
    {
        microscope.forget();
        pressConnect();
        return spinUntil([this] {
            return page() == 1 && microscope.data
                && microscope.commands().join(' ').contains("TcpGetSWVersion");
        });
    }
    /// init(), connectAll() and the first placement, on the view centre, stage at (10, 20) and view
    /// field 1 mm.
    bool place()
    {
        plugin->init();
        if (!connectAll())
            return false;
        microscope.setStage(10, 20);
        microscope.setViewField(1);
        const bool placed = spinUntil([this] { return events.contains("centerImage"); });
        forget();
        return placed;
    }
    /// Whether whatever came before can be followed by a live image whose first pixels have these
    /// levels; makes what is missing.
    bool showsLiveImage(const QByteArray &levels)
    {
        create();
        plugin->init();
        plugin->setDatabaseUnits(1e-9);
        std::fill(values, values + 7, 0.0);
        if (!connectAll())
            return false;
        if (!widget<QAbstractButton>("displayLive")->isChecked())
            use("displayLive");
        microscope.setStage(1, 2);
        microscope.setViewField(3);
        microscope.scan(wire::scanData(0, levels));
        return spinUntil([&] {
            return qGray(corner()) == levels.at(0)
                && qFuzzyCompare(values[2], 3e6 / plugin->getImage().width());
        });
    }
    /// Lets the microscope report something new; true once the host was asked to place the image.
    bool report(const std::function<void()> &send)
    {
        events.clear();
        send();
        return spinUntil([this] { return events.contains("posUpdate"); });
    }
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

    void getPos()
    {
        double *v = values;
        plugin->getPos(v, v + 1, v + 2, v + 3, v + 4, v + 5, v + 6);
    }
    void getView()
    {
        plugin->getView(zoom, viewCentre.x(), viewCentre.y(), viewSize.width(), viewSize.height());
    }
    /// The image's centre in the design: turned, sheared, scaled with rows downwards, moved.
    QPointF centre(int imageSize = 512) const
    {
        const double half = imageSize / 2;
        const double c = std::cos(qDegreesToRadians(values[6])) * half;
        const double s = std::sin(qDegreesToRadians(values[6])) * half;
        const QPointF turned(c - s, s + c);
        return { values[0] + values[2] * (turned.x() + values[4] * turned.y()),
                 values[1] - values[3] * (turned.y() + values[5] * turned.x()) };
    }
    bool imageAt(const QPointF &design, int imageSize = 512) const ///< whether its centre is
    {
        return QLineF(centre(imageSize), design).length() < 0.01;
    }
    void dragImageTo(const QPointF &design) ///< as in the manual alignment mode
    {
        const QPointF way = design - centre();
        values[0] += way.x();
        values[1] += way.y();
    }
    bool isFinite() const ///< whether the host can draw the image
    {
        return std::all_of(values, values + 7, [](double value) { return qIsFinite(value); });
    }

    template <typename Widget = QWidget> Widget *widget(const char *name) const
    {
        return panel->findChild<Widget *>(name);
    }
    void use(const QString &what) ///< clicks a button, or chooses from the list that has the item
    {
        if (auto *button = panel->findChild<QAbstractButton *>(what))
            return button->click();
        for (QComboBox *list : panel->findChildren<QComboBox *>())
            if (list->findText(what) >= 0)
                list->setCurrentIndex(list->findText(what));
    }
    QString items(const char *list) const ///< separated by '|'
    {
        QStringList texts;
        const QComboBox *box = widget<QComboBox>(list);
        for (int i = 0; i < box->count(); ++i)
            texts << box->itemText(i);
        return texts.join('|');
    }
    QString text(const char *label) const ///< or the selected item
    {
        const QWidget *shown = widget(label);
        return shown->property(shown->inherits("QComboBox") ? "currentText" : "text").toString();
    }
    int page() const ///< 0: connection, 1: operating
    {
        return widget<QStackedWidget>("stackedWidget")->currentIndex();
    }
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
    void note()
    {
        const QByteArray name = sender()->metaObject()->method(senderSignalIndex()).name();
        events.append(name);
        if (onSignal)
            onSignal(name);
        if (!object || !answering)
            return;
        if (name == "posUpdate")
            getPos();
        else if (name == "requestView")
            getView();
    }
    void takePanel(QWidget *widget, const QString &name)
    {
        panel = widget;
        panelName = name;
    }
};

#endif
