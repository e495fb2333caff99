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
        note(&tescan::setStatus, [this](const QString &text) { events << text; });
        note(&tescan::imageChanged, [this] { events << "imageChanged"; });
        note(&tescan::stageMoved, [this] { events << "stageMoved"; });
        note(&tescan::zoomed, [this] { events << "zoomed"; });
        note(&tescan::detectorInfo, [this](const QString &text, int index) {
            events << QString("detectors %1 %2").arg(text).arg(index);
        });
    }
    template <typename Signal, typename Slot> void note(Signal signal, Slot slot)
    {
        QObject::connect(&link, signal, &link, slot);
    }
    void start() { link.connectToSEM("127.0.0.1", microscope.port(), 0); }
    bool up()
    {
        start();
        return spinUntil([this] {
            return link.linkState == tescan::LinkUp && microscope.data
                && microscope.commands().contains("TcpGetSWVersion");
        });
    }
    void forget()
    {
        events.clear();
        microscope.forget();
    }
    /// The levels of the frame row by row, in hexadecimal.
    QByteArray grey() const
    {
        QByteArray levels;
        for (int i = 0; i < link.scanSize * link.scanSize; ++i) {
            const QRgb pixel = link.image.pixel(i % link.scanSize, i / link.scanSize);
            const int level = qRed(pixel);
            levels +=
                pixel == qRgb(level, level, level) ? QByteArray(1, char(level)).toHex() : "??";
        }
        return levels;
    }

    FakeMicroscope microscope;
    tescan link;
    QStringList events;
};

using wire::message;
using wire::position;
using wire::real;
using wire::scanData;
using wire::text;
const QByteArray barrier = message("TcpGetVersion"); // a header and nothing behind it
const QString barrierSeen = "info: Version: ";
} // namespace

class TestLink : public QObject {
    Q_OBJECT

private slots:
    void bytesOnTheWire_data();
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
    void farBelowAFrameOfOnePixel();
    void allPixelsBeforeTheFirstSignal();
    void hostRunsAnEventLoopOfItsOwn();
    void keptImageNeverChanges();
    void oversizedMessages();
    void nothingLeftOfTornMessages();
    void failedConnections();
    void connectsAfterAHangingAttempt();
    void frameStore();
};

void TestLink::bytesOnTheWire_data()
{
    QTest::addColumn<Act>("build");
    QTest::addColumn<QByteArray>("expected");
    const auto row = [](const char *name, Act build, QByteArray expected) {
        QTest::newRow(name) << build << expected;
    };
    const auto string = [&row](const char *name, const QString &sent, QByteArray body) {
        row(
            name,
            [sent](tescan &link) {
                link.createHeader("SixteenCharacter");
                link.sendString(sent);
                link.send();
            },
            message("SixteenCharacter", QByteArray::fromHex(body)));
    };
    row(
        "no values", [](tescan &link) { link.GetViewField(); },
        "GetViewField" + QByteArray(20, '\0'));
    row(
        "15 characters", [](tescan &link) { link.TcpGetSWVersion(); },
        "TcpGetSWVersion" + QByteArray(17, '\0'));
    row(
        "uint", [](tescan &link) { link.TcpRegDataPort(40154); },
        message("TcpRegDataPort", QByteArray::fromHex("da9c0000")));
    row(
        "flags of the moment the header is made",
        [](tescan &link) {
            link.headerFlags = 9;
            link.createHeader("DtAutoSignal");
            link.headerFlags = 0;
            link.sendInt(-2);
            link.send();
        },
        "DtAutoSignal"
            + QByteArray::fromHex("00000000 04000000 0000000000 09 000000000000 feffffff"));
    row(
        "real", [](tescan &link) { link.SetViewField(0.0015f); },
        message("SetViewField", wire::uint32(16) + "1.500000e-03" + QByteArray(4, '\0')));
    row(
        "long real", [](tescan &link) { link.StgMoveTo(-12.5e100, 0, 0, 0, 12.5); },
        message("StgMoveTo",
                wire::uint32(16) + "-1.250000e+101" + QByteArray(2, '\0') + text("0.000000e+00")
                    + text("0.000000e+00") + text("0.000000e+00") + text("1.250000e+01")));
    string("empty text", "", "04000000 00000000");
    string("3 characters", "abc", "04000000 61626300");
    string("4 characters", "abcd", "08000000 6162636400000000");
    string("Latin-1 and beyond", QString::fromUtf8("\u00b5\u00ff\u20ac"), "04000000 b5ff0000");
}

