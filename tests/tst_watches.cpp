// What a host tells of scan and connection.
#include "hosting/connectionwatch.h"
#include "hosting/scanwatch.h"
#include <QRandomGenerator>
#include <QtTest>

using namespace hosting;

class TestWatches : public QObject {
    Q_OBJECT
private slots:
    void scanIsFollowed()
    {
        QRandomGenerator noise(1);
        QImage image(1024, 1024, QImage::Format_RGB32);
        ScanWatch watch;
        watch.setDwellTime("6400000ns"); // as long a frame as 8192 x 8192 at 100 us
        watch.take(image, 0);
        // The rows scanned since the image before; whether that begins a frame.
        const QList<std::tuple<int, int, bool, QString>> steps = {
            { 0, 1, false, "row 1 of 1,024, 1 h 52 min left" },
            { 1, 512, false, "row 512 of 1,024, 56 min left" },
            { 512, 1034, true, "row 10 of 1,024, 1 h 51 min left, last frame 60 s old" },
            { 700, 800, false, "row 800 of 1,024, 25 min left, last frame 60 s old" },
            { 799, 1029, true, "row 5 of 1,024, 1 h 51 min left, last frame 60 s old" },
            { 5, 1029, false, "a frame takes 1 h 52 min" }
        };
        for (const auto &[first, end, wraps, progress] : steps) {
            for (int row = first; row < end; ++row)
                noise.fillRange(reinterpret_cast<quint32 *>(image.scanLine(row % 1024)), 1024);
            QVERIFY(watch.take(image, 0) && watch.hasWrapped() == wraps);
            QCOMPARE(watch.progress(60000), progress);
        }
        image.bits(); // a flat sample: written, and nothing differs
        QVERIFY(watch.take(image, 100000) && !watch.isStale(100000));
        QVERIFY(!watch.take(image, 150000)); // fetched again
        QCOMPARE(watch.staleness(150000), QString("no new data for 50 s"));
        watch.take(QImage(512, 512, QImage::Format_RGB32), 150000);
        QVERIFY(!watch.isStale(150000) && watch.row() < 0);
    }
    void missingThingIsNamed()
    {
        // The first is there, and so on: an answer, the page, a design, the mode, pixels, a place.
        const QStringList words = { "not answer", "8301",     "design",
                                    "live image", "no pixel", "stage" };
        for (int has = 0; has < 6; ++has) {
            const char *const status = has ? "set detector" : "connecting data channel...";
            ConnectionSigns signs = { has > 1, has > 0, has > 3, has > 4, false,
                                      has > 2, status,  "sem",   8300,    "0 - SE" };
            ConnectionWatch watch;
            watch.start(1000);
            QCOMPARE(watch.look(signs, 10999).missing, QString());
            QVERIFY2(watch.look(signs, 11000).missing.contains(words[has]), qPrintable(words[has]));
            // What the user has to do takes as long as it takes; the microscope then starts anew.
            signs.isDesignOpen = signs.showsLiveImage = true;
            QCOMPARE(watch.look(signs, 60000).missing.isEmpty(), has == 2 || has == 3);
            signs.showsOperatingPage = false;
            signs.status = "connection failed: refused";
            QCOMPARE(watch.look(signs, 70000).missing,
                     "No connection to sem, port 8300 (refused).");
        }
    }
};

QTEST_GUILESS_MAIN(TestWatches)
#include "tst_watches.moc"
