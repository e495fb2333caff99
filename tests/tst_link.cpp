#include "sem/framestore.h"
#include "sem/tescan.h"
#include "tests/fakemicroscope.h"
#include "tests/standardoutput.h"

#include <QtTest>

#include <functional>
#include <random>
#include <sys/socket.h>

using Act = std::function<void(tescan &)>;
Q_DECLARE_METATYPE(Act)

namespace {

/// A link whose polls only come when a test asks for them, and the microscope it connects to.
struct Wired {
    explicit Wired(int scanSize = 4)
        : link(0, 500, scanSize)
    {
        link.close();
        QObject::connect(&link, &tescan::setStatus, &link,
                         [this](const QString &text) { events << text; });
        QObject::connect(&link, &tescan::imageChanged, &link, [this] { events << "imageChanged"; });
        QObject::connect(&link, &tescan::stageMoved, &link, [this] { events << "stageMoved"; });
        QObject::connect(&link, &tescan::zoomed, &link, [this] { events << "zoomed"; });
        QObject::connect(&link, &tescan::detectorInfo, &link,
                         [this](const QString &text, int index) {
                             events << QString("detectors %1 %2").arg(text).arg(index);
                         });
    }
    void start() { link.connectToSEM("127.0.0.1", microscope.port(), 0); }
    /// Connects, and forgets what was said until then.
    bool up()
    {
        start();
        const bool isUp = spinUntil([this] {
            return link.linkState == tescan::LinkUp && microscope.data
                && microscope.commands().contains("TcpGetSWVersion");
        });
        microscope.forget();
        events.clear();
        return isUp;
    }
    bool dropped()
    {
        microscope.dropConnections();
        return spinUntil([this] {
            return link.controlSocket->state() == QAbstractSocket::UnconnectedState
                && link.dataSocket->state() == QAbstractSocket::UnconnectedState;
        });
    }
    /// The levels of the frame row by row, in hexadecimal.
    QByteArray grey() const
    {
        QByteArray levels;
        for (int i = 0; i < link.scanSize * link.scanSize; ++i)
            levels += char(qRed(link.image.pixel(i % link.scanSize, i / link.scanSize)));
        return link.image.allGray() ? levels.toHex() : "coloured";
    }

    FakeMicroscope microscope;
    tescan link;
    QStringList events;
};

using namespace wire;
const QByteArray barrier = message("TcpGetVersion"); // a header and nothing behind it
const QString barrierSeen = "info: Version: ";
} // namespace

class TestLink : public QObject {
    Q_OBJECT

private slots:
    void bytesOnTheWire();
    void connecting();
    void registersAgainUntilAnswered();
    void scanSequences_data();
    void scanSequences();
    void replies_data();
    void replies();
    void repliesCutAnywhere();
    void scanDataCutAnywhere();
    void pixels_data();
    void pixels();
    void garbageOnTheDataChannel();
    void allPixelsBeforeTheFirstSignal();
    void keptImageNeverChanges();
    void oversizedMessages();
    void failedConnections();
    void connectsAfterAHangingAttempt();
    void frameStore();
};

void TestLink::bytesOnTheWire()
{
    QLocale::setDefault(QLocale(QLocale::German));
    Wired wired;
    QVERIFY(wired.up());
    wired.link.GetViewField();
    wired.link.TcpRegDataPort(40154);
    wired.link.headerFlags = 9; // those of the moment the header is made
    wired.link.createHeader("DtAutoSignal");
    wired.link.headerFlags = 0;
    wired.link.sendInt(-2);
    wired.link.send();
    wired.link.StgMoveTo(-12.5e100, 0.0015, 0, 0, 12.5);
    for (const char *latin1 : { "", "abc", "abcd", "\xb5\xff" }) {
        wired.link.createHeader("SixteenCharacter");
        wired.link.sendString(QString::fromLatin1(latin1));
        wired.link.send();
    }
    QLocale::setDefault(QLocale::c());
    const QByteArray longest = uint32(16) + "-1.250000e+101" + QByteArray(2, '\0');
    const auto sixteen = [](const char *hex) {
        return message("SixteenCharacter", QByteArray::fromHex(hex));
    };
    const QList<QByteArray> expected = {
        "GetViewField" + QByteArray(20, '\0'),
        message("TcpRegDataPort", QByteArray::fromHex("da9c0000")),
        "DtAutoSignal"
            + QByteArray::fromHex("00000000 04000000 0000000000 09 000000000000 feffffff"),
        message("StgMoveTo",
                longest + text("1.500000e-03") + text("0.000000e+00") + text("0.000000e+00")
                    + text("1.250000e+01")),
        sixteen("04000000 00000000"),
        sixteen("04000000 61626300"),
        sixteen("08000000 6162636400000000"),
        sixteen("04000000 b5ff0000"),
    };
    SPIN_COMPARE(wired.microscope.received.size(), expected.size());
    for (int i = 0; i < expected.size(); ++i)
        QCOMPARE(wired.microscope.received.at(i).toHex(' '), expected.at(i).toHex(' '));
}

