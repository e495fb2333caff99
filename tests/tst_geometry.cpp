#include "alignment/imageplacement.h"
#include "alignment/stagemap.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {
const double notANumber = std::numeric_limits<double>::quiet_NaN();
const double infinite = std::numeric_limits<double>::infinity();
const double pi = std::acos(-1.0);
const double unitM = 1e-9;
const double nominal = 1e6; // database units per mm at unitM

/// A point turned by an angle, counter-clockwise where y points upwards, and stretched.
QPointF turned(const QPointF &point, double degrees, double scale)
{
    const double c = std::cos(degrees * pi / 180) * scale;
    const double s = std::sin(degrees * pi / 180) * scale;
    return { c * point.x() - s * point.y(), s * point.x() + c * point.y() };
}

/// Distance in database units; a picometre is far beyond any microscope.
bool near(const QPointF &a, const QPointF &b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y()) < 1e-3;
}

const QPointF stage1(10.25, -20.5);
const QPointF design1(123456, -654321);

/// The pair that a wafer, turned and stretched around the first pair, shows at `offset` mm from it.
AlignmentPair pairAt(const QPointF &offset, double degrees, double scale)
{
    return { design1 + turned(offset, degrees, scale), stage1 + offset };
}
} // namespace

class TestGeometry : public QObject {
    Q_OBJECT

private slots:
    void onePair();
    void twoPairsKeepRotation_data();
    void twoPairsKeepRotation();
    void twoPairsScale_data();
    void twoPairsScale();
    void threePairs_data();
    void threePairs();
    void threePairsOnOneLine_data();
    void threePairsOnOneLine();
    void placementMatrix_data();
    void placementMatrix();
    void zoom_data();
    void zoom();
};

void TestGeometry::onePair()
{
    const QMatrix map = onePairMap({ QPointF(0, 0), QPointF(10, 20) }, unitM);
    QVERIFY(near(map.map(QPointF(10, 20)), QPointF(0, 0)));
    QVERIFY(near(map.map(QPointF(11, 20)), QPointF(-1000000, 0)));
    QVERIFY(near(map.map(QPointF(10, 21)), QPointF(0, -1000000)));
    QVERIFY(near(onePairMap({ QPointF(5, 6), QPointF(1, 1) }, 1e-6).map(QPointF(2, 1)),
                 QPointF(-995, 6)));
    // A host that reports nonsense must not make a map that moves a stage.
    for (double units : { 0.0, notANumber, infinite })
        QVERIFY(!isUsable(onePairMap({ QPointF(0, 0), QPointF(10, 20) }, units)));
}

void TestGeometry::twoPairsKeepRotation_data()
{
    QTest::addColumn<double>("degrees");
    QTest::addColumn<double>("waferTurn");
    for (int direction = 0; direction < 360; direction += 45)
        for (int turn = 0; turn < 360; turn += 30)
            QTest::addRow("side at %d, turned by %d", direction, turn)
                << double(direction) << double(turn);
    QTest::addRow("odd angles") << 12.3456 << 200.7;
}

void TestGeometry::twoPairsKeepRotation()
{
    QFETCH(double, degrees);
    QFETCH(double, waferTurn);
    const double scale = 1.07 * nominal;
    const QPointF side = turned(QPointF(3, 0), degrees, 1);
    const AlignmentPair first = { design1, stage1 };
    QMatrix map;
    QVERIFY(twoPairMap(first, pairAt(side, waferTurn, scale), unitM, &map));
    QVERIFY(near(map.map(stage1), design1));
    // A point beside the line tells a rotation from a mirroring.
    for (const QPointF &offset : { side, QPointF(-side.y(), side.x()), QPointF(-2, 7) })
        QVERIFY(near(map.map(stage1 + offset), design1 + turned(offset, waferTurn, scale)));
}

