// What the link sends, how it connects, and what becomes of it when a receiver of its signals does
// something else first.

#include "tests/wiredlink.h"

#include <QtTest>

#include <sys/socket.h>

using namespace wire;

class TestLink : public QObject {
    Q_OBJECT

private slots:
    void bytesOnTheWire();
    void connecting();
    void failedConnections();
    void lingeringHandlers();
    void connectingAnewWithinSignal();
    void alwaysConnectingAnew();
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
    wired.link.createHeader("SixteenCharacter");
    for (const char *latin1 : { "", "abcd", "\xb5\xff" })
        wired.link.sendString(QString::fromLatin1(latin1));
    wired.link.send();
    const QList<QByteArray> expected = {
        "GetViewField" + QByteArray(20, '\0'),
        message("TcpRegDataPort", QByteArray::fromHex("da9c0000")),
        "DtAutoSignal"
            + QByteArray::fromHex("00000000 04000000 0000000000 09 000000000000feffffff"),
        message("StgMoveTo",
                uint32(16) + "-1.250000e+101" + QByteArray(2, '\0') + text("1.500000e-03")
                    + text("0.000000e+00") + text("0.000000e+00") + text("1.250000e+01")),
        message("SixteenCharacter",
                QByteArray::fromHex("0400000000000000 080000006162636400000000 04000000b5ff0000")),
    };
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
    QVERIFY(port >= 40154 && port <= 46152 && port % 2 == 0);
    wired.link.triggerTimer();
    wired.link.triggerTimer();
    SPIN_COMPARE(microscope.polls(), 2);
    microscope.reply(message("TcpRegDataPort", uint32(0)));
    SPIN_COMPARE(wired.events.size(), 6);
    wired.link.headerFlags = 9; // of a scan that was started, and not of the polls
    wired.link.triggerTimer(); // which registers no further port
    SPIN_COMPARE(microscope.received.size(), 12);
    QCOMPARE(microscope.received.mid(10),
             QList<QByteArray>({ message("StgGetPosition"), message("GetViewField") }));
    const QString registration = "TcpRegDataPort %1";
    QCOMPARE(microscope.commands(),
             QStringList({ registration.arg(port), "DtEnumDetectors", registration.arg(port + 2),
                           registration.arg(port + 4), "TcpGetVersion", "TcpGetSWVersion" }));
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

/// Whoever receives a signal may run an event loop of its own; what comes meanwhile has to wait.
void TestLink::lingeringHandlers()
{
    for (const bool onData : { false, true }) {
        Wired wired;
        QVERIFY(wired.up());
        const auto send = [&](int value) {
            onData ? wired.microscope.scan(scanData(0, QByteArray(1, char(value))))
                   : wired.microscope.reply(message("GetViewField", real(value)));
        };
        const auto linger = [&] {
            if (wired.events.size() > 1)
                return;
            send(2);
            QTest::qWait(50);
            wired.events << "returns";
        };
        QObject::connect(&wired.link, &tescan::imageChanged, linger);
        QObject::connect(&wired.link, &tescan::zoomed, linger);
        send(1);
        SPIN_COMPARE(wired.events.size(), 3);
        QCOMPARE(wired.events.at(1), QString("returns"));
    }
}

/// Nothing of the connection that was given up is taken over, and the new one is read.
void TestLink::connectingAnewWithinSignal()
{
    for (const QString signal : { "zoomed", "image 07", "scanning..." }) {
        Wired wired(1);
        QVERIFY(wired.up());
        wired.link.scanning = signal == "scanning...";
        bool done = false;
        const auto reconnect = [&] {
            if (wired.events.last() != signal || done)
                return;
            done = true;
            wired.start();
            if (signal == "image 07" && spinUntil([&] { return wired.isUpAgain(); }))
                QTest::qWait(50); // in an event loop of its own
        };
        QObject::connect(&wired.link, &tescan::imageChanged, reconnect);
        QObject::connect(&wired.link, &tescan::zoomed, reconnect);
        QObject::connect(&wired.link, &tescan::setStatus, reconnect);
        wired.microscope.reply(message("GetViewField", real(2)) + QByteArray(20, 'x'));
        if (signal != "zoomed")
            wired.microscope.scan(scanData(0, "\x07") + QByteArray(40, 'x'));
        SPIN_VERIFY(done && wired.isUpAgain());
        QCOMPARE(wired.events.filter("image").size(), signal == "image 07" ? 1 : 0);
        wired.events.clear();
        wired.microscope.reply(message("GetViewField", real(3)));
        wired.microscope.scan(scanData(0, "\x09"));
        SPIN_VERIFY(wired.events.contains("image 09") && wired.events.contains("zoomed"));
    }
}

/// As a host does that wants to be connected whenever it can be: at once, or when both channels are
/// closed.
void TestLink::alwaysConnectingAnew()
{
    for (const bool patient : { false, true })
        for (int end = 0; end < 3; ++end) {
            Wired wired(1);
            QVERIFY(wired.up());
            QObject::connect(&wired.link, &tescan::setStatus, [&](const QString &text) {
                const bool closed =
                    wired.link.controlSocket->state() == QTcpSocket::UnconnectedState
                    && wired.link.dataSocket->state() == QTcpSocket::UnconnectedState;
                if (text == "disconnected..." && (closed || !patient))
                    wired.start();
            });
            end == 0       ? wired.microscope.dropConnections()
                : end == 1 ? wired.start()
                           : wired.link.disconnected();
            SPIN_VERIFY(wired.isUpAgain());
            QCOMPARE(wired.events.count("connecting data channel..."), 1);
            wired.microscope.scan(scanData(0, "\x07"));
            SPIN_COMPARE(wired.events.last(), QString("image 07"));
        }
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