void TestLink::connecting()
{
    Wired wired;
    wired.microscope.answers["TcpGetVersion"] = text("1.2");
    wired.microscope.answers["TcpGetSWVersion"] = text("7 \xb5");
    wired.microscope.answers["DtEnumDetectors"] = text("det.0.name=SE\ndet.0.detector=0");
    wired.link.triggerTimer(); // before the link is up it polls nobody
    wired.start();
    SPIN_COMPARE(wired.events.size(), 6);
    wired.link.triggerTimer();
    SPIN_COMPARE(wired.microscope.received.size(), 6);
    QVERIFY(wired.microscope.received.at(4).startsWith("StgGetPosition"));
    QVERIFY(wired.microscope.received.at(5).startsWith("GetViewField"));
    const int port = wired.link.dataPort;
    QCOMPARE(wired.microscope.commands(),
             QStringList({ QString("TcpRegDataPort %1").arg(port), "DtEnumDetectors",
                           "TcpGetVersion", "TcpGetSWVersion" }));
    QVERIFY(port >= 40154 && port <= 46152 && port % 2 == 0);
    // The data channel races the replies on the control channel.
    QVERIFY(wired.events.removeOne("detectors det.0.name=SE\ndet.0.detector=0 0"));
    QCOMPARE(wired.events.join('|'),
             QString::fromLatin1("connecting...|connecting data channel...|connected|"
                                 "info: Version: 1.2|info: SW-Version: 7 \xb5"));
    wired.events.clear();
    QVERIFY(wired.dropped());
    QCOMPARE(wired.events.toSet(), QSet<QString>({ "disconnected..." }));
}

void TestLink::registersAgainUntilAnswered()
{
    Wired wired;
    wired.microscope.answers.remove("TcpRegDataPort");
    wired.start();
    SPIN_COMPARE(wired.microscope.received.size(), 2);
    const int port = wired.link.dataPort;
    wired.link.triggerTimer();
    wired.link.triggerTimer();
    SPIN_COMPARE(wired.microscope.commands().mid(2),
                 QStringList({ QString("TcpRegDataPort %1").arg(port + 2),
                               QString("TcpRegDataPort %1").arg(port + 4) }));
    SPIN_COMPARE(wired.microscope.polls(), 2);
    wired.microscope.reply(message("TcpRegDataPort", uint32(0)));
    SPIN_VERIFY(wired.link.linkState == tescan::LinkUp);
    wired.link.triggerTimer();
    SPIN_COMPARE(wired.microscope.polls(), 3);
    QCOMPARE(wired.microscope.commands().filter("TcpRegDataPort").size(), 3);
}

void TestLink::scanSequences_data()
{
    QTest::addColumn<Act>("act");
    QTest::addColumn<QString>("status"); // the second one when scanning
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QStringList>("whenScanning"); // come on top
    const QStringList stop("ScStopScan");
    const QString optimize = "DtAutoSignal[9] 0";
    const QString scan = "ScScanXY[9] 0 4 4 0 0 3 3 0 ";
    const QStringList select = { "DtSelect 0 0", "DtEnable 0 1 8", optimize, scan + "500" };
    const auto row = [](const char *name, Act act, const char *status, QStringList commands,
                        QStringList whenScanning) {
        QTest::newRow(name) << act << status << commands << whenScanning;
    };
    row("start", &tescan::startScan, "optimizing contrast", stop + select, {});
    row("stop", &tescan::stopScan, "scanning stoped", stop, {});
    row("detector", [](tescan &link) { link.setDetector(" 2 - BSE - low"); }, "set detector",
        { "DtGetGainBlack 0", "ScStopScan", "DtSelect 0 2", "DtEnable 0 1 8" },
        { optimize, scan + "500" });
    row("dwell", [](tescan &link) { link.setDewellTime("100000ns"); }, "adjust dwell", stop,
        { scan + "100000" });
    row("size", [](tescan &link) { link.setImageSize(7); }, "adjust size", stop,
        { "ScScanXY[9] 0 7 7 0 0 6 6 0 500" });
    row("reconnecting", &tescan::connectedData, "connected|start scanning",
        { "TcpGetVersion", "TcpGetSWVersion" }, stop + select);
    const Act nothingNew = [](tescan &link) {
        for (const char *text : { "0 - SE", "SE - 2", "2" })
            link.setDetector(text); // what is no number reads as 0, the current one
        for (const char *text : { "500ns", "1000" })
            link.setDewellTime(text);
        for (int edge : { 4, 0, -7 })
            link.setImageSize(edge);
    };
    row("nothing new", nothingNew, "", {}, {});
}

