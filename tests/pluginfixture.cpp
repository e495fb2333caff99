#include "tests/pluginfixture.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QMetaMethod>
#include <QSpinBox>
#include <QStackedWidget>
#include <QtMath>

#include <cmath>

PluginFixture::PluginFixture(const QString &libraryFile)
    : loader(libraryFile)
{
    // Qt 5 would keep the library in memory; hosts on Qt 4 unload it in earnest.
    loader.setLoadHints({});
    QCoreApplication::setOrganizationName("layout-tests");
    QCoreApplication::setApplicationName("layout-tests");
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settingsDir.path());
    create();
}

PluginFixture::~PluginFixture()
{
    destroy();
    loader.unload();
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

void PluginFixture::init()
{
    plugin->init();
}

void PluginFixture::destroy()
{
    delete object;
    plugin = nullptr;
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

bool PluginFixture::connectTo(const FakeMicroscope &microscope)
{
    widget<QLineEdit>("host")->setText("127.0.0.1");
    widget<QSpinBox>("port")->setValue(microscope.port());
    click("connectButton");
    return spinUntil([&] {
        return widget<QStackedWidget>("stackedWidget")->currentIndex() == 1 && microscope.data
            && microscope.commands().contains("TcpGetSWVersion");
    });
}

bool PluginFixture::place(FakeMicroscope *microscope)
{
    init();
    if (!connectTo(*microscope))
        return false;
    auto &answers = microscope->answers;
    if (!answers.contains("StgGetPosition"))
        answers["StgGetPosition"] = wire::position(0, 0);
    if (!answers.contains("GetViewField"))
        answers["GetViewField"] = wire::real(1);
    for (const QByteArray name : { "StgGetPosition", "GetViewField" })
        microscope->reply(wire::message(name, answers.value(name)));
    return spinUntil([this] { return events.contains("centerImage"); });
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

void PluginFixture::click(const char *button)
{
    widget<QAbstractButton>(button)->click();
}

void PluginFixture::choose(const char *list, const QString &text)
{
    QComboBox *box = widget<QComboBox>(list);
    box->setCurrentIndex(box->findText(text));
}

QString PluginFixture::status() const
{
    return widget<QLabel>("statusDisplay")->text();
}
