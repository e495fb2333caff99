#include "layout/design.h"
#include "tests/gdsiibytes.h"

#include <QRandomGenerator>
#include <QTemporaryDir>
#include <QtTest>

using namespace gdsii;
using layout::Design;

class TestDesign : public QObject {
    Q_OBJECT
private slots:
    void badFileLeavesDesign_data();
    void badFileLeavesDesign();
    void everyPrefixIsRefused();
    void alteredBytesAreSurvived();
    void shapes_data();
    void shapes();
    void arraysAndNestedCells();
    void labelsKeepTheirText();
    void nameOfTopCellStandsIn();
    void windowFindsExactlyWhatTouchesIt();
    void sampleChip();

private:
    bool load(Design *design, const QByteArray &bytes, QString *error);

    QTemporaryDir m_folder;
};

namespace {

const QByteArray square = rectangle(1, 0, 0, 10, 10);

QByteArray mirrored()
{
    return record(0x1A01, QByteArray("\x80\0", 2));
}

QByteArray plainTransform()
{
    return record(0x1A01, QByteArray(2, '\0'));
}

QByteArray magnified(int factor)
{
    return record(0x1B05, real(factor));
}

QByteArray turned(int degrees)
{
    return record(0x1C05, real(degrees));
}

QByteArray path(int type, int width, std::initializer_list<int> xy)
{
    return record(0x0900) + record(0x0D02, shorts({ 1 })) + record(0x0E02, shorts({ 0 }))
        + record(0x2102, shorts({ type })) + record(0x0F03, longs({ width }))
        + record(0x1003, longs(xy)) + record(0x1100);
}

// A text that is the same for the same outline, wherever it begins and whichever way it runs.
QString outline(const QPolygon &polygon)
{
    QStringList best;
    for (int start = 0; start < polygon.size(); ++start) {
        for (int step : { 1, polygon.size() - 1 }) {
            QStringList points;
            for (int i = 0; i < polygon.size(); ++i) {
                const QPoint point = polygon.at((start + i * step) % polygon.size());
                points << QStringLiteral("%1,%2").arg(point.x()).arg(point.y());
            }
            if (best.isEmpty() || points < best)
                best = points;
        }
    }
    return best.join(' ');
}

} // namespace

bool TestDesign::load(Design *design, const QByteArray &bytes, QString *error)
{
    QFile file(m_folder.filePath("layout.gds"));
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write the test's layout");
    file.close();
    return design->load(file.fileName(), error);
}

void TestDesign::badFileLeavesDesign_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");
    const QByteArray good = library(structure("A", square));
    const QByteArray noPoints = record(0x0800) + record(0x0D02, shorts({ 1 })) + record(0x1100);
    QByteArray explosion = structure("C0", square);
    const char *names[] = { "C0", "C1", "C2", "C3", "C4" };
    for (int i = 1; i < 5; ++i)
        explosion += structure(names[i], array(names[i - 1], 1000, 1000, { 0, 0, 10, 0, 0, 10 }));
    QByteArray noUnits = good;
    noUnits.replace(record(0x0305, units), QByteArray());
    QByteArray oddLength = good;
    oddLength[7] = 29;
    QByteArray zeroLength = good;
    zeroLength.replace(6, 2, QByteArray(2, '\0'));

    QTest::newRow("empty") << QByteArray() << "empty";
    QTest::newRow("text") << QByteArray("<html>not a layout</html>") << "not a GDSII";
    QTest::newRow("no end") << good.chopped(4) << "ends before";
    QTest::newRow("odd record") << oddLength << "impossible length";
    QTest::newRow("empty record") << zeroLength << "impossible length";
    QTest::newRow("no units") << noUnits << "units";
    QTest::newRow("undefined cell")
        << library(structure("A", square + reference("NONE", 0, 0))) << "NONE";
    QTest::newRow("cell in itself")
        << library(structure("A", square + reference("A", 5, 5))) << "contains itself";
    QTest::newRow("cells in a ring") << library(structure("A", reference("B", 1, 1))
                                                + structure("B", square + reference("A", 1, 1)))
                                     << "contains itself";
    QTest::newRow("cell twice") << library(structure("A", square) + structure("A", square))
                                << "twice";
    QTest::newRow("element without points") << library(structure("A", noPoints)) << "0 points";
    QTest::newRow("polygon of one point")
        << library(structure("A", boundary(1, { 0, 0 }))) << "1 points";
    QTest::newRow("array without rows")
        << library(structure("A", square) + structure("B", array("A", 2, 0, { 0, 0, 1, 0, 0, 1 })))
        << "columns or rows";
    QTest::newRow("endless arrays") << library(explosion) << "too large";
    QTest::newRow("far out") << library(structure("A", rectangle(1, 0, 0, 2000000000, 10)))
                             << "reaches beyond";
    QTest::newRow("magnified far out")
        << library(structure("A", rectangle(1, 0, 0, 1000000, 10))
                   + structure("B", reference("A", 0, 0, plainTransform() + magnified(5000))))
        << "reaches beyond";
    QTest::newRow("nothing to see") << library(structure("A", QByteArray())) << "no polygon";
}