void TestLink::scanSequences()
{
    QFETCH(Act, act);
    QFETCH(QString, status);
    QFETCH(QStringList, commands);
    QFETCH(QStringList, whenScanning);
    for (bool scanning : { false, true }) {
        Wired wired;
        QVERIFY(wired.up());
        wired.link.scanning = scanning;
        act(wired.link);
        wired.link.triggerTimer(); // its polls end the wait, and show that the flags are back to 0
        SPIN_COMPARE(wired.microscope.polls(), 1);
        SPIN_COMPARE(wired.microscope.received.last(), message("GetViewField"));
        QCOMPARE(wired.microscope.commands(), scanning ? commands + whenScanning : commands);
        QCOMPARE(wired.events, status.split('|', Qt::SkipEmptyParts).mid(0, scanning ? 2 : 1));
        QCOMPARE(wired.link.image.size(), QSize(wired.link.scanSize, wired.link.scanSize));
        QCOMPARE(wired.link.image.pixel(3, 3), 0xFF646464);
    }
}

void TestLink::replies_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("events");
    QTest::addColumn<QByteArray>("output");
    const auto row = [](const char *name, QByteArray bytes, const char *events,
                        QByteArray output = "") {
        QTest::newRow(name) << bytes << events << output;
    };
    const QByteArray viewField = message("GetViewField", real(2));
    const QByteArray longField = uint32(8) + QByteArray("0\0xxxxxx", 8);
    row("gain and black", message("DtGetGainBlack", text("12") + text("34.5")), "",
        "DtGetGainBlack gain: 12\nDtGetGainBlack black: 34.5\n");
    row("no handler", message("ScStopScan") + message("SixteenCharacter", "body"), "",
        "unsupported responce ScStopScan size: 0\nunsupported responce SixteenCharacter size: 4\n");
    row("stage before a view field", message("StgGetPosition", position(1, 2)), "");
    row("view field twice", viewField + viewField, "zoomed");
    row("stage", viewField + message("StgGetPosition", position(1, 2)), "zoomed|stageMoved");
    row("comma", viewField + message("GetViewField", text("2,0")), "zoomed|zoomed");
    row("field longer than its text",
        viewField + message("StgGetPosition", longField + real(0) + real(0) + real(0) + real(0)),
        "zoomed");
    row("length beyond everything",
        message("TcpGetSWVersion", uint32(0xFFFFFFFF) + QByteArray(4, '\0')), "info: SW-Version: ");
}

void TestLink::replies()
{
    QFETCH(QByteArray, bytes);
    Wired wired;
    QVERIFY(wired.up());
    StandardOutput output;
    wired.microscope.reply(bytes + barrier);
    SPIN_VERIFY(wired.events.contains(barrierSeen));
    const QByteArray printed = output.text();
    wired.events.removeOne(barrierSeen);
    QTEST(wired.events.join('|'), "events");
    QTEST(printed, "output");
}

void TestLink::repliesCutAnywhere()
{
    const QByteArray conversation = message("GetViewField", real(1)) + message("Unknown", "12345")
        + message("StgGetPosition", position(1, 2)) + message("DtEnumDetectors", text("list"))
        + message("GetViewField", real(2)) + message("StgGetPosition", position(2, 2)) + barrier;
    const QStringList expected = { "zoomed", "stageMoved", "detectors list 0",
                                   "zoomed", "stageMoved", barrierSeen };
    Wired wired;
    QVERIFY(wired.up());
    StandardOutput output;
    for (int cut = 1; cut < conversation.size(); ++cut) {
        const QSignalSpy arrived(wired.link.controlSocket, &QTcpSocket::readyRead);
        wired.events.clear();
        wired.microscope.reply(conversation.left(cut));
        SPIN_VERIFY(!arrived.isEmpty());
        wired.microscope.reply(conversation.mid(cut));
        SPIN_VERIFY(wired.events.contains(barrierSeen));
        QVERIFY2(wired.events == expected, qPrintable(QString("cut at %1").arg(cut)));
    }
    QCOMPARE(output.text().count("unsupported responce Unknown size: 5\n"),
             conversation.size() - 1);
}

