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
        const struct {
            int first, end, row; ///< scanned since the image before, and where the beam is then
            bool wraps;
            const char *progress;
        } steps[] = { { 0, 1, 0, false, "row 1 of 1,024, 1 h 52 min left" },
                      { 1, 512, 511, false, "row 512 of 1,024, 56 min left" },
                      { 512, 1024, 1023, false, "row 1,024 of 1,024, 7 s left" },
                      { 0, 10, 9, true, "row 10 of 1,024, 1 h 51 min left" },
                      { 700, 800, 799, false, "row 800 of 1,024, 25 min left" },
                      { 799, 1029, 4, true, "row 5 of 1,024, 1 h 51 min left" },
                      { 5, 1029, -1, false, "a frame takes 1 h 52 min" } };
        for (const auto &step : steps) {
            for (int row = step.first; row < step.end; ++row)
                noise.fillRange(reinterpret_cast<quint32 *>(image.scanLine(row % 1024)), 1024);
            QVERIFY(watch.take(image, 0));
            QCOMPARE(watch.row(), step.row);
            QCOMPARE(watch.hasWrapped(), step.wraps);
            QCOMPARE(watch.progress(), QString(step.progress));
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
        // An answer, the operating page, a design, the live mode, pixels, a place.
        const QList<std::tuple<QString, int, QString>> cases = {
            { "connecting...", 0, "No connection to sem, port 8300." },
            { "connection failed: refused", 0, "No connection to sem, port 8300. (refused)" },
            { "connecting data channel...", 0, "does not answer" },
            { "set detector", 1, "port 8301, does not open" },
            { "data connection failed: refused", 1, "does not open. (refused)" },
            { "disconnected...", 1, "sem has closed" }, { "connected", 0b1011, "design" },
            { "connected", 0b0111, "live image" }, { "scanning...", 0b1111, "no pixel" },
            { "scanning...", 0b11111, "stage position" }, { "scanning...", 0b111111, "" } };
        for (const auto &[status, has, words] : cases) {
            const ConnectionSigns signs = { bool(has & 2), bool(has & 1), bool(has & 8),
                bool(has & 16), bool(has & 32), bool(has & 4), status, "sem", 8300, "0 - SE" };
            ConnectionWatch watch;
            watch.start(1000);
            QCOMPARE(watch.look(signs, 10999).missing, QString());
            const ConnectionAdvice advice = watch.look(signs, 11000);
            QVERIFY2(advice.missing.contains(words), qPrintable(advice.missing));
            QVERIFY(advice.missing.isEmpty() == words.isEmpty() && !advice.check.contains('%'));
        }
    }
};

QTEST_GUILESS_MAIN(TestWatches)
#include "tst_watches.moc"