void TestDesign::badFileLeavesDesign()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    Design design;
    QString error;
    QVERIFY(load(&design, library(structure("A", square), "GOOD"), &error));
    QVERIFY(!load(&design, bytes, &error));
    QVERIFY2(error.contains(reason), qPrintable(error));
    QCOMPARE(design.name(), QString("GOOD"));
    QCOMPARE(design.layers().size(), 1);
    QVERIFY(!design.load(m_folder.filePath("missing.gds"), &error));
    QVERIFY(error.contains("missing.gds"));
    QVERIFY(!design.load(m_folder.path(), &error));
}

void TestDesign::everyPrefixIsRefused()
{
    const QByteArray whole = library(structure("A", square) + structure("B", reference("A", 5, 5)));
    for (int length = 0; length < whole.size(); ++length) {
        Design design;
        QString error;
        QVERIFY2(!load(&design, whole.left(length), &error), qPrintable(QString::number(length)));
        QVERIFY(!error.isEmpty());
    }
}

// The library behind the reader ends the process, or worse, on what it does not expect.
void TestDesign::alteredBytesAreSurvived()
{
    const QByteArray whole =
        library(structure("A", square + path(2, 4, { 0, 0, 50, 0 }))
                + structure("B",
                            reference("A", 5, 5, mirrored() + magnified(2) + turned(90))
                                + array("A", 2, 2, { 0, 0, 90, 0, 0, 90 })));
    int loaded = 0;
    for (int i = 0; i < whole.size(); ++i) {
        for (uchar value : { 0x00, 0x01, 0x05, 0x08, 0x7f, 0x80, 0xff }) {
            QByteArray bytes = whole;
            bytes[i] = char(value);
            Design design;
            QString error;
            const bool good = load(&design, bytes, &error);
            QCOMPARE(error.isEmpty(), good);
            loaded += good;
        }
    }
    QVERIFY(loaded > 100); // it does not refuse everything, either
}

void TestDesign::shapes_data()
{
    QTest::addColumn<QByteArray>("structures");
    QTest::addColumn<QPolygon>("expected");
    const QByteArray corner = structure("A", boundary(1, { 0, 0, 10, 0, 0, 4, 0, 0 }));
    auto placed = [&](const QByteArray &transform) {
        return corner + structure("B", reference("A", 100, 200, transform));
    };
    const QVector<QPoint> plain{ { 100, 200 }, { 110, 200 }, { 100, 204 } };
    QTest::newRow("moved") << placed(QByteArray()) << QPolygon(plain);
    QTest::newRow("mirrored") << placed(mirrored())
                              << QPolygon({ { 100, 200 }, { 110, 200 }, { 100, 196 } });
    QTest::newRow("turned") << placed(plainTransform() + turned(90))
                            << QPolygon({ { 100, 200 }, { 100, 210 }, { 96, 200 } });
    QTest::newRow("turned 30") << placed(plainTransform() + turned(30))
                               << QPolygon({ { 100, 200 }, { 109, 205 }, { 98, 203 } });
    QTest::newRow("mirrored, then turned")
        << placed(mirrored() + turned(90))
        << QPolygon({ { 100, 200 }, { 100, 210 }, { 104, 200 } });
    QTest::newRow("magnified") << placed(plainTransform() + magnified(3))
                               << QPolygon({ { 100, 200 }, { 130, 200 }, { 100, 212 } });
    QTest::newRow("all") << placed(mirrored() + magnified(2) + turned(270))
                         << QPolygon({ { 100, 200 }, { 100, 180 }, { 92, 200 } });

    auto line = [](int type) { return structure("A", path(type, 10, { 0, 0, 100, 0 })); };
    QTest::newRow("flush path") << line(0)
                                << QPolygon({ { 0, -5 }, { 100, -5 }, { 100, 5 }, { 0, 5 } });
    QTest::newRow("extended path")
        << line(2) << QPolygon({ { -5, -5 }, { 105, -5 }, { 105, 5 }, { -5, 5 } });
    QTest::newRow("bent path")
        << structure("A", path(0, 10, { 0, 0, 100, 0, 100, 50, 100, 50 }))
        << QPolygon({ { 0, -5 }, { 105, -5 }, { 105, 50 }, { 95, 50 }, { 95, 5 }, { 0, 5 } });
    const QByteArray fixedWidth = structure("A", path(0, -10, { 0, 0, 100, 0 }));
    QTest::newRow("width that is not magnified")
        << fixedWidth + structure("B", reference("A", 0, 0, plainTransform() + magnified(2)))
        << QPolygon({ { 0, -5 }, { 200, -5 }, { 200, 5 }, { 0, 5 } });
    const QByteArray box = record(0x2D00) + record(0x0D02, shorts({ 1 }))
        + record(0x2E02, shorts({ 0 })) + record(0x1003, longs({ 0, 0, 8, 0, 8, 6, 0, 6, 0, 0 }))
        + record(0x1100);
    QTest::newRow("box") << structure("A", box)
                         << QPolygon({ { 0, 0 }, { 8, 0 }, { 8, 6 }, { 0, 6 } });
}

