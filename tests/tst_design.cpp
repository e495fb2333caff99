#include "layout/design.h"
#include "tests/gdsiibytes.h"

#include <QRandomGenerator>
#include <QRegion>
#include <QTemporaryDir>
#include <QtTest>

using namespace gdsii;
using layout::Design;

class TestDesign : public QObject {
    Q_OBJECT
private slots:
    void badFileLeavesDesign_data();
    void badFileLeavesDesign();
    void damagedFilesAreSurvived();
    void shapes_data();
    void shapes();
    void arraysAndNestedCells();
    void windowFindsExactlyWhatTouchesIt();
    void sampleChip();

private:
    bool load(const QByteArray &bytes);

    QTemporaryDir m_folder;
    Design m_design;
    QString m_error;
};

namespace {

const QByteArray square = rectangle(1, 0, 0, 10, 10);

QByteArray reference(const char *name, int x, int y, const QByteArray &transform = QByteArray())
{
    return record(0x0A00) + text(0x1206, name) + transform + record(0x1003, { x, y })
        + record(0x1100);
}

QByteArray array(const char *name, int columns, int rows, std::initializer_list<int> xy)
{
    return record(0x0B00) + text(0x1206, name) + record(0x1302, { columns, rows })
        + record(0x1003, xy) + record(0x1100);
}

QByteArray transform(bool mirrored, int magnification, int degrees)
{
    return record(0x1A01, QByteArray(mirrored ? "\x80\0" : "\0\0", 2))
        + record(0x1B05, { magnification }) + record(0x1C05, { degrees });
}

QByteArray path(int type, int width, std::initializer_list<int> xy,
                const QByteArray &ends = QByteArray())
{
    return record(0x0900) + record(0x0D02, { 1 }) + record(0x0E02, { 0 }) + record(0x2102, { type })
        + record(0x0F03, { width }) + ends + record(0x1003, xy) + record(0x1100);
}

QByteArray label(const char *characters, int x, int y)
{
    return record(0x0C00) + record(0x0D02, { 6 }) + record(0x1602, { 0 }) + record(0x1003, { x, y })
        + text(0x1906, characters) + record(0x1100);
}

} // namespace

bool TestDesign::load(const QByteArray &bytes)
{
    QFile file(m_folder.filePath("layout.gds"));
    if (!file.open(QIODevice::WriteOnly))
        return false;
    file.write(bytes);
    file.close();
    return m_design.load(file.fileName(), &m_error);
}

void TestDesign::badFileLeavesDesign_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QTest::addColumn<QString>("reason");
    const auto row = [](const char *reason, const QByteArray &structures) {
        QTest::newRow(reason) << library(structures) << reason;
    };
    const QByteArray cell = structure("A", square);
    QByteArray explosion = cell;
    for (const char *names : { "AB", "BC", "CD", "DE" }) {
        const QByteArray inner(names, 1), outer(names + 1);
        explosion += structure(outer, array(inner, 1000, 1000, { 0, 0, 10, 0, 0, 10 }));
    }
    QTest::newRow("text") << QByteArray("<html>not a layout</html>") << "not a GDSII";
    QTest::newRow("no units") << library(cell).replace(units, "") << "units";
    row("NONE", structure("A", square + reference("NONE", 0, 0)));
    row("contains itself",
        structure("A", reference("B", 1, 1)) + structure("B", square + reference("A", 1, 1)));
    row("twice", cell + cell);
    row("0 points", structure("A", record(0x0800) + record(0x0D02, { 1 }) + record(0x1100)));
    row("columns or rows", cell + structure("B", array("A", 2, 0, { 0, 0, 1, 0, 0, 1 })));
    row("too large", explosion);
    row("reaches beyond",
        structure("A", rectangle(1, 0, 0, 1000000, 10))
            + structure("B", reference("A", 0, 0, transform(false, 5000, 0))));
    row("no polygon", structure("A", QByteArray()));
}

void TestDesign::badFileLeavesDesign()
{
    QFETCH(QByteArray, bytes);
    QFETCH(QString, reason);
    QVERIFY(load(library(structure("A", square), "GOOD")));
    QVERIFY(!load(bytes));
    QVERIFY2(m_error.contains(reason), qPrintable(m_error));
    QCOMPARE(m_design.name(), QString("GOOD/A"));
    QCOMPARE(m_design.layers().size(), 1);
}

// The library behind the reader ends the process, or worse, on what it does not expect.
void TestDesign::damagedFilesAreSurvived()
{
    const QByteArray whole =
        library(structure("A", square + path(4, 4, { 0, 0, 50, 0 }, record(0x3003, { 9 })))
                + structure("B",
                            reference("A", 5, 5, transform(true, 2, 90))
                                + array("A", 2, 2, { 0, 0, 90, 0, 0, 90 })));
    int loaded = 0;
    for (int i = 0; i < whole.size(); ++i) {
        QVERIFY2(!load(whole.left(i)), qPrintable(QString::number(i)));
        for (uchar value : { 0x00, 0x01, 0x05, 0x08, 0x7f, 0x80, 0xff }) {
            QByteArray bytes = whole;
            bytes[i] = char(value);
            loaded += load(bytes);
        }
    }
    QVERIFY(loaded > 100); // it does not refuse everything, either
}