void TestLink::scanDataCutAnywhere()
{
    Wired wired;
    QVERIFY(wired.up());
    for (int cut = 1, end = 2; cut < end; ++cut) {
        QByteArray frame;
        for (int i = 0; i < 16; ++i)
            frame.append(char(cut + 11 * i));
        const QByteArray bytes =
            scanData(0, frame.left(5)) + scanData(5, frame.mid(5, 8)) + scanData(13, frame.mid(13));
        end = bytes.size();
        const QSignalSpy arrived(wired.link.dataSocket, &QTcpSocket::readyRead);
        wired.events.clear();
        wired.microscope.scan(bytes.left(cut));
        SPIN_VERIFY(!arrived.isEmpty());
        wired.microscope.scan(bytes.mid(cut));
        SPIN_COMPARE(wired.events, QStringList({ "imageChanged", "imageChanged", "imageChanged" }));
        QCOMPARE(wired.grey(), frame.toHex());
    }
}

void TestLink::pixels_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("levels"); // of a frame of 3 x 3 pixels, empty ones are 64
    const auto run = [](quint32 index, const char *levels) {
        return scanData(index, QByteArray::fromHex(levels));
    };
    const QByteArray cutShort = message("ScData", QByteArray(4, '\1'));
    QTest::newRow("levels") << run(0, "0080ff07") << QByteArray("0080ff076464646464");
    QTest::newRow("next row") << run(5, "0102") << QByteArray("646464646401026464");
    QTest::newRow("top") << run(8, "0102") << QByteArray("026464646464646401");
    QTest::newRow("frame") << run(0, "0102030405060708090a0b") << QByteArray("0a0b03040506070809");
    QTest::newRow("below") << run(11, "0102") << QByteArray("026464646464646464");
    QTest::newRow("far below") << run(0xFFFFFFFF, "0102") << QByteArray("640264646464646464");
    QTest::newRow("cut short") << cutShort + run(4, "05") << QByteArray("646464640564646464");
}

void TestLink::pixels()
{
    QFETCH(QByteArray, bytes);
    Wired wired(3);
    QVERIFY(wired.up());
    wired.link.scanning = true;
    wired.microscope.scan(bytes);
    SPIN_COMPARE(wired.events.count("imageChanged"), bytes.count("ScData"));
    QTEST(wired.grey(), "levels");
    // The start of a frame is told.
    QCOMPARE(wired.events.contains("scanning..."), uint32(0) == bytes.mid(40, 4));
}

void TestLink::garbageOnTheDataChannel()
{
    Wired wired;
    QVERIFY(wired.up());
    StandardOutput output;
    wired.microscope.scan(scanData(1, "\5") + message("Garbage") + scanData(0, "\6"));
    SPIN_COMPARE(wired.events, QStringList("imageChanged"));
    const QByteArray printed = output.text();
    QCOMPARE(wired.grey().left(6), QByteArray("640564")); // what follows is dropped
    QVERIFY(printed.startsWith("0: 71 G\n1: 97 a\n"));
    QVERIFY(printed.endsWith("31: 0 " + QByteArray(1, '\0') + "\ncommand data Garbage\n"));
    wired.microscope.scan(scanData(0, "\x09"));
    SPIN_COMPARE(wired.grey().left(4), QByteArray("0905"));
}

void TestLink::allPixelsBeforeTheFirstSignal()
{
    Wired wired(2);
    QVERIFY(wired.up());
    QList<QByteArray> seen;
    QObject::connect(&wired.link, &tescan::imageChanged, &wired.link,
                     [&] { seen << wired.grey(); });
    wired.microscope.scan(scanData(0, "\1\2") + scanData(2, "\3") + scanData(3, "\4"));
    SPIN_COMPARE(seen, QList<QByteArray>({ "01020304", "01020304", "01020304" }));
}

void TestLink::keptImageNeverChanges()
{
    Wired wired(64);
    QVERIFY(wired.up());
    QSet<const uchar *> frames;
    for (int round = 0; round < 40; ++round) {
        const QImage kept = wired.link.image;
        const QImage before = kept.copy();
        frames.insert(kept.constBits());
        wired.microscope.scan(scanData(round * 100, QByteArray(150, char(round + 1))));
        SPIN_COMPARE(wired.events.count("imageChanged"), round + 1);
        QCOMPARE(kept, before);
        QVERIFY(wired.link.image != before);
    }
    // A host that keeps the last frame it fetched makes the link change between two, not copy.
    QVERIFY2(frames.size() <= 3, qPrintable(QString::number(frames.size())));
}