void TestLink::bytesOnTheWire()
{
    QFETCH(Act, build);
    QFETCH(QByteArray, expected);
    QLocale::setDefault(QLocale(QLocale::German));
    Wired wired;
    QVERIFY(wired.up());
    wired.forget();
    build(wired.link);
    QLocale::setDefault(QLocale::c());
    SPIN_COMPARE(wired.microscope.received.size(), 1);
    QCOMPARE(wired.microscope.received.first().bytes.toHex(' '), expected.toHex(' '));
}

void TestLink::connecting()
{
    Wired wired;
    wired.microscope.answers["TcpGetVersion"] = text("1.2");
    wired.microscope.answers["TcpGetSWVersion"] = text("7 \xb5");
    wired.microscope.answers["DtEnumDetectors"] = text("det.0.name=SE\ndet.0.detector=0");
    wired.link.triggerTimer(); // before the link is up it polls nobody
    QVERIFY(wired.up());
    wired.link.triggerTimer();
    SPIN_COMPARE(wired.microscope.received.size(), 6);
    QCOMPARE(wired.microscope.received.at(4).name, QByteArray("StgGetPosition"));
    QCOMPARE(wired.microscope.received.at(5).name, QByteArray("GetViewField"));
    QCOMPARE(wired.microscope.commands(),
             QStringList({ QString("TcpRegDataPort %1").arg(wired.link.dataPort), "DtEnumDetectors",
                           "TcpGetVersion", "TcpGetSWVersion" }));
    QVERIFY(wired.link.dataPort >= 40154 && wired.link.dataPort <= 46152
            && wired.link.dataPort % 2 == 0);
    SPIN_COMPARE(wired.events.size(), 6);
    // The data channel races the replies on the control channel.
    QVERIFY(wired.events.removeOne("detectors det.0.name=SE\ndet.0.detector=0 0"));
    QCOMPARE(wired.events.join('|'),
             QString::fromLatin1("connecting...|connecting data channel...|connected|"
                                 "info: Version: 1.2|info: SW-Version: 7 \xb5"));

    wired.forget();
    wired.microscope.dropConnections();
    SPIN_VERIFY(wired.link.controlSocket->state() == QAbstractSocket::UnconnectedState
                && wired.link.dataSocket->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(wired.events.toSet(), QSet<QString>({ "disconnected..." }));
    QCOMPARE(wired.link.linkState, 0);
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
    wired.microscope.reply(message("TcpRegDataPort", wire::uint32(0)));
    SPIN_VERIFY(wired.link.linkState == tescan::LinkUp);
    wired.link.triggerTimer();
    SPIN_COMPARE(wired.microscope.polls(), 3);
    QCOMPARE(wired.link.dataPort, port + 4);
}

void TestLink::scanSequences_data()
{
    QTest::addColumn<Act>("act");
    QTest::addColumn<bool>("scanning");
    QTest::addColumn<QStringList>("commands");
    QTest::addColumn<QStringList>("statuses");
    const auto row = [](const char *name, Act act, bool scanning, QStringList commands,
                        QStringList statuses) {
        QTest::newRow(name) << act << scanning << commands << statuses;
    };
    const QString scan = "ScScanXY[9] 0 4 4 0 0 3 3 0 500";
    const QStringList start = { "ScStopScan", "DtSelect 0 0", "DtEnable 0 1 8", "DtAutoSignal[9] 0",
                                scan };
    const auto starting = [](tescan &link) { link.startScan(); };
    row("start", starting, false, start, { "optimizing contrast" });
    row("start again", starting, true, start, { "optimizing contrast" });
    const auto stopping = [](tescan &link) { link.stopScan(); };
    row("stop", stopping, true, { "ScStopScan" }, { "scanning stoped" });
    row("stop while stopped", stopping, false, { "ScStopScan" }, { "scanning stoped" });
    const QStringList select = { "DtGetGainBlack 0", "ScStopScan", "DtSelect 0 2",
                                 "DtEnable 0 1 8" };
    const auto detector = [](const char *text) {
        return [text](tescan &link) { link.setDetector(text); };
    };
    row("detector", detector(" 2 - BSE"), false, select, { "set detector" });
    row("detector while scanning", detector("2 - BSE - low"), true,
        select + QStringList({ "DtAutoSignal[9] 0", scan }), { "set detector" });
    row("detector: the same", detector("0 - SE"), true, {}, {});
    row("detector: no number", detector("SE - 2"), true, {}, {}); // reads as 0, the current one
    row("detector: no dash", detector("2"), true, {}, {});
    const auto dwell = [](const char *text) {
        return [text](tescan &link) { link.setDewellTime(text); };
    };
    row("dwell", dwell("100000ns"), false, { "ScStopScan" }, { "adjust dwell" });
    row("dwell while scanning", dwell("100000ns"), true,
        { "ScStopScan", "ScScanXY[9] 0 4 4 0 0 3 3 0 100000" }, { "adjust dwell" });
    row("dwell: the same", dwell("500ns"), true, {}, {});
    row("dwell: no unit", dwell("1000"), true, {}, {});
    const auto size = [](int size) { return [size](tescan &link) { link.setImageSize(size); }; };
    row("size", size(7), false, { "ScStopScan" }, { "adjust size" });
    row("size while scanning", size(7), true, { "ScStopScan", "ScScanXY[9] 0 7 7 0 0 6 6 0 500" },
        { "adjust size" });
    row("size: the same", size(4), true, {}, {});
    row("size: none", size(0), true, {}, {});
    row("size: negative", size(-7), true, {}, {});
    row("reconnecting", [](tescan &link) { link.connectedData(); }, false,
        { "TcpGetVersion", "TcpGetSWVersion" }, { "connected" });
    row("reconnecting while scanning", [](tescan &link) { link.connectedData(); }, true,
        QStringList({ "TcpGetVersion", "TcpGetSWVersion" }) + start,
        { "connected", "start scanning" });
}

void TestLink::scanSequences()
{
    QFETCH(Act, act);
    QFETCH(bool, scanning);
    Wired wired;
    QVERIFY(wired.up());
    wired.link.scanning = scanning;
    wired.forget();
    act(wired.link);
    wired.link.triggerTimer(); // its polls end the wait, and show that the flags are back to 0
    SPIN_COMPARE(wired.microscope.polls(), 1);
    SPIN_COMPARE(wired.microscope.received.last().name, QByteArray("GetViewField"));
    QCOMPARE(wired.microscope.received.last().flags, 0);
    QTEST(wired.microscope.commands(), "commands");
    QTEST(wired.events, "statuses");
    QCOMPARE(wired.link.image.size(), QSize(wired.link.scanSize, wired.link.scanSize));
    QCOMPARE(wired.link.image.pixel(3, 3), 0xFF646464);
}

void TestLink::replies_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QStringList>("events");
    QTest::addColumn<QByteArray>("output");
    const auto row = [](const char *name, QByteArray bytes, QStringList events,
                        QByteArray output = "") {
        QTest::newRow(name) << bytes << events << output;
    };
    const QByteArray viewField = message("GetViewField", real(2));
    row("gain and black", message("DtGetGainBlack", text("12") + text("34.5")), {},
        "DtGetGainBlack gain: 12\nDtGetGainBlack black: 34.5\n");
    row("working distance", message("GetWD", real(12.5)), {}, "working distance: 12.500000\n");
    row("software version", message("TcpGetSWVersion", text("")), { "info: SW-Version: " });
    row("detectors", message("DtEnumDetectors", text("a=b\n")), { "detectors a=b\n 0" });
    row("scan", message("ScScanXY", wire::uint32(1)), {});
    row("no handler", message("ScStopScan"), {}, "unsupported responce ScStopScan size: 0\n");
    row("case of the name", message("getviewfield", real(7)), {},
        "unsupported responce getviewfield size: 28\n");
    row("16 characters", message("SixteenCharacter", "body"), {},
        "unsupported responce SixteenCharacter size: 4\n");
    row("stage before a view field", message("StgGetPosition", position(1, 2)), {});
    row("view field", viewField, { "zoomed" });
    row("view field unchanged", viewField + viewField, { "zoomed" });
    row("stage", viewField + message("StgGetPosition", position(1, 2)), { "zoomed", "stageMoved" });
    row("fourth value", viewField + message("StgGetPosition", position(0, 0, 0, 1, 0)),
        { "zoomed", "stageMoved" });
    row("third and fifth value", viewField + message("StgGetPosition", position(0, 0, 1, 0, 1)),
        { "zoomed" });
    row("no number", viewField + message("GetViewField", text("wide")), { "zoomed", "zoomed" });
    row("comma", viewField + message("GetViewField", text("2,0")), { "zoomed", "zoomed" });
    row("field longer than its text",
        viewField
            + message("StgGetPosition",
                      wire::uint32(8) + QByteArray("0\0xxxxxx", 8) + real(0) + real(0) + real(0)
                          + real(0)),
        { "zoomed" });
    row("no body", viewField + message("StgGetPosition"), { "zoomed" });
    row("length beyond everything",
        message("TcpGetSWVersion", wire::uint32(0xFFFFFFFF) + QByteArray(4, '\0')),
        { "info: SW-Version: " });
}

