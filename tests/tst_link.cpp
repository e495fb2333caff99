#include "tests/standardoutput.h"
#include "tests/wiredlink.h"

#include <QtTest>

#include <functional>
#include <sys/socket.h>

namespace {
using namespace wire;
const QByteArray barrier = message("TcpGetVersion"); // a header and nothing behind it
const QString barrierSeen = "info: Version: ";

QByteArray run(quint32 index, const char *levels)
{
    return scanData(index, QByteArray::fromHex(levels));
}
} // namespace

class TestLink : public QObject {
    Q_OBJECT

private slots:
    void bytesOnTheWire();
    void connecting();
    void failedConnections();
    void scanSequences();
    void received_data();
    void received();
    void cutAnywhere();
    void announcedFourGiB();
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
    SPIN_COMPARE(microscope.received.size(), 2);
    const int port = wired.link.dataPort;
    QVERIFY(port >= 40154 && port <= 46152 && port % 2 == 0);
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

void TestLink::received_data()
{
    QTest::addColumn<QByteArray>("replies");
    QTest::addColumn<QByteArray>("scan"); // for a frame of 3 x 3 pixels, empty ones are 64
    QTest::addColumn<QString>("events");
    QTest::addColumn<QByteArray>("output");
    const auto replies = [](const char *name, QByteArray bytes, const char *events,
                            QByteArray output = "") {
        QTest::newRow(name) << bytes << QByteArray() << events << output;
    };
    const QByteArray viewField = message("GetViewField", real(2));
    const QByteArray longField = uint32(8) + QByteArray("0\0xxxxxx", 8);
    replies("gain and black", message("DtGetGainBlack", text("12") + text("34.5")), "",
            "DtGetGainBlack gain: 12\nDtGetGainBlack black: 34.5\n");
    replies("no handler", message("ScStopScan") + message("SixteenCharacter", "body"), "",
            "unsupported responce ScStopScan size: 0\n"
            "unsupported responce SixteenCharacter size: 4\n");
    replies("stage before a view field", message("StgGetPosition", position(1, 2)), "");
    replies("view field twice", viewField + viewField, "zoomed");
    replies("stage", viewField + message("StgGetPosition", position(1, 2)), "zoomed|stageMoved");
    replies("comma", viewField + message("GetViewField", text("2,0")), "zoomed|zoomed");
    replies("field longer than its text",
            viewField + message("StgGetPosition", longField + real(0).repeated(4)), "zoomed");
    replies("length beyond everything",
            message("TcpGetSWVersion", uint32(0xFFFFFFFF) + QByteArray(4, '\0')),
            "info: SW-Version: ");
    replies("oversized", header("GetWD", 3 << 20) + QByteArray(3 << 20, 'x'), "",
            "unsupported responce GetWD size: 3145728\n");

    const auto scan = [](const char *name, QByteArray bytes, const char *events,
                         QByteArray output = "") {
        QTest::newRow(name) << QByteArray() << bytes << events << output;
    };
    scan("levels", run(0, "0080ff07"), "scanning...|image 0080ff076464646464");
    scan("next row", run(5, "0102"), "image 646464646401026464");
    scan("top", run(8, "0102"), "image 026464646464646401");
    scan("frame", run(0, "0102030405060708090a0b"), "scanning...|image 0a0b03040506070809");
    scan("below", run(11, "0102"), "image 026464646464646464");
    scan("far below", run(0xFFFFFFFF, "0102"), "image 640264646464646464");
    scan("cut short", message("ScData", "\1\1\1\1") + run(4, "05"),
         "image 646464640564646464|image 646464640564646464");
    scan("all pixels before the first signal", run(1, "0102") + run(4, "03") + run(6, "04"),
         "image 640102640364046464|image 640102640364046464|image 640102640364046464");
    const QByteArray garbage = message("Garbage\xff");
    QByteArray dump;
    for (int i = 0; i < garbage.size(); ++i)
        dump += QByteArray::number(i) + ": " + QByteArray::number(int(garbage.at(i))) + ' '
            + garbage.at(i) + '\n';
    scan("garbage", run(1, "05") + garbage + run(0, "06"), "image 640564646464646464",
         dump + "command data Garbage\xff\n");
}

void TestLink::received()
{
    QFETCH(QByteArray, replies);
    QFETCH(QByteArray, scan);
    QFETCH(QString, events);
    Wired wired(3);
    QVERIFY(wired.up());
    wired.link.scanning = true;
    StandardOutput output;
    wired.microscope.reply(replies + barrier);
    wired.microscope.scan(scan);
    SPIN_VERIFY(wired.events.removeOne(barrierSeen));
    SPIN_COMPARE(wired.events.join('|'), events);
    QTEST(output.text(), "output");
    wired.microscope.scan(run(8, "ee")); // whatever came before
    SPIN_VERIFY(wired.events.join('|').endsWith("ee"));
}

void TestLink::cutAnywhere()
{
    const QByteArray replies = message("GetViewField", real(1)) + message("Unknown", "12345")
        + message("StgGetPosition", position(1, 2)) + message("DtEnumDetectors", text("list"))
        + message("GetViewField", real(2)) + message("StgGetPosition", position(2, 2)) + barrier;
    const QStringList expected = { "zoomed", "stageMoved", "detectors list 0",
                                   "zoomed", "stageMoved", barrierSeen };
    Wired wired;
    QVERIFY(wired.up());
    StandardOutput output;
    for (int cut = 1; cut < replies.size(); ++cut) {
        const QByteArray first(5, char(cut)), second(5, char(cut + 1)), third(5, char(cut + 2));
        const QByteArray scan = scanData(0, first) + scanData(5, second) + scanData(10, third);
        const int length = scan.size() / 3, scanCut = cut % scan.size();
        const QSignalSpy arrived(wired.link.controlSocket, &QTcpSocket::readyRead);
        wired.events.clear();
        wired.microscope.reply(replies.left(cut));
        wired.microscope.scan(scan.left(scanCut));
        SPIN_VERIFY(!arrived.isEmpty() && wired.link.dataBuffer.size() == scanCut % length
                    && wired.events.filter("image").size() == scanCut / length);
        wired.microscope.reply(replies.mid(cut));
        wired.microscope.scan(scan.mid(scanCut));
        SPIN_COMPARE(wired.events.size(), expected.size() + 3);
        const QStringList images = wired.events.filter("image");
        QCOMPARE(images.value(2), "image " + (first + second + third).toHex() + "64");
        for (const QString &image : images)
            wired.events.removeOne(image);
        QVERIFY2(wired.events == expected, qPrintable(QString("cut at %1").arg(cut)));
    }
    QCOMPARE(output.text().count("unsupported responce Unknown size: 5\n"), replies.size() - 1);
}

void TestLink::announcedFourGiB()
{
    Wired wired;
    QVERIFY(wired.up());
    StandardOutput output;
    // The size would wrap to a small number in a sum of 32 bits.
    wired.microscope.reply(header("TcpGetSWVersion", 0xFFFFFFF0) + text("wrapped") + barrier
                           + QByteArray(8 << 20, 'x'));
    SPIN_COMPARE(wired.microscope.control->bytesToWrite(), qint64(0));
    SPIN_COMPARE(output.text(), QByteArray("unsupported responce TcpGetSWVersion size: -16\n"));
    QVERIFY(wired.link.receiveBuffer.size() < 4 << 20);
    QVERIFY(wired.events.isEmpty());
    QVERIFY(wired.up());
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
