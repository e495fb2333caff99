// What the link makes of the bytes that come in on its two channels.

#include "tests/standardoutput.h"
#include "tests/wiredlink.h"

#include <QtTest>

#include <functional>

namespace {
using namespace wire;
const QByteArray barrier = message("TcpGetVersion"); // a header and nothing behind it
const QString barrierSeen = "info: Version: ";

QByteArray run(quint32 index, const char *levels)
{
    return scanData(index, QByteArray::fromHex(levels));
}
} // namespace

class TestReception : public QObject {
    Q_OBJECT

private slots:
    void received_data();
    void received();
    void cutAnywhere();
    void lingeringHandlers_data();
    void lingeringHandlers();
    void alwaysConnectingAnew_data();
    void alwaysConnectingAnew();
    void connectingAnewAtFrameStart();
    void headerAlone();
    void frameStart();
    void announcedFourGiB();
};

void TestReception::received_data()
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
    const QByteArray gainAndBlack = "DtGetGainBlack gain: 12\nDtGetGainBlack black: 34.5\n";
    replies("gain and black", message("DtGetGainBlack", text("12") + text("34.5")), "",
            gainAndBlack);
    replies("no handler", message("ScStopScan") + message("SixteenCharacter", "body"), "",
            "unsupported responce ScStopScan size: 0\n"
            "unsupported responce SixteenCharacter size: 4\n");
    replies("stage before a view field", message("StgGetPosition", position(1, 2)), "");
    replies("view field twice", viewField + viewField, "zoomed");
    replies("stage", viewField + message("StgGetPosition", position(1, 2)), "zoomed|stageMoved");
    replies("only values 3 and 4 of the stage",
            viewField + message("StgGetPosition", position(0, 0, 3, 0))
                + message("StgGetPosition", position(0, 0, 3, 4)),
            "zoomed|stageMoved");
    replies("comma", viewField + message("GetViewField", text("2,0")), "zoomed|zoomed");
    replies("field longer than its text",
            message("DtGetGainBlack", uint32(8) + QByteArray("12\0xxxxx", 8) + text("34.5")), "",
            gainAndBlack);
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

void TestReception::received()
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
    const int count = wired.events.size();
    wired.microscope.scan(run(8, "ee")); // whatever came before
    SPIN_VERIFY(wired.events.join('|').endsWith("ee"));
    QCOMPARE(wired.events.size(), count + 1);
}

void TestReception::cutAnywhere()
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

/// Whoever receives a signal may run an event loop of its own, or connect anew.
void TestReception::lingeringHandlers_data()
{
    QTest::addColumn<bool>("onData");
    QTest::addColumn<bool>("reconnects");
    QTest::newRow("control channel") << false << false;
    QTest::newRow("data channel") << true << false;
    QTest::newRow("control channel, connecting anew") << false << true;
    QTest::newRow("data channel, connecting anew") << true << true;
}

void TestReception::lingeringHandlers()
{
    QFETCH(bool, onData);
    QFETCH(bool, reconnects);
    Wired wired;
    QVERIFY(wired.up());
    const auto send = [&](int value) {
        onData ? wired.microscope.scan(scanData(0, QByteArray(1, char(value))))
               : wired.microscope.reply(message("GetViewField", real(value)));
    };
    const auto linger = [&] {
        if (wired.events.size() > 1)
            return;
        wired.events << "lingers";
        reconnects ? wired.start() : send(2);
        if (reconnects && onData && wired.up())
            send(2); // and the new channel announces it only now
        QTest::qWait(50); // what comes meanwhile has to wait
        wired.events << "returns";
    };
    QObject::connect(&wired.link, &tescan::imageChanged, linger);
    QObject::connect(&wired.link, &tescan::zoomed, linger);
    send(1);
    if (reconnects) {
        SPIN_VERIFY(wired.link.linkState == tescan::LinkUp
                    && wired.events.filter("image 02").isEmpty() != onData);
    } else {
        SPIN_COMPARE(wired.events.size(), 4);
        QCOMPARE(wired.events.mid(1, 2), QStringList({ "lingers", "returns" }));
    }
}

void TestReception::alwaysConnectingAnew_data()
{
    QTest::addColumn<bool>("patient");
    QTest::newRow("at once") << false;
    QTest::newRow("when both channels are closed") << true;
}

/// As a host does that wants to be connected whenever it can be.
void TestReception::alwaysConnectingAnew()
{
    QFETCH(bool, patient);
    Wired wired(1);
    const tescan &link = wired.link;
    QObject::connect(&link, &tescan::setStatus, [&](const QString &text) {
        const bool closed = link.controlSocket->state() == QAbstractSocket::UnconnectedState
            && link.dataSocket->state() == QAbstractSocket::UnconnectedState;
        if (text == "disconnected..." && (closed || !patient))
            wired.start();
    });
    QVERIFY(wired.up());
    for (const auto &end : { std::function<void()>([&] { wired.microscope.dropConnections(); }),
                             std::function<void()>([&] { wired.start(); }),
                             std::function<void()>([&] { wired.link.disconnected(); }) }) {
        end();
        wired.microscope.forget();
        SPIN_VERIFY(wired.link.linkState == tescan::LinkUp
                    && wired.microscope.commands().contains("TcpGetSWVersion"));
        QCOMPARE(wired.events.count("connecting data channel..."), 1);
        wired.events.clear();
        wired.microscope.scan(run(0, "07"));
        SPIN_COMPARE(wired.events, QStringList("image 07"));
    }
}

void TestReception::connectingAnewAtFrameStart()
{
    Wired wired(1);
    QVERIFY(wired.up());
    wired.link.scanning = true;
    QObject::connect(&wired.link, &tescan::setStatus, [&wired](const QString &text) {
        if (text == "scanning..." && wired.events.size() == 1)
            wired.start();
    });
    wired.microscope.scan(run(0, "07") + run(0, "08"));
    SPIN_VERIFY(wired.events.contains("start scanning"));
    QCOMPARE(wired.events.filter("image"), QStringList()); // nothing was written
}

void TestReception::headerAlone()
{
    Wired wired(1);
    QVERIFY(wired.up());
    StandardOutput before;
    wired.microscope.scan(message("Garbage"));
    SPIN_COMPARE(wired.link.dataBuffer.size(), 32);
    QCOMPARE(before.text(), QByteArray());
    StandardOutput after;
    wired.microscope.scan("x");
    SPIN_COMPARE(wired.link.dataBuffer.size(), 0);
    QVERIFY(after.text().endsWith("command data Garbage\n"));
}

/// Only the first pixel of a frame says that the scan command has been carried out.
void TestReception::frameStart()
{
    Wired wired(1);
    QVERIFY(wired.up());
    wired.link.headerFlags = 9;
    const QByteArray runs[] = { message("ScData", QByteArray(4, '\0')), run(1, "01"),
                                run(0, "01") };
    for (const QByteArray &bytes : runs) {
        wired.events.clear();
        wired.microscope.scan(bytes);
        SPIN_COMPARE(wired.events.size(), 1);
        wired.link.ScStopScan();
    }
    SPIN_COMPARE(wired.microscope.commands(),
                 QStringList({ "ScStopScan[9]", "ScStopScan[9]", "ScStopScan" }));
}

void TestReception::announcedFourGiB()
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

QTEST_GUILESS_MAIN(TestReception)
#include "tst_reception.moc"
