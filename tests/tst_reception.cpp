// What the link makes of the bytes that come in on its two channels.

#include "tests/process.h"
#include "tests/wiredlink.h"

#include <QtTest>

#include <random>

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
    void frameStart();
    void announcedFourGiB();
    void keptFrames();
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
    const auto stage = [](double x, double value3, double value4) {
        return message("StgGetPosition", position(x, 0, value3, value4));
    };
    const QByteArray viewField = message("GetViewField", real(2));
    replies("only what is new",
            stage(1, 0, 0) + viewField + viewField + stage(1, 3, 0) + stage(1, 3, 4)
                + stage(1, 3, 4) + stage(2, 3, 4) + message("GetViewField", text("2,0")),
            "zoomed|stageMoved|stageMoved|zoomed");
    replies("field longer than its text",
            message("DtGetGainBlack", uint32(8) + QByteArray("12\0xxxxx", 8) + text("34.5"))
                + message("GetWD", real(5)),
            "",
            "DtGetGainBlack gain: 12\nDtGetGainBlack black: 34.5\nworking distance: 5.000000\n");
    replies("no handler", message("ScStopScan") + message("SixteenCharacter", "body"), "",
            "unsupported responce ScStopScan size: 0\n"
            "unsupported responce SixteenCharacter size: 4\n");
    replies("length beyond everything",
            message("TcpGetSWVersion", uint32(0xFFFFFFFF) + QByteArray(4, '\0'))
                + message("StgGetPosition", uint32(0xFFFFFFFC) + QByteArray(4, '\0')),
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
    const QByteArray garbage = message("Scarce\xff");
    QByteArray dump;
    for (int i = 0; i < garbage.size(); ++i)
        dump += QByteArray::number(i) + ": " + QByteArray::number(int(garbage.at(i))) + ' '
            + garbage.at(i) + '\n';
    scan("garbage", run(1, "05") + garbage + run(0, "06"), "image 640564646464646464",
         dump + "command data Scarce\xff\n");
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

/// Every byte for itself.
void TestReception::cutAnywhere()
{
    const QByteArray replies = message("GetViewField", real(1)) + message("Unknown", "12345")
        + message("StgGetPosition", position(1, 2)) + message("DtEnumDetectors", text("list"))
        + barrier;
    const QByteArray scan = run(0, "0102030405") + run(5, "060708");
    Wired wired(3);
    QVERIFY(wired.up());
    StandardOutput output;
    const QSignalSpy arrived(wired.link.controlSocket, &QTcpSocket::readyRead);
    for (int i = 0; i < replies.size(); ++i) {
        wired.microscope.reply(replies.mid(i, 1));
        SPIN_COMPARE(arrived.size(), i + 1);
    }
    for (int i = 0; i < scan.size(); ++i) {
        wired.microscope.scan(scan.mid(i, 1));
        SPIN_COMPARE(wired.link.dataBuffer.size(), i == 56 || i == 111 ? 0 : (i + 1) % 57);
    }
    QCOMPARE(wired.events.join('|'),
             "zoomed|stageMoved|detectors list 0|" + barrierSeen
                 + "|image 010203040564646464|image 010203040506070864");
    QCOMPARE(output.text(), QByteArray("unsupported responce Unknown size: 5\n"));
}

/// Only the first pixel of a frame says that the scan command has been carried out.
void TestReception::frameStart()
{
    Wired wired(1);
    QVERIFY(wired.up());
    wired.link.headerFlags = 9;
    for (const QByteArray &bytes :
         { message("ScData", QByteArray(4, '\0')), run(1, "01"), run(0, "01") }) {
        wired.events.clear();
        wired.microscope.scan(bytes);
        SPIN_COMPARE(wired.events.size(), 1);
        wired.link.ScStopScan();
    }
    SPIN_COMPARE(wired.microscope.commands(),
                 QStringList({ "ScStopScan[9]", "ScStopScan[9]", "ScStopScan" }));
    wired.microscope.scan(message("Garbage"));
    SPIN_COMPARE(wired.link.dataBuffer.size(), 32); // nothing is made of a header alone
}

/// Whatever the other end announces, no more is kept than its largest message can have.
void TestReception::announcedFourGiB()
{
    const QByteArray piece(1 << 20, 'x');
    const struct {
        QByteArray bytes;
        int pieces, largestBuffer;
    } channels[] = { { header("TcpGetSWVersion", 0xFFFFFFF0) + text("wrapped") + barrier, 8,
                       4 << 20 },
                     { header("ScData", 0xFFFFFFFF), 80, 72 << 20 } };
    Wired wired;
    for (const auto &channel : channels) {
        QVERIFY(wired.up());
        StandardOutput output;
        const bool onData = &channel != channels;
        QTcpSocket *socket = onData ? wired.microscope.data : wired.microscope.control;
        socket->write(channel.bytes);
        for (int i = 0; i < channel.pieces; ++i) {
            socket->write(piece);
            SPIN_COMPARE(socket->bytesToWrite(), qint64(0));
            QVERIFY(wired.link.receiveBuffer.size() + wired.link.dataBuffer.size()
                    < channel.largestBuffer);
        }
        if (!onData)
            QCOMPARE(output.text(), "unsupported responce TcpGetSWVersion size: -16\n");
        QCOMPARE(wired.events, QStringList());
    }
    QVERIFY(wired.up());
    wired.microscope.scan(run(0, "07"));
    SPIN_COMPARE(wired.events, QStringList("image 07" + QString("64").repeated(15)));
}

/// Against whole copies, with readers that keep any of the last frames.
void TestReception::keptFrames()
{
    std::mt19937 random(4711);
    const auto below = [&random](int limit) { return int(random() % unsigned(limit)); };
    for (int round = 0; round < 200; ++round) {
        const bool large = round == 0; // its second frame is written past the caches
        const int edge = large ? 1100 : 1 + below(20);
        QImage front(edge, edge, QImage::Format_RGB32);
        front.fill(0xFF646464);
        QImage expected = front.copy();
        FrameStore store;
        QByteArray bytes;
        QList<QPair<QImage, QImage>> kept;
        for (int step = 0; step < (large ? 100 : 150); ++step) {
            if (below(3) == 0)
                kept.append({ front, expected.copy() });
            while (kept.size() > below(4))
                kept.removeAt(below(kept.size()));
            store.makeWritable(&front);
            for (int runs = below(round % 2 ? 3 : 100); runs > 0; --runs) {
                const int first = below(edge * edge);
                const int count = 1 + below(qMin(edge * edge - first, 5000));
                bytes.append(QByteArray(below(3), 'h')); // a header, or none
                const int offset = bytes.size();
                auto *pixels = reinterpret_cast<QRgb *>(expected.bits()) + first;
                for (int i = 0; i < count; ++i) {
                    bytes.append(char(step + i));
                    pixels[i] = 0xFF000000u | uchar(step + i) * 0x010101u;
                }
                store.write(&front, first, count, bytes, offset);
            }
            below(4) == 0 ? store.forgetBytes() : store.finish(&bytes, bytes.size() - below(2));
            QCOMPARE(front, expected);
            for (const auto &image : kept)
                QCOMPARE(image.first, image.second);
        }
    }
}

QTEST_GUILESS_MAIN(TestReception)
#include "tst_reception.moc"
