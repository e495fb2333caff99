// A long working day: thousands of connections, frames and plugin objects must leave nothing
// behind.

#include "tests/pluginfixture.h"
#include "tests/resources.h"

#include <QStackedWidget>
#include <QTimer>
#include <QtTest>

namespace {
// AddressSanitizer takes ten times as long for each.
const int cycles = sanitized ? 300 : 2000;
const int warmUpCycles = cycles / 10;
const int frames = sanitized ? 200 : 500;
const int objects = sanitized ? 200 : 1000;
const int pollMs = 500;
const int polls = 6; // to be seen while the frames come
const int frameEdge = 512;
// The detector list keeps its entries, connection by connection.
const qint64 toleratedKb = 4096;

/// What the process holds, and that it holds no more later.
class Holdings {
public:
    Holdings()
        : m_descriptors(openDescriptors())
        , m_kb(residentKb())
    {
    }
    void compare() const
    {
        QCOMPARE(openDescriptors(), m_descriptors);
        const qint64 grownKb = residentKb() - m_kb;
        qInfo("%lld KiB more", grownKb);
        if (!sanitized)
            QVERIFY(grownKb < toleratedKb);
    }

private:
    int m_descriptors;
    qint64 m_kb;
};

bool isOpen(const QTcpSocket *socket)
{
    return socket && socket->state() != QAbstractSocket::UnconnectedState;
}

void connectOnce(PluginFixture *host, FakeMicroscope *microscope)
{
    QVERIFY(host->connectTo(*microscope));
    host->click("disconnectButton");
    SPIN_VERIFY(!isOpen(microscope->control) && !isOpen(microscope->data));
    delete microscope->control;
    delete microscope->data;
    microscope->forget();
    host->events.clear();
}

/// Keeps the data channel full of frames of one grey level each.
void sendFrame(FakeMicroscope *microscope, int grey)
{
    const QByteArray run(frameEdge * 64, char(grey));
    for (int row = 0; row < frameEdge; row += 64)
        microscope->scan(wire::scanData(quint32(row * frameEdge), run));
    SPIN_COMPARE(microscope->data->bytesToWrite(), qint64(0));
}
} // namespace

class TestEndurance : public QObject {
    Q_OBJECT

private slots:
    void connections();
    void framesAtFullRate();
    void pluginObjects();
};

void TestEndurance::connections()
{
    PluginFixture host(LIBRARY_FILE);
    FakeMicroscope microscope;
    microscope.answers["DtEnumDetectors"] = wire::text("d.name=SE\nd=0");
    host.init();
    for (int i = 0; i < warmUpCycles; ++i)
        connectOnce(&host, &microscope);
    const Holdings before;
    for (int i = warmUpCycles; i < cycles && !QTest::currentTestFailed(); ++i)
        connectOnce(&host, &microscope);
    before.compare();
    qInfo("%d connections", cycles);
}

void TestEndurance::framesAtFullRate()
{
    PluginFixture host(LIBRARY_FILE);
    QSettings().setValue("tescan/display", 0);
    FakeMicroscope microscope;
    QVERIFY(host.place(&microscope));
    QImage kept; // as a host keeps what it draws
    int messages = 0;
    host.onSignal = [&](const QByteArray &name) {
        if (name == "imageUpdate")
            kept = host.plugin->getImage();
        messages += name == "imageUpdate";
        host.events.clear();
    };
    for (int i = 0; i < 20; ++i)
        sendFrame(&microscope, i);
    SPIN_COMPARE(messages, 20 * 8);
    const Holdings before;
    // Held up by a busy machine, a timer misses ticks; the link's may miss no more than this one.
    int ticks = 0;
    QTimer timer;
    connect(&timer, &QTimer::timeout, this, [&ticks] { ++ticks; });
    timer.start(pollMs);
    microscope.forget();
    messages = 0;
    QElapsedTimer elapsed;
    elapsed.start();
    int sent = 0;
    while ((sent < frames || ticks < polls) && !QTest::currentTestFailed())
        sendFrame(&microscope, sent++ % 256);
    SPIN_COMPARE(messages, sent * 8);
    SPIN_VERIFY(microscope.polls() >= ticks - 1);
    QCOMPARE(kept.pixel(511, 511), qRgb(1, 1, 1) * uint((sent - 1) % 256) | 0xFF000000u);
    qInfo("%d frames in %lld ms, %d polls in %d ticks", sent, elapsed.elapsed(), microscope.polls(),
          ticks);
    before.compare();
}

void TestEndurance::pluginObjects()
{
    PluginFixture host(LIBRARY_FILE);
    const auto renew = [&host] {
        host.destroy();
        host.create();
        host.init();
        host.events.clear();
    };
    for (int i = 0; i < objects / 10; ++i)
        renew();
    const Holdings before;
    for (int i = 0; i < objects; ++i)
        renew();
    before.compare();
}

QTEST_MAIN(TestEndurance)
#include "tst_endurance.moc"
