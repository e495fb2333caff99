// What the link sends: how it connects, and which commands follow what the user does.

#include "tests/wiredlink.h"

#include <QtTest>

#include <functional>
#include <sys/socket.h>

using namespace wire;

class TestLink : public QObject {
    Q_OBJECT

private slots:
    void bytesOnTheWire();
    void connecting();
    void failedConnections();
    void scanSequences();
};

void TestLink::bytesOnTheWire()
{
    QLocale::setDefault(QLocale(QLocale::German));
    Wired wired;
    QVERIFY(wired.up());
    wired.link.GetViewField();
    wired.link.TcpRegDataPort(40154);
    wired.link.headerFlags = 9;
    wired.link.createHeader("DtAutoSignal");
    wired.link.headerFlags = 0; // too late for this header
    wired.link.sendInt(-2);
    wired.link.send();
    wired.link.StgMoveTo(-12.5e100, 0.0015, 0, 0, 12.5);
    QLocale::setDefault(QLocale::c());
    QList<QByteArray> expected = {
        "GetViewField" + QByteArray(20, '\0'),
        message("TcpRegDataPort", QByteArray::fromHex("da9c0000")),
        "DtAutoSignal"
            + QByteArray::fromHex("00000000 04000000 0000000000 09 000000000000feffffff"),
        message("StgMoveTo",
                uint32(16) + "-1.250000e+101" + QByteArray(2, '\0') + text("1.500000e-03")
                    + text("0.000000e+00") + text("0.000000e+00") + text("1.250000e+01")),
    };
    const QMap<const char *, const char *> texts = { { "", "04000000 00000000" },
                                                     { "abc", "04000000 61626300" },
                                                     { "abcd", "08000000 6162636400000000" },
                                                     { "\xb5\xff", "04000000 b5ff0000" } };
    for (auto latin1 = texts.begin(); latin1 != texts.end(); ++latin1) {
        wired.link.createHeader("SixteenCharacter");
        wired.link.sendString(QString::fromLatin1(latin1.key()));
        wired.link.send();
        expected << message("SixteenCharacter", QByteArray::fromHex(latin1.value()));
    }
    SPIN_COMPARE(wired.microscope.received.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(wired.microscope.received.at(i).toHex(' '), expected.at(i).toHex(' '));
}

void TestLink::connecting()
{
    Wired wired;
    FakeMicroscope &microscope = wired.microscope;
    microscope.answers = { { "TcpGetVersion", text("1.2") },
                           { "TcpGetSWVersion", text("7 \xb5") },
                           { "DtEnumDetectors", text("det.0.name=SE\ndet.0.detector=0") } };
    wired.link.triggerTimer(); // before there is a channel it polls nobody
    wired.start();
    wired.link.ScStopScan(); // too early: nothing goes out ahead of the registration
    SPIN_COMPARE(microscope.received.size(), 2);
    const int port = wired.link.dataPort;
    wired.link.triggerTimer();
    wired.link.triggerTimer();
    SPIN_COMPARE(microscope.polls(), 2);
    microscope.reply(message("TcpRegDataPort", uint32(0)));
    SPIN_COMPARE(wired.events.size(), 6);
    wired.link.triggerTimer(); // which registers no further port
    SPIN_COMPARE(microscope.received.size(), 12);
    QVERIFY(microscope.received.at(10).startsWith("StgGetPosition"));
    QVERIFY(microscope.received.at(11).startsWith("GetViewField"));
    const auto registration = [port](int attempt) {
        return QString("TcpRegDataPort %1").arg(port + 2 * attempt);
    };
    QCOMPARE(microscope.commands(),
             QStringList({ registration(0), "DtEnumDetectors", registration(1), registration(2),
                           "TcpGetVersion", "TcpGetSWVersion" }));
    QCOMPARE(wired.events.join('|'),
             QString::fromLatin1("connecting...|connecting data channel...|"
                                 "detectors det.0.name=SE\ndet.0.detector=0 0|connected|"
                                 "info: Version: 1.2|info: SW-Version: 7 \xb5"));
    wired.events.clear();
    microscope.dropConnections();
    SPIN_VERIFY(wired.link.linkState == tescan::NotConnected);
    QCOMPARE(wired.events.toSet(), QSet<QString>({ "disconnected..." }));
}

void TestLink::failedConnections()
{
    Wired wired;
    QTcpServer server;
    server.listen(QHostAddress::LocalHost);
    const quint16 port = server.serverPort();
    server.close();
    wired.link.connectToSEM("127.0.0.1", port, 0);
    SPIN_VERIFY(wired.events.last().startsWith("connection failed: "));
    QCOMPARE(wired.events.size(), 2);
    wired.microscope.dataServer.close();
    wired.start();
    SPIN_VERIFY(wired.events.last().startsWith("data connection failed: "));
    wired.microscope.forget();
    wired.microscope.dataServer.listen(QHostAddress::LocalHost, wired.microscope.port() + 1);
    // A listener whose queue is full leaves further connections unanswered.
    server.listen(QHostAddress::LocalHost, port);
    ::listen(int(server.socketDescriptor()), 0);
    server.pauseAccepting();
    QTcpSocket fillers[3];
    for (QTcpSocket &filler : fillers)
        filler.connectToHost("127.0.0.1", port);
    SPIN_VERIFY(fillers[0].state() == QAbstractSocket::ConnectedState);
    wired.link.connectToSEM("127.0.0.1", port, 0);
    QCOMPARE(wired.events.last(), QString("connecting..."));
    QVERIFY(wired.up());
    wired.start(); // which ends the connection that is up
    QCOMPARE(wired.events.first(), QString("disconnected..."));
}

void TestLink::scanSequences()
{
    const QStringList stop("ScStopScan");
    const QString optimize = "DtAutoSignal[9] 0";
    const QString scan = "ScScanXY[9] 0 4 4 0 0 3 3 0 ";
    const QStringList select = { "DtSelect 0 0", "DtEnable 0 1 8", optimize, scan + "500" };
    const auto nothingNew = [](tescan &link) {
        for (const char *text : { "0 - SE", "SE - 2", "2" })
            link.setDetector(text); // what is no number reads as 0, the current one
        for (const char *text : { "500ns", "1000" })
            link.setDewellTime(text);
        for (int edge : { 4, 0, -7 })
            link.setImageSize(edge);
    };
    const struct {
        std::function<void(tescan &)> act;
        const char *status; // the second one when scanning
        QStringList commands, whenScanning; // which come on top
    } rows[] = {
        { &tescan::startScan, "optimizing contrast", stop + select, {} },
        { &tescan::stopScan, "scanning stoped", stop, {} },
        { [](tescan &link) { link.setDetector(" 2 - BSE - low"); },
          "set detector",
          { "DtGetGainBlack 0", "ScStopScan", "DtSelect 0 2", "DtEnable 0 1 8" },
          { optimize, scan + "500" } },
        { [](tescan &link) { link.setDewellTime("100000ns"); },
          "adjust dwell",
          stop,
          { scan + "100000" } },
        { [](tescan &link) { link.setImageSize(7); },
          "adjust size",
          stop,
          { "ScScanXY[9] 0 7 7 0 0 6 6 0 500" } },
        { &tescan::connectedData,
          "connected|start scanning",
          { "TcpGetVersion", "TcpGetSWVersion" },
          stop + select },
        { nothingNew, "", {}, {} },
    };
    for (const auto &row : rows) {
        for (bool scanning : { false, true }) {
            Wired wired;
            QVERIFY(wired.up());
            const int port = wired.link.dataPort;
            QVERIFY(port >= 40154 && port <= 46152 && port % 2 == 0);
            wired.link.scanning = scanning;
            row.act(wired.link);
            wired.link.triggerTimer(); // shows that the flags are back to 0
            SPIN_COMPARE(wired.microscope.polls(), 1);
            SPIN_COMPARE(wired.microscope.received.last(), message("GetViewField"));
            QCOMPARE(wired.microscope.commands(),
                     scanning ? row.commands + row.whenScanning : row.commands);
            QCOMPARE(wired.events,
                     QString(row.status).split('|', Qt::SkipEmptyParts).mid(0, scanning ? 2 : 1));
            QCOMPARE(wired.link.image.size(), QSize(wired.link.scanSize, wired.link.scanSize));
            QCOMPARE(wired.link.image.pixel(3, 3), 0xFF646464);
        }
    }
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
