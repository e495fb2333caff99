// Frames that a reader keeps while the next pixels come.

#include "sem/framestore.h"
#include "tests/wiredlink.h"

#include <QtTest>

#include <random>

class TestFrameStore : public QObject {
    Q_OBJECT

private slots:
    void keptImageNeverChanges();
    void againstWholeCopies();
};

void TestFrameStore::keptImageNeverChanges()
{
    Wired wired(64);
    QVERIFY(wired.up());
    for (int round = 0; round < 40; ++round) {
        const QImage kept = wired.link.image;
        const QImage before = kept.copy();
        wired.microscope.scan(wire::scanData(round * 100, QByteArray(150, char(round + 1))));
        SPIN_COMPARE(wired.events.size(), round + 1);
        QCOMPARE(kept, before);
        QVERIFY(wired.link.image != before);
    }
}

/// With readers that keep any of the last frames.
void TestFrameStore::againstWholeCopies()
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

QTEST_GUILESS_MAIN(TestFrameStore)
#include "tst_framestore.moc"