void TestGeometry::twoPairsScale_data()
{
    QTest::addColumn<QPointF>("stageSide");
    QTest::addColumn<QPointF>("designSide");
    QTest::addColumn<double>("units");
    QTest::addColumn<bool>("accepted");
    const auto row = [](const char *name, QPointF stage, QPointF design, double units,
                        bool accepted) {
        QTest::newRow(name) << stage << design << units << accepted;
    };
    row("nominal", { 1, 0 }, { 1000000, 0 }, unitM, true);
    row("upper bound", { 1, 0 }, { 1250000, 0 }, unitM, true);
    row("beyond upper bound", { 1, 0 }, { 1250001, 0 }, unitM, false);
    row("lower bound", { 0, 1 }, { 0, 833334 }, unitM, true);
    row("below lower bound", { 0, 1 }, { 0, 833333 }, unitM, false);
    row("coarse unit", { 1, 0 }, { 1000, 0 }, 1e-6, true);
    row("unit of another design", { 1, 0 }, { 1000000, 0 }, 1e-6, false);
    row("stage stood still", { 0, 0 }, { 1000000, 0 }, unitM, false);
    row("image stood still", { 1, 0 }, { 0, 0 }, unitM, false);
    row("nothing moved", { 0, 0 }, { 0, 0 }, unitM, false);
    row("not a number", { notANumber, 0 }, { 1000000, 0 }, unitM, false);
    row("infinite", { infinite, 0 }, { infinite, 0 }, unitM, false);
    row("no unit", { 1, 0 }, { 1000000, 0 }, 0, false);
    row("unit not a number", { 1, 0 }, { 1000000, 0 }, notANumber, false);
}

void TestGeometry::twoPairsScale()
{
    QFETCH(QPointF, stageSide);
    QFETCH(QPointF, designSide);
    QFETCH(double, units);
    const QMatrix before(9, 0, 0, 9, 9, 9);
    QMatrix map = before;
    QTEST(
        twoPairMap({ design1, stage1 }, { design1 + designSide, stage1 + stageSide }, units, &map),
        "accepted");
    QFETCH(bool, accepted);
    if (accepted)
        QVERIFY(near(map.map(stage1 + stageSide), design1 + designSide));
    else
        QCOMPARE(map, before);
}

void TestGeometry::threePairs_data()
{
    QTest::addColumn<QTransform>("wafer"); // stage offset in mm to design offset
    QTest::addColumn<bool>("accepted");
    const auto row = [](const char *name, double m11, double m12, double m21, double m22,
                        bool accepted) {
        QTest::newRow(name) << QTransform(m11 * nominal, m12 * nominal, m21 * nominal,
                                          m22 * nominal, 0, 0)
                            << accepted;
    };
    row("nominal", -1, 0, 0, -1, true);
    row("sheared, unequal scales", -1.1, 0.3, -0.2, -0.9, true);
    row("largest x", -1.25, 0, 0, -1, true);
    row("too large x", -1.2500001, 0, 0, -1, false);
    row("too large y", -1, 0, 0, -1.2500001, false);
    row("smallest y", -1, 0, 0, -0.8333334, true);
    row("too small x", -0.8333333, 0, 0, -1, false);
    row("too small y", -1, 0, 0, -0.8333333, false);
    row("mirrored in x", 1, 0, 0, -1, false);
    row("mirrored in y", -1, 0, 0, 1, false);
    row("upside down", 1, 0, 0, 1, false);
    const double c33 = std::cos(33 * pi / 180), s33 = std::sin(33 * pi / 180);
    row("turned by 33 degrees", -c33, s33, -s33, -c33, true);
    const double c34 = std::cos(34 * pi / 180), s34 = std::sin(34 * pi / 180);
    row("turned by 34 degrees", -c34, s34, -s34, -c34, false);
    row("not a number", notANumber, 0, 0, -1, false);
}

void TestGeometry::threePairs()
{
    QFETCH(QTransform, wafer);
    QFETCH(bool, accepted);
    AlignmentPair pairs[3] = { { design1, stage1 }, {}, {} };
    const QPointF offsets[3] = { QPointF(), QPointF(4, 0.5), QPointF(-1, 3) };
    for (int i = 1; i < 3; ++i)
        pairs[i] = { design1 + wafer.map(offsets[i]), stage1 + offsets[i] };
    QMatrix map;
    QCOMPARE(threePairMap(pairs, unitM, &map), accepted);
    if (!accepted)
        QVERIFY(map.isIdentity());
    for (const QPointF &offset : { offsets[0], offsets[1], offsets[2], QPointF(20, -30) })
        if (accepted)
            QVERIFY(near(map.map(stage1 + offset), design1 + wafer.map(offset)));
}