void TestLink::replies()
{
    QFETCH(QByteArray, bytes);
    Wired wired;
    QVERIFY(wired.up());
    wired.forget();
    StandardOutput output;
    wired.microscope.reply(bytes + barrier);
    SPIN_VERIFY(wired.events.contains(barrierSeen));
    const QByteArray printed = output.text();
    wired.events.removeOne(barrierSeen);
    QTEST(wired.events, "events");
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
        QSignalSpy arrived(wired.link.controlSocket, &QTcpSocket::readyRead);
        wired.events.clear();
        wired.microscope.reply(conversation.left(cut));
        QVERIFY(spinUntil([&] { return !arrived.isEmpty(); }));
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
        QSignalSpy arrived(wired.link.dataSocket, &QTcpSocket::readyRead);
        wired.events.clear();
        wired.microscope.scan(bytes.left(cut));
        QVERIFY(spinUntil([&] { return !arrived.isEmpty(); }));
        wired.microscope.scan(bytes.mid(cut));
        SPIN_COMPARE(wired.events, QStringList({ "imageChanged", "imageChanged", "imageChanged" }));
        QCOMPARE(wired.grey(), frame.toHex());
    }
}

void TestLink::pixels_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QByteArray>("levels"); // of a frame of 3 x 3 pixels, empty ones are 64
    QTest::addColumn<QStringList>("events");
    const auto row = [](const char *name, QByteArray bytes, QByteArray levels, QString events) {
        QTest::newRow(name) << bytes << levels << events.split(' ', Qt::SkipEmptyParts);
    };
    const auto run = [](quint32 index, const char *levels) {
        return scanData(index, QByteArray::fromHex(levels));
    };
    const QString changed = "imageChanged";
    row("levels", run(0, "0080ff07"), "0080ff076464646464", "scanning... imageChanged");
    row("wraps into the next row", run(5, "0102"), "646464646401026464", changed);
    row("wraps to the top", run(8, "0102"), "026464646464646401", changed);
    row("more than a frame", run(0, "0102030405060708090a0b"), "0a0b03040506070809",
        "scanning... imageChanged");
    row("below the frame", run(10, "010203"), "646402036464646464", changed);
    row("below the frame, end of row", run(11, "0102"), "026464646464646464", changed);
    row("far below", run(0xFFFFFFFF, "0102"), "640264646464646464", changed);
    row("no pixels", run(3, ""), "646464646464646464", changed);
    row("integers cut short", message("ScData", QByteArray(12, '\1')), "646464646464646464",
        changed);
    row("integers missing, then a run", message("ScData", QByteArray(4, '\1')) + run(4, "05"),
        "646464640564646464", "imageChanged imageChanged");
    row("garbage drops the rest", run(1, "05") + message("Garbage") + run(0, "06"),
        "640564646464646464", changed);
    row("a name that only begins alike", message("ScDataX") + run(0, "06"), "646464646464646464",
        "");
}

