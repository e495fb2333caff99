#include "tests/pluginfixture.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QLineF>
#include <QMetaMethod>
#include <QSpinBox>
#include <QStackedWidget>
#include <QtMath>

#include <algorithm>
#include <cmath>

PluginFixture::PluginFixture(const QVariantMap &settings)
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

PluginFixture::~PluginFixture()
{
    destroy();
    loader.unload();
}

void PluginFixture::set(const QVariantMap &settings)
{
    QSettings store;
    for (auto setting = settings.begin(); setting != settings.end(); ++setting)
        store.setValue("tescan/" + setting.key(), setting.value());
}

void PluginFixture::create()
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

void PluginFixture::destroy()
{
    delete object;
    plugin = nullptr;
}

void PluginFixture::restart()
{
    destroy();
    create();
    forget();
    plugin->init();
}

void PluginFixture::note()
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

void PluginFixture::takePanel(QWidget *widget, const QString &name)
{
    panel = widget;
    panelName = name;
}

void PluginFixture::pressConnect(int port)
{
    widget<QLineEdit>("host")->setText("127.0.0.1");
    widget<QSpinBox>("port")->setValue(port ? port : microscope.port());
    use("connectButton");
}

bool PluginFixture::connectAll()
{
    microscope.forget();
    pressConnect();
    return spinUntil([this] {
        return page() == 1 && microscope.data
            && microscope.commands().join(' ').contains("TcpGetSWVersion");
    });
}

bool PluginFixture::place()
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

bool PluginFixture::showsLiveImage(const QByteArray &levels)
{
    create();
    plugin->init();
    plugin->setDatabaseUnits(1e-9);
    std::fill(values, values + 7, 0.0);
    if (!connectAll()) {
        qWarning("DBG page %d data %d cmds %s status %s", page(), !microscope.data.isNull(),
                 qPrintable(microscope.commands().join("|")), qPrintable(text("statusDisplay")));
        return false;
    }
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

bool PluginFixture::report(const std::function<void()> &send)
{
    events.clear();
    send();
    return spinUntil([this] { return events.contains("posUpdate"); });
}

void PluginFixture::getPos()
{
    plugin->getPos(&values[0], &values[1], &values[2], &values[3], &values[4], &values[5],
                   &values[6]);
}

void PluginFixture::getView()
{
    plugin->getView(zoom, viewCentre.x(), viewCentre.y(), viewSize.width(), viewSize.height());
}

QPointF PluginFixture::centre(int imageSize) const
{
    const double half = imageSize / 2;
    const double c = std::cos(qDegreesToRadians(values[6])) * half;
    const double s = std::sin(qDegreesToRadians(values[6])) * half;
    const QPointF turned(c - s, s + c);
    return { values[0] + values[2] * (turned.x() + values[4] * turned.y()),
             values[1] - values[3] * (turned.y() + values[5] * turned.x()) };
}

bool PluginFixture::imageAt(const QPointF &design, int imageSize) const
{
    return QLineF(centre(imageSize), design).length() < 0.01;
}

void PluginFixture::dragImageTo(const QPointF &design)
{
    values[0] += design.x() - centre(512).x();
    values[1] += design.y() - centre(512).y();
}

bool PluginFixture::isFinite() const
{
    return std::all_of(values, values + 7, [](double value) { return qIsFinite(value); });
}

void PluginFixture::use(const QString &what)
{
    if (auto *button = panel->findChild<QAbstractButton *>(what))
        return button->click();
    for (QComboBox *list : panel->findChildren<QComboBox *>())
        if (list->findText(what) >= 0)
            list->setCurrentIndex(list->findText(what));
}

QString PluginFixture::items(const char *list) const
{
    QStringList texts;
    const QComboBox *box = widget<QComboBox>(list);
    for (int i = 0; i < box->count(); ++i)
        texts << box->itemText(i);
    return texts.join('|');
}

QString PluginFixture::text(const char *label) const
{
    const QWidget *shown = widget(label);
    return shown->property(shown->inherits("QComboBox") ? "currentText" : "text").toString();
}

int PluginFixture::page() const
{
    return widget<QStackedWidget>("stackedWidget")->currentIndex();
}