void TestDesign::shapes_data()
{
    QTest::addColumn<QByteArray>("structures");
    QTest::addColumn<QPolygon>("expected");
    const auto row = [](const char *name, const QByteArray &element, const QByteArray &placing,
                        const QPolygon &expected) {
        QTest::newRow(name) << structure("A", element)
                + structure("B", reference("A", 100, 200, placing))
                            << expected;
    };
    const QByteArray corner = boundary(1, { 0, 0, 10, 0, 0, 4, 0, 0 });
    row("turned", corner, transform(false, 1, 30),
        QPolygon({ { 100, 200 }, { 109, 205 }, { 98, 203 } }));
    row("all", corner, transform(true, 2, 270),
        QPolygon({ { 100, 200 }, { 100, 180 }, { 92, 200 } }));
    row("extended path", path(2, 10, { 0, 0, 100, 0 }), "", QPolygon(QRect(95, 195, 110, 10)));
    row("path with ends of its own",
        path(4, 10, { 0, 0, 0, 0, 0, 100 }, record(0x3003, { 20 }) + record(0x3103, { -30 })), "",
        QPolygon(QRect(95, 180, 10, 90)));
    row("bent path", path(0, 10, { 0, 0, 50, 0, 50, 40, 50, 40 }), "",
        QPolygon(QRect(100, 195, 55, 10)).united(QPolygon(QRect(145, 195, 10, 45))));
    row("width that is not magnified", path(0, -10, { 0, 0, 50, 0 }), transform(false, 2, 0),
        QPolygon(QRect(100, 195, 100, 10)));
}

void TestDesign::shapes()
{
    QFETCH(QByteArray, structures);
    QFETCH(QPolygon, expected);
    QVERIFY2(load(library(structures)), qPrintable(m_error));
    QCOMPARE(m_design.layers().size(), 1);
    QCOMPARE(m_design.layers().first().polygons.size(), 1);
    QCOMPARE(QRegion(m_design.layers().first().polygons.first()), QRegion(expected));
    QCOMPARE(m_design.bounds(), expected.boundingRect());
}

void TestDesign::arraysAndNestedCells()
{
    const QByteArray structures =
        structure("TOP CELL", reference("ROW", 1000, 0, transform(false, 1, 90)))
        + structure("ROW", array("CELL", 3, 2, { 0, 0, 60, 0, 0, 100 }) + label("\xb5?", 10, 20))
        + structure("CELL", rectangle(5, 0, 0, 10, 10));
    QVERIFY2(load(library(structures, "")), qPrintable(m_error));
    QVector<QPoint> corners;
    for (const QRect &bounds : m_design.layers().first().bounds)
        corners << bounds.topLeft();
    QCOMPARE(corners,
             QVector<QPoint>(
                 { { 990, 0 }, { 990, 20 }, { 990, 40 }, { 940, 0 }, { 940, 20 }, { 940, 40 } }));
    QCOMPARE(m_design.layers().first().number, 5);
    QCOMPARE(m_design.name(), QString("TOP CELL")); // as the library has no name
    QCOMPARE(m_design.labels().size(), 1);
    QCOMPARE(m_design.labels().first().text, QString::fromLatin1("\xb5?"));
    QCOMPARE(m_design.labels().first().position, QPoint(980, 10));
}

void TestDesign::windowFindsExactlyWhatTouchesIt()
{
    QVERIFY2(m_design.load(SAMPLE_LAYOUT, &m_error), qPrintable(m_error));
    QRandomGenerator random(1);
    for (int trial = 0; trial < 200; ++trial) {
        const int layer = trial % m_design.layers().size();
        const double edge = std::pow(10, 2 + 4.5 * random.generateDouble());
        const QRectF window(random.bounded(2.2e6) + 0.5, random.bounded(1.8e6) + 0.5, edge, edge);
        QVector<QRect> expected, found;
        for (const QRect &bounds : m_design.layers().at(layer).bounds) {
            if (window.intersects(QRectF(bounds.topLeft(), bounds.bottomRight())))
                expected.append(bounds);
        }
        m_design.forEachPolygon(
            layer, window, [&](const QPolygon &, const QRect &bounds) { found.append(bounds); });
        QCOMPARE(found, expected);
    }
}

void TestDesign::sampleChip()
{
    QVERIFY2(m_design.load(SAMPLE_LAYOUT, &m_error), qPrintable(m_error));
    QCOMPARE(m_design.name(), QString("SAMPLECHIP/CHIP"));
    QMap<QString, QPoint> positions;
    for (const layout::Label &label : m_design.labels())
        positions.insert(label.text, label.position);
    QCOMPARE(positions.value("ALIGN_1"), QPoint(200000, 200000));
    QCOMPARE(positions.value("ALIGN_2"), QPoint(1800000, 200000));
    QCOMPARE(positions.value("ALIGN_3"), QPoint(1800000, 1400000));
    QCOMPARE(positions.value("ALIGN_4"), QPoint(200000, 1400000));
}

QTEST_GUILESS_MAIN(TestDesign)
#include "tst_design.moc"