void TestLink::pixels()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QStringList, events);
    Wired wired(3);
    QVERIFY(wired.up());
    wired.link.scanning = true;
    wired.forget();
    StandardOutput output;
    const QSignalSpy arrived(wired.link.dataSocket, &QTcpSocket::readyRead);
    wired.microscope.scan(bytes);
    SPIN_VERIFY(!arrived.isEmpty()
                && wired.events.count("imageChanged") >= events.count("imageChanged"));
    const QByteArray printed = output.text();
    QTEST(wired.events, "events");
    QTEST(wired.grey(), "levels");
    if (!bytes.contains("Garbage"))
        return;
    QVERIFY(printed.startsWith("0: 71 G\n1: 97 a\n"));
    QVERIFY(printed.endsWith("31: 0 " + QByteArray(1, '\0') + "\ncommand data Garbage\n"));
    // A header alone waits for one byte more.
    wired.microscope.scan(scanData(0, "\x09") + message("Garbage"));
    SPIN_COMPARE(wired.grey().left(2), QByteArray("09"));
    SPIN_COMPARE(wired.link.dataBuffer.size(), 32);
}

void TestLink::farBelowAFrameOfOnePixel()
{
    Wired wired(1);
    QVERIFY(wired.up());
    wired.microscope.scan(scanData(0x9C000000, "\x01\x02"));
    SPIN_COMPARE(wired.grey(), QByteArray("02"));
}