void TestDesign::shapes()
{
    QFETCH(QByteArray, structures);
    QFETCH(QPolygon, expected);
    Design design;
    QString error;
    QVERIFY2(load(&design, library(structures), &error), qPrintable(error));
    QCOMPARE(design.layers().size(), 1);
    QCOMPARE(design.layers().first().polygons.size(), 1);
    QCOMPARE(outline(design.layers().first().polygons.first()), outline(expected));
    QCOMPARE(design.bounds(), expected.boundingRect());
}

void TestDesign::arraysAndNestedCells()
{
    const QByteArray structures =
        structure("TOP", reference("ROW", 1000, 0, plainTransform() + turned(90)))
        + structure("ROW", array("CELL", 3, 2, { 0, 0, 60, 0, 0, 100 }))
        + structure("CELL", rectangle(5, 0, 0, 10, 10));
    Design design;
    QString error;
    QVERIFY2(load(&design, library(structures), &error), qPrintable(error));
    QStringList corners;
    for (const QRect &bounds : design.layers().first().bounds)
        corners << QStringLiteral("%1,%2").arg(bounds.left()).arg(bounds.top());
    const QStringList expected{ "990,0", "990,20", "990,40", "940,0", "940,20", "940,40" };
    QCOMPARE(corners, expected);
    QCOMPARE(design.layers().first().number, 5);
}

void TestDesign::labelsKeepTheirText()
{
    const QByteArray label = record(0x0C00) + record(0x0D02, shorts({ 6 }))
        + record(0x1602, shorts({ 0 })) + record(0x1003, longs({ 10, 20 }))
        + record(0x1906, text("a, b: \xb5?")) + record(0x1100);
    Design design;
    QString error;
    QVERIFY2(load(&design,
                  library(structure("A", square + label)
                          + structure("B", reference("A", 5, 6, mirrored()))),
                  &error),
             qPrintable(error));
    QCOMPARE(design.labels().size(), 1);
    QCOMPARE(design.labels().first().text, QString::fromLatin1("a, b: \xb5?"));
    QCOMPARE(design.labels().first().position, QPoint(15, -14));
    QCOMPARE(design.labels().first().layer, 6);
}

void TestDesign::nameOfTopCellStandsIn()
{
    Design design;
    QString error;
    QVERIFY(
        load(&design,
             library(structure("SUB", square) + structure("TOP CELL", reference("SUB", 0, 0)), ""),
             &error));
    QCOMPARE(design.name(), QString("TOP CELL"));
    QCOMPARE(design.databaseUnitMetres(), 1e-9);
}

void TestDesign::windowFindsExactlyWhatTouchesIt()
{
    Design design;
    QString error;
    QVERIFY2(design.load(SAMPLE_LAYOUT, &error), qPrintable(error));
    QRandomGenerator random(1);
    for (int trial = 0; trial < 200; ++trial) {
        const int layer = trial % design.layers().size();
        const double edge = std::pow(10, 2 + 4.5 * random.generateDouble());
        const QRectF window(random.bounded(2.2e6) - 1e5, random.bounded(1.8e6) - 1e5, edge,
                            edge / 2);
        QVector<QRect> expected, found;
        for (const QRect &bounds : design.layers().at(layer).bounds) {
            if (bounds.left() <= window.right() && bounds.right() >= window.left()
                && bounds.top() <= window.bottom() && bounds.bottom() >= window.top())
                expected.append(bounds);
        }
        design.forEachPolygon(layer, window, [&](const QPolygon &polygon, const QRect &bounds) {
            QCOMPARE(polygon.boundingRect(), bounds);
            found.append(bounds);
        });
        QCOMPARE(found, expected);
    }
}

void TestDesign::sampleChip()
{
    Design design;
    QString error;
    QVERIFY2(design.load(SAMPLE_LAYOUT, &error), qPrintable(error));
    QCOMPARE(design.name(), QString("SAMPLECHIP"));
    QCOMPARE(design.layers().size(), 6);
    QMap<QString, QPoint> crosses;
    for (const layout::Label &label : design.labels()) {
        if (label.text.startsWith("ALIGN_"))
            crosses.insert(label.text, label.position);
    }
    const QMap<QString, QPoint> expected{ { "ALIGN_1", { 200000, 200000 } },
                                          { "ALIGN_2", { 1800000, 200000 } },
                                          { "ALIGN_3", { 1800000, 1400000 } },
                                          { "ALIGN_4", { 200000, 1400000 } } };
    QCOMPARE(crosses, expected);
    for (const QPoint &cross : crosses) { // alone in its surroundings
        QVector<QRect> around;
        for (int layer = 0; layer < design.layers().size(); ++layer)
            design.forEachPolygon(
                layer, QRectF(cross.x() - 119999, cross.y() - 119999, 239998, 239998),
                [&](const QPolygon &, const QRect &bounds) { around.append(bounds); });
        QCOMPARE(
            around,
            QVector<QRect>{ QRect(cross - QPoint(60000, 60000), cross + QPoint(60000, 60000)) });
    }
}

QTEST_GUILESS_MAIN(TestDesign)
#include "tst_design.moc"
