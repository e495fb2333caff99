// A microscope, or a network, that fails: each time the user must be able to press "connect" again.

#include "simulator/options.h"
#include "simulator/simulator.h"
#include "tests/pluginfixture.h"
#include "tests/resources.h"

#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QSpinBox>
#include <QStackedWidget>
#include <QtTest>

#include <sys/socket.h>

namespace {
const int frameEdge = 8;
const int connectionPage = 0, operatingPage = 1;

enum Channel { Control, Data };

/// Ends the conversation as soon as it has sent so many bytes on one channel.
class CuttingMicroscope : public FakeMicroscope {
public:
    CuttingMicroscope(Channel where = Control, int bytes = -1, bool byReset = false)
        : left(bytes)
        , channel(where)
        , reset(byReset)
    {
        answers["DtEnumDetectors"] = wire::text("d.0.name=SE\nd.0=0\nd.1.name=BSE\nd.1=1");
        answers["TcpGetVersion"] = wire::text("4.2");
        answers["TcpGetSWVersion"] = wire::text("3.1");
        answers["ScScanXY"] = wire::uint32(0);
    }

    bool scanAsked() const { return data && commands().join(' ').contains("ScScanXY"); }

    /// A scan in two messages, and what the polls report, unasked.
    void showFrame(char grey)
    {
        setStage(grey, 2);
        setViewField(grey);
        for (int half = 0; half < 2; ++half)
            scan(wire::scanData(quint32(half * frameEdge * frameEdge / 2),
                                QByteArray(frameEdge * frameEdge / 2, grey)));
    }

    int left; ///< bytes until then, negative afterwards

protected:
    void write(QTcpSocket *socket, const QByteArray &bytes) override
    {
        if (socket)
            socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        const bool concerned =
            left >= 0 && socket && socket == (channel == Control ? control : data);
        const int count = concerned ? qMin(left, bytes.size()) : bytes.size();
        FakeMicroscope::write(socket, bytes.left(count));
        if (!concerned)
            return;
        left -= count;
        if (left == 0)
            end(socket);
    }

private:
    void end(QTcpSocket *socket)
    {
        left = -1;
        if (!reset)
            return socket->disconnectFromHost();
        const linger atOnce = { 1, 0 };
        setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        socket->abort();
    }

    Channel channel;
    bool reset;
};

/// What the next plugin begins with: the live image, of this size.
void setScan(int edge)
{
    QSettings settings;
    settings.setValue("tescan/display", 0);
    settings.setValue("tescan/imageSize", edge);
}

int page(const PluginFixture &host)
{
    return host.widget<QStackedWidget>("stackedWidget")->currentIndex();
}

void pressConnect(PluginFixture *host, int port)
{
    host->widget<QLineEdit>("host")->setText("127.0.0.1");
    host->widget<QSpinBox>("port")->setValue(port);
    host->click("connectButton");
}

QStringList entries(const PluginFixture &host, const char *list)
{
    QStringList texts;
    const QComboBox *box = host.widget<QComboBox>(list);
    for (int i = 0; i < box->count(); ++i)
        texts << box->itemText(i);
    return texts;
}

bool showsOnly(const QImage &image, char grey)
{
    QImage expected(frameEdge, frameEdge, QImage::Format_RGB32);
    expected.fill(qRgb(grey, grey, grey));
    return image == expected;
}

/// Connects and has the microscope show a frame, unless it cuts the conversation before.
bool converse(PluginFixture *host, CuttingMicroscope *microscope, char grey)
{
    pressConnect(host, microscope->port());
    const bool wasToCut = microscope->left >= 0;
    const auto cut = [=] { return wasToCut && microscope->left < 0; };
    if (!spinUntil([&] { return cut() || microscope->scanAsked(); }))
        return false;
    if (!cut())
        microscope->showFrame(grey);
    return true;
}

/// The panel is back where the user can connect, and says so or what failed; nothing is open.
bool isOver(const PluginFixture &host, const FakeMicroscope &microscope)
{
    const auto closed = [](const QTcpSocket *socket) {
        return !socket || socket->state() == QAbstractSocket::UnconnectedState;
    };
    return page(host) == connectionPage && closed(microscope.control) && closed(microscope.data)
        && (host.status().startsWith("disconnected") || host.status().contains("failed"));
}

/// What the microscope sends on the channel up to the end of the first frame.
int conversationBytes(PluginFixture *host, Channel channel)
{
    const int plenty = 1 << 20;
    host->init();
    CuttingMicroscope microscope(channel, plenty);
    converse(host, &microscope, 1);
    // A plugin that is connected would save its settings, which takes longer than all the rest.
    host->click("disconnectButton");
    return plenty - microscope.left;
}

void cutAt(PluginFixture *host, Channel channel, int bytes, bool reset)
{
    host->destroy();
    host->create();
    host->init();
    CuttingMicroscope microscope(channel, bytes, reset);
    QVERIFY(converse(host, &microscope, 17));
    QVERIFY(microscope.left < 0);
    SPIN_VERIFY(isOver(*host, microscope));

    const QStringList listBefore = entries(*host, "detector");
    const QString before = host->widget<QLabel>("infoText")->text();
    microscope.forget();
    host->values[2] = 0;
    QVERIFY(converse(host, &microscope, 34));
    SPIN_VERIFY(showsOnly(host->plugin->getImage(), 34));
    SPIN_COMPARE(host->values[2], 34e6 / frameEdge);
    QCOMPARE(page(*host), operatingPage);
    QCOMPARE(host->status(), QString("scanning..."));
    QCOMPARE(entries(*host, "detector"), listBefore + QStringList({ "0 - SE", "1 - BSE" }));
    const QString information = host->widget<QLabel>("infoText")->text();
    QVERIFY(information.startsWith(before));
    QVERIFY(information.mid(before.size()).endsWith("\nVersion: 4.2\nSW-Version: 3.1"));
    QCOMPARE(information.count("Version: ") - before.count("Version: "), 2);
    QVERIFY(microscope.commands().first().startsWith("TcpRegDataPort"));
    host->click("disconnectButton");
}
} // namespace

