// A host, a user and a microscope that do anything at any time, also in the middle of a signal.

#include "tests/pluginfixture.h"
#include "tests/resources.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QLineEdit>
#include <QMetaMethod>
#include <QRadioButton>
#include <QSpinBox>
#include <QStackedWidget>
#include <QtTest>

#include <random>

namespace {
const int rounds = sanitized ? 8 : 25;
const int stepsPerRound = 1000;

void pressConnect(PluginFixture *host, const FakeMicroscope &microscope)
{
    host->widget<QLineEdit>("host")->setText("127.0.0.1");
    host->widget<QSpinBox>("port")->setValue(microscope.port());
    host->click("connectButton");
}

/// Calls and events in a random order; the same for the same seed.
class Monkey {
public:
    Monkey(unsigned int seed, PluginFixture *host)
        : m_random(seed)
        , m_host(host)
    {
        host->onSignal = [this](const QByteArray &) { withinSignal(); };
    }
    ~Monkey() { m_host->onSignal = nullptr; }

    void step();

    FakeMicroscope microscope;
    int signalsSeen = 0;

private:
    int below(int limit) { return int(m_random() % unsigned(limit)); }
    template <typename Values> auto any(const Values &values)
    {
        return values.at(below(values.size()));
    }
    double number()
    {
        return any(QVector<double>{ 0, 1, -1, 1e-9, 1e-3, 0.5, 1e308, -1e308, 1e-308, 5e-324, 4711,
                                    qInf(), -qInf(), qQNaN() });
    }
    QString text()
    {
        return any(QStringList{ "", "x", "0x0", "-5x5", "64x64", "512x512", "chipA", "chip;B",
                                "芯片芯片", "1 - SE", "ns", "-7ns", "500ns", "99999999999ns" });
    }
    void withinSignal();
    void callSlot();
    void usePanel();
    void connectNow();

    std::mt19937 m_random;
    PluginFixture *m_host;
    int m_depth = 0;
};

void Monkey::withinSignal()
{
    ++signalsSeen;
    if (m_depth > 2 || below(4) > 0)
        return;
    ++m_depth;
    step();
    --m_depth;
}

void Monkey::callSlot()
{
    const QMetaObject *meta = m_host->object->metaObject();
    const int first = meta->indexOfSlot("triggerTimer()");
    meta->method(first + below(meta->methodCount() - first))
        .invoke(m_host->object, Q_ARG(QString, text()));
}

void Monkey::usePanel()
{
    if (!m_host->panel)
        return;
    m_host->widget<QSpinBox>("port")->setValue(below(8) ? microscope.port() : 1);
    QComboBox *list = m_host->widget<QComboBox>(below(2) ? "dwellTime" : "detector");
    if (below(4) == 0)
        list->setCurrentIndex(below(list->count() + 1) - 1);
    else
        any(m_host->panel->findChildren<QAbstractButton *>())->click();
}

/// So often that most steps find an image in place.
void Monkey::connectNow()
{
    if (below(4) > 0 || m_depth > 0)
        return;
    m_host->init();
    if (!m_host->panel) // gone within the signals of this
        return;
    pressConnect(m_host, microscope);
    for (int i = 0; i < 100; ++i) {
        QThread::usleep(50);
        QCoreApplication::processEvents();
    }
    microscope.setStage(1, 2);
    microscope.setViewField(1);
}

void Monkey::step()
{
    m_host->create();
    backgroundPlugIn *plugin = m_host->plugin;
    const QVector<std::function<void()>> acts = {
        [=] { plugin->init(); },
        [=] { plugin->close(); },
        [=] { plugin->getImage(); },
        [=] { plugin->setDatabaseUnits(number()); },
        [=] { plugin->getDesignName(text()); },
        [=] { plugin->getView(number(), int(m_random()), below(9), int(m_random()), below(9)); },
        [=] {
            m_host->values[below(7)] = number();
            m_host->getPos();
        },
        [=] { microscope.setStage(number(), number(), number(), number(), number()); },
        [=] { microscope.setViewField(number()); },
        [=] { microscope.scan(wire::scanData(m_random(), QByteArray(below(3000), 'x'))); },
        [=] { microscope.scan(QByteArray(below(100), char(m_random()))); },
        [=] { microscope.reply(wire::message("DtEnumDetectors", wire::text("a.name=SE\na=0"))); },
        [=] { microscope.reply(wire::message("Odd", "body")); },
        [=] { below(5) ? void() : microscope.dropConnections(); },
        [=] { below(4) ? void() : m_host->destroy(); },
        [] { QCoreApplication::processEvents(); },
    };
    // What changes most comes as often as all the rest together.
    const QVector<void (Monkey::*)()> families = { &Monkey::callSlot, &Monkey::usePanel,
                                                   &Monkey::connectNow };
    below(2) ? any(acts)() : (this->*any(families))();
}
} // namespace

class TestAnyOrder : public QObject {
    Q_OBJECT

private slots:
    void anyOrder();
};

void TestAnyOrder::anyOrder()
{
    PluginFixture host(LIBRARY_FILE);
    int signalsSeen = 0;
    for (int round = 0; round < rounds; ++round) {
        {
            Monkey monkey(unsigned(round), &host);
            for (int i = 0; i < stepsPerRound; ++i)
                monkey.step();
            signalsSeen += monkey.signalsSeen;
        }
        // Whatever it did, a plugin still shows a live image.
        host.create();
        host.plugin->setDatabaseUnits(1e-9);
        std::fill(host.values, host.values + 7, 0.0);
        FakeMicroscope microscope;
        host.init();
        pressConnect(&host, microscope);
        SPIN_VERIFY(microscope.data);
        SPIN_COMPARE(host.widget<QStackedWidget>("stackedWidget")->currentIndex(), 1);
        if (!host.widget<QRadioButton>("displayLive")->isChecked())
            host.click("displayLive");
        microscope.setStage(1, 2);
        microscope.setViewField(1);
        microscope.scan(wire::scanData(0, QByteArray(1, char(round))));
        SPIN_COMPARE(host.plugin->getImage().pixel(0, 0), qRgb(round, round, round));
        host.events.clear();
    }
    qInfo("%d steps, %d signals", rounds * stepsPerRound, signalsSeen);
}

QTEST_MAIN(TestAnyOrder)
#include "tst_anyorder.moc"