void TestGeometry::threePairsOnOneLine_data()
{
    QTest::addColumn<QPointF>("second");
    QTest::addColumn<QPointF>("third");
    QTest::newRow("along x") << QPointF(1, 0) << QPointF(5, 0);
    QTest::newRow("diagonal") << QPointF(1, 2) << QPointF(-2, -4);
    QTest::newRow("same position twice") << QPointF(1, 2) << QPointF(1, 2);
    QTest::newRow("all the same") << QPointF() << QPointF();
    QTest::newRow("not a number") << QPointF(notANumber, 0) << QPointF(1, 1);
}

void TestGeometry::threePairsOnOneLine()
{
    QFETCH(QPointF, second);
    QFETCH(QPointF, third);
    const AlignmentPair pairs[3] = { pairAt(QPointF(), 180, nominal), pairAt(second, 180, nominal),
                                     pairAt(third, 180, nominal) };
    QMatrix map;
    QVERIFY(!threePairMap(pairs, unitM, &map));
}

void TestGeometry::placementMatrix_data()
{
    QTest::addColumn<int>("imageSize");
    QTest::addColumn<double>("half");
    QTest::newRow("even") << 512 << 256.0;
    QTest::newRow("odd") << 1023 << 511.0;
    QTest::newRow("one pixel") << 1 << 0.0;
}

void TestGeometry::placementMatrix()
{
    QFETCH(int, imageSize);
    QFETCH(double, half);
    ImagePlacement placement = { 100, 200, 3, 5, 0.5, -0.25, 30 };
    // By hand, last operation first: rotate, shear, scale with rows downwards, translate.
    const auto design = [&placement](const QPointF &pixel) {
        const QPointF r = turned(pixel, 30, 1);
        const QPointF sheared(r.x() + 0.5 * r.y(), r.y() - 0.25 * r.x());
        return QPointF(placement.x + 3 * sheared.x(), placement.y - 5 * sheared.y());
    };
    QVERIFY(near(placement.matrix().map(QPointF(7, 11)), design(QPointF(7, 11))));
    QVERIFY(near(placement.centre(imageSize), design(QPointF(half, half))));
    placement.moveCentreTo(QPointF(-1e6, 2e6), imageSize);
    QVERIFY(near(design(QPointF(half, half)), QPointF(-1e6, 2e6)));
}

void TestGeometry::zoom_data()
{
    QTest::addColumn<double>("hostScale"); // as a multiple of the nominal pixel size
    QTest::addColumn<double>("result");
    QTest::newRow("nominal") << 1.0 << 1.0;
    QTest::newRow("lower bound") << 0.9 << 0.9;
    QTest::newRow("upper bound") << 1.1 << 1.1;
    QTest::newRow("below") << 0.8999999 << 1.0;
    QTest::newRow("above") << 1.1000001 << 1.0;
    QTest::newRow("mirrored") << -1.0 << 1.0;
}

void TestGeometry::zoom()
{
    QFETCH(double, hostScale);
    QFETCH(double, result);
    const double before = pixelSize(2.0, unitM, 1000); // 2000 database units
    const double after = pixelSize(1.0, unitM, 1000);
    QCOMPARE(after, 1000.0);
    ImagePlacement placement = { 0, 0, hostScale * before, before, 0.1, 0.2, 3 };
    placement.zoom(2.0, 1.0, after);
    QCOMPARE(placement.scaleX, result * after);
    QCOMPARE(placement.scaleY, after);
    ImagePlacement other = { 0, 0, before, hostScale * before, 0, 0, 0 };
    other.zoom(2.0, 1.0, after);
    QCOMPARE(other.scaleY, result * after);
    QCOMPARE(placement.rotation, 3.0);
}

QTEST_APPLESS_MAIN(TestGeometry)
#include "tst_geometry.moc"