class TestFaults : public QObject {
    Q_OBJECT

private slots:
    void cutAtEveryByte_data();
    void cutAtEveryByte();
    void simulatedFaults_data();
    void simulatedFaults();
    void announcedFourGiB();
};

void TestFaults::cutAtEveryByte_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<bool>("reset");
    QTest::newRow("control channel, closed") << int(Control) << false;
    QTest::newRow("control channel, reset") << int(Control) << true;
    QTest::newRow("data channel, closed") << int(Data) << false;
    QTest::newRow("data channel, reset") << int(Data) << true;
}

void TestFaults::cutAtEveryByte()
{
    QFETCH(int, channel);
    QFETCH(bool, reset);
    PluginFixture host(LIBRARY_FILE);
    setScan(frameEdge);
    const int bytes = conversationBytes(&host, Channel(channel));
    QVERIFY(bytes > 100);
    for (int cut = 0; cut <= bytes; ++cut) {
        cutAt(&host, Channel(channel), cut, reset);
        if (QTest::currentTestFailed())
            QFAIL(qPrintable(QString("cut after %1 of %2 bytes").arg(cut).arg(bytes)));
    }
    qInfo("%d places", bytes + 1);
}

void TestFaults::simulatedFaults_data()
{
    QTest::addColumn<QString>("fault");
    for (const char *fault :
         { "cut-control=300", "cut-data=5000", "reset-control=300", "reset-data=5000",
           "stall-control=200", "stall-data=5000", "delay=50", "twice", "reorder", "unknown",
           "oversized", "truncated", "nonfinite", "garbage", "refuse-data",
           "twice,reorder,unknown,truncated,nonfinite,garbage" })
        QTest::newRow(fault) << fault;
}

void TestFaults::simulatedFaults()
{
    QFETCH(QString, fault);
    PluginFixture host(LIBRARY_FILE);
    setScan(64);
    host.init();
    simulator::Options options;
    options.port = 0;
    options.scan.rowsPerMessage = 4;
    QString error;
    QVERIFY2(simulator::parseFaults(fault, &options.faults, &error), qPrintable(error));
    options.faults.once = true;
    simulator::Simulator microscope;
    QVERIFY2(microscope.start(options, &error), qPrintable(error));
    pressConnect(&host, microscope.controlPort());
    // Two polls' time: by then every fault was made, whether or not it ended the connection.
    QTest::qWait(1300);
    for (const double value : host.values)
        QVERIFY(qIsFinite(value));
    if (QRegularExpression("^(cut|reset|refuse)").match(fault).hasMatch())
        SPIN_COMPARE(page(host), connectionPage);

    host.click("disconnectButton");
    QCOMPARE(page(host), connectionPage);
    host.events.clear();
    const QImage before = host.plugin->getImage();
    pressConnect(&host, microscope.controlPort());
    SPIN_COMPARE(page(host), operatingPage);
    SPIN_VERIFY(host.plugin->getImage() != before);
    SPIN_COMPARE(host.status(), QString("scanning..."));
    SPIN_VERIFY(host.events.contains("centerImage"));
}

/// Nothing the other end announces makes the host grow: 64 MiB of a message are kept at most.
void TestFaults::announcedFourGiB()
{
    const int pieces = 200;
    PluginFixture host(LIBRARY_FILE);
    setScan(frameEdge);
    host.init();
    CuttingMicroscope microscope;
    QVERIFY(converse(&host, &microscope, 1));
    const qint64 before = residentKb();
    qint64 largest = before;
    microscope.scan(wire::header("ScData", 0xFFFFFFFF));
    for (int i = 0; i < pieces; ++i) {
        microscope.scan(QByteArray(1 << 20, 'x'));
        SPIN_COMPARE(microscope.data->bytesToWrite(), qint64(0));
        largest = qMax(largest, residentKb());
    }
    if (!sanitized)
        QVERIFY2(largest - before < 100 * 1024, qPrintable(QString::number(largest - before)));
    QVERIFY(showsOnly(host.plugin->getImage(), 1));
    host.click("disconnectButton");
    SPIN_VERIFY(isOver(host, microscope));
    microscope.forget();
    QVERIFY(converse(&host, &microscope, 34));
    SPIN_VERIFY(showsOnly(host.plugin->getImage(), 34));
    qInfo("%lld KiB more at most", largest - before);
}

QTEST_MAIN(TestFaults)
#include "tst_faults.moc"