void TestLink::allPixelsBeforeTheFirstSignal()
{
    Wired wired(2);
    QVERIFY(wired.up());
    QList<QByteArray> seen;
    wired.note(&tescan::imageChanged, [&] { seen << wired.grey(); });
    wired.microscope.scan(scanData(0, "\1\2") + scanData(2, "\3") + scanData(3, "\4"));
    SPIN_COMPARE(seen, QList<QByteArray>({ "01020304", "01020304", "01020304" }));
}

void TestLink::hostRunsAnEventLoopOfItsOwn()
{
    Wired wired(1024);
    QVERIFY(wired.up());
    wired.forget();
    // A message box, say, that stays until more has arrived than the sockets take unread.
    wired.note(&tescan::imageChanged, [&] {
        if (wired.events.count("imageChanged") > 1)
            return;
        for (int i = 0; i < 20; ++i)
            wired.microscope.scan(scanData(i * 50000, QByteArray(50000, char(i))));
        QVERIFY(spinUntil([&] { return wired.link.dataSocket->bytesAvailable() > 100000; }));
    });
    wired.microscope.scan(scanData(0, "x"));
    SPIN_COMPARE(wired.events.count("imageChanged"), 21);
    wired.note(&tescan::zoomed, [&] {
        if (wired.events.count("zoomed") > 1)
            return;
        wired.microscope.reply(message("GetViewField", real(2)));
        QVERIFY(spinUntil([&] { return wired.link.controlSocket->bytesAvailable() > 0; }));
    });
    wired.microscope.reply(message("GetViewField", real(1)));
    SPIN_COMPARE(wired.events.count("zoomed"), 2);
}

void TestLink::keptImageNeverChanges()
{
    Wired wired(64);
    QVERIFY(wired.up());
    QSet<const uchar *> frames;
    QImage kept;
    for (int round = 0; round < 40; ++round) {
        kept = wired.link.image;
        frames.insert(kept.constBits());
        const QImage before = kept.copy();
        wired.microscope.scan(scanData(round * 100, QByteArray(150, char(round + 1))));
        SPIN_COMPARE(wired.events.count("imageChanged"), round + 1);
        QCOMPARE(kept, before);
        QCOMPARE(
            qRed(wired.link.image.pixel((round * 100 + 149) % 64, (round * 100 + 149) / 64 % 64)),
            round + 1);
    }
    // A host that keeps the last frame it fetched makes the link change between two, not copy.
    QVERIFY2(frames.size() <= 3, qPrintable(QString::number(frames.size())));
    wired.link.setImageSize(8);
    QCOMPARE(kept.width(), 64);
}