void TestLink::oversizedMessages()
{
    Wired wired;
    QVERIFY(wired.up());
    StandardOutput output;
    // The size would wrap to a small number in a sum of 32 bits.
    wired.microscope.reply(header("TcpGetSWVersion", 0xFFFFFFF0) + text("wrapped") + barrier);
    for (int i = 0; i < 8; ++i) {
        wired.microscope.reply(QByteArray(1 << 20, 'x'));
        SPIN_COMPARE(wired.microscope.control->bytesToWrite(), qint64(0));
    }
    QVERIFY(wired.dropped());
    QCOMPARE(wired.events.toSet(), QSet<QString>({ "disconnected..." }));
    QVERIFY(wired.link.receiveBuffer.size() < 4 << 20);
    // One that does end is passed over, and what follows is handled.
    QVERIFY(wired.up());
    wired.microscope.reply(header("GetWD", 3 << 20) + QByteArray(3 << 20, 'x') + barrier);
    SPIN_VERIFY(wired.events.contains(barrierSeen));
    QCOMPARE(output.text(),
             QByteArray("unsupported responce TcpGetSWVersion size: -16\n"
                        "unsupported responce GetWD size: 3145728\n"));
}

void TestLink::failedConnections()
{
    Wired wired;
    QTcpServer closed;
    closed.listen(QHostAddress::LocalHost);
    const int port = closed.serverPort();
    closed.close();
    wired.link.connectToSEM("127.0.0.1", port, 0);
    SPIN_VERIFY(wired.events.last().startsWith("connection failed: "));
    QCOMPARE(wired.events.size(), 2);
    wired.microscope.dataServer.close();
    wired.start();
    SPIN_VERIFY(wired.events.last().startsWith("data connection failed: "));
    wired.microscope.forget();
    wired.microscope.dataServer.listen(QHostAddress::LocalHost, wired.microscope.port() + 1);
    QVERIFY(wired.up());
}

void TestLink::connectsAfterAHangingAttempt()
{
    // A listener whose queue is full leaves further connections unanswered.
    QTcpServer full;
    full.listen(QHostAddress::LocalHost);
    ::listen(int(full.socketDescriptor()), 0);
    full.pauseAccepting();
    QTcpSocket fillers[3];
    for (QTcpSocket &filler : fillers)
        filler.connectToHost("127.0.0.1", full.serverPort());
    SPIN_VERIFY(fillers[0].state() == QAbstractSocket::ConnectedState);
    Wired wired;
    wired.link.connectToSEM("127.0.0.1", full.serverPort(), 0);
    QCOMPARE(wired.events, QStringList("connecting..."));
    QVERIFY(wired.up());
}

/// Against whole copies, with readers that keep any of the last frames.
void TestLink::frameStore()
{
    std::mt19937 random(4711);
    const auto below = [&random](int limit) { return int(random() % unsigned(limit)); };
    for (int round = 0; round < 200; ++round) {
        const int edge = 1 + below(20);
        QImage front(edge, edge, QImage::Format_RGB32);
        front.fill(0xFF646464);
        QImage expected = front.copy();
        FrameStore store;
        QByteArray bytes;
        QList<QPair<QImage, QImage>> kept;
        for (int step = 0; step < 150; ++step) {
            if (below(3) == 0)
                kept.append({ front, expected.copy() });
            while (kept.size() > below(4))
                kept.removeAt(below(kept.size()));
            store.makeWritable(&front);
            for (int runs = below(round % 2 ? 3 : 100); runs > 0; --runs) {
                const int first = below(edge * edge);
                const int count = 1 + below(edge * edge - first);
                const int offset = bytes.size();
                bytes.append(QByteArray(count, char(step)));
                store.write(&front, first, count, bytes, offset);
                std::fill_n(reinterpret_cast<QRgb *>(expected.bits()) + first, count,
                            qRgb(step, step, step));
            }
            if (below(4) == 0)
                store.forgetBytes();
            else
                store.finish(&bytes, bytes.size() - below(2));
            QCOMPARE(front, expected);
            for (const auto &image : kept)
                QCOMPARE(image.first, image.second);
        }
    }
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