void TestLink::oversizedMessages()
{
    Wired wired;
    QVERIFY(wired.up());
    wired.forget();
    StandardOutput output;
    // The size would wrap to a small number in a sum of 32 bits.
    wired.microscope.reply(wire::header("TcpGetSWVersion", 0xFFFFFFF0) + text("wrapped") + barrier);
    for (int i = 0; i < 8; ++i) {
        wired.microscope.reply(QByteArray(1 << 20, 'x'));
        SPIN_COMPARE(wired.microscope.control->bytesToWrite(), qint64(0));
    }
    wired.microscope.dropConnections();
    SPIN_VERIFY(wired.link.controlSocket->state() == QAbstractSocket::UnconnectedState);
    QCOMPARE(wired.events.toSet(), QSet<QString>({ "disconnected..." }));
    QVERIFY(wired.link.receiveBuffer.size() < 4 << 20);
    // One that does end is passed over, and what follows is handled.
    QVERIFY(wired.up());
    wired.microscope.reply(wire::header("GetWD", 3 << 20) + QByteArray(3 << 20, 'x') + barrier);
    SPIN_VERIFY(wired.events.contains(barrierSeen));
    QCOMPARE(output.text(),
             QByteArray("unsupported responce TcpGetSWVersion size: -16\n"
                        "unsupported responce GetWD size: 3145728\n"));
}

void TestLink::nothingLeftOfTornMessages()
{
    Wired wired;
    QVERIFY(wired.up());
    const QByteArray reply = message("DtEnumDetectors", text("list"));
    const QByteArray run = scanData(0, "\1\2\3\4");
    for (int cut : { 1, 31, 32, 33, 40, 43 }) {
        QSignalSpy control(wired.link.controlSocket, &QTcpSocket::readyRead);
        QSignalSpy data(wired.link.dataSocket, &QTcpSocket::readyRead);
        wired.microscope.reply(reply.left(cut));
        wired.microscope.scan(run.left(cut));
        SPIN_VERIFY(!control.isEmpty() && !data.isEmpty());
        wired.microscope.dropConnections();
        SPIN_VERIFY(wired.link.controlSocket->state() == QAbstractSocket::UnconnectedState);
        wired.forget();
        QVERIFY(wired.up());
        wired.forget();
        wired.microscope.reply(reply);
        wired.microscope.scan(run);
        SPIN_COMPARE(wired.events.toSet(), QSet<QString>({ "detectors list 0", "imageChanged" }));
    }
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
    wired.forget();
    wired.microscope.dataServer.listen(QHostAddress::LocalHost, wired.microscope.port() + 1);
    QVERIFY(wired.up());
    QVERIFY(wired.events.contains("connected"));
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
    QVERIFY(wired.up());
    QCOMPARE(wired.events.mid(0, 2), QStringList({ "connecting...", "connecting..." }));
    QVERIFY(wired.events.contains("connected"));
}

void TestLink::frameStore()
{
    std::mt19937 random(4711);
    const auto below = [&random](int limit) { return int(random() % unsigned(limit)); };
    struct Kept {
        QImage image;
        QVector<quint32> pixels;
    };
    for (int round = 0; round < 200; ++round) {
        const int edge = 1 + below(20);
        QVector<quint32> expected(edge * edge, 0xFF646464);
        QImage front(edge, edge, QImage::Format_RGB32);
        front.fill(0xFF646464);
        FrameStore store;
        QList<Kept> kept;
        const auto equal = [](const QImage &image, const QVector<quint32> &pixels) {
            return std::equal(pixels.begin(), pixels.end(),
                              reinterpret_cast<const quint32 *>(image.constBits()));
        };
        for (int step = 0; step < 150; ++step) {
            if (below(3) == 0)
                kept.append({ front, expected });
            while (kept.size() > below(4))
                kept.removeAt(below(kept.size()));
            store.makeWritable(&front);
            for (int runs = below(round % 2 ? 3 : 100); runs > 0; --runs) {
                const int first = below(edge * edge);
                const int count = 1 + below(edge * edge - first);
                quint32 *pixels = reinterpret_cast<quint32 *>(front.bits()) + first;
                std::fill(pixels, pixels + count, quint32(step));
                std::fill_n(expected.begin() + first, count, quint32(step));
                store.written(first, count);
            }
            QVERIFY(equal(front, expected));
            for (const Kept &image : kept)
                QVERIFY(equal(image.image, image.pixels));
        }
    }
}

QTEST_GUILESS_MAIN(TestLink)
#include "tst_link.moc"
