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
    void twoPairsKeepRotation();
    void twoPairsScale_data();
    void twoPairsScale();
    void threePairs_data();
    void threePairs();
    void threePairsOnOneLine();
    void placementMatrix();
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

void TestGeometry::twoPairsKeepRotation()
{
    const double scale = 1.07 * nominal;
    for (double direction = 0; direction < 360; direction += 45)
        for (double turn = 0; turn < 720; turn += 30.5) {
            const QPointF side = turned(QPointF(3, 0), direction, 1);
            QMatrix map;
            QVERIFY(twoPairMap({ design1, stage1 }, pairAt(side, turn, scale), unitM, &map));
            QVERIFY(near(map.map(stage1), design1));
            // A point beside the line tells a rotation from a mirroring.
            for (const QPointF &offset : { side, QPointF(-side.y(), side.x()), QPointF(-2, 7) })
                QVERIFY2(near(map.map(stage1 + offset), design1 + turned(offset, turn, scale)),
                         qPrintable(QString("side at %1, turned by %2").arg(direction).arg(turn)));
        }
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
    row("lower bound to the last bit", { 1, 0 }, { 1000000, 0 }, 0.001 / 1.2e6, true);
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

void TestGeometry::threePairsOnOneLine()
{
    const QPointF offsets[][2] = { { { 1, 0 }, { 5, 0 } },
                                   { { 1, 2 }, { -2, -4 } },
                                   { { 1, 2 }, { 1, 2 } },
                                   { { 0, 0 }, { 0, 0 } },
                                   { { notANumber, 0 }, { 1, 1 } } };
    for (const auto &offset : offsets) {
        const AlignmentPair pairs[3] = { { design1, stage1 },
                                         pairAt(offset[0], 180, nominal),
                                         pairAt(offset[1], 180, nominal) };
        QMatrix map;
        QVERIFY(!threePairMap(pairs, unitM, &map));
    }
}

void TestGeometry::placementMatrix()
{
    ImagePlacement placement = { 100, 200, 3, 5, 0.5, -0.25, 30 };
    // By hand, last operation first: rotate, shear, scale with rows downwards, translate.
    const auto design = [&placement](double x, double y) {
        const QPointF r = turned(QPointF(x, y), 30, 1);
        const QPointF sheared(r.x() + 0.5 * r.y(), r.y() - 0.25 * r.x());
        return QPointF(placement.x + 3 * sheared.x(), placement.y - 5 * sheared.y());
    };
    QVERIFY(near(placement.matrix().map(QPointF(7, 11)), design(7, 11)));
    const std::pair<int, double> halves[] = { { 512, 256 }, { 1023, 511 }, { 1, 0 } };
    for (const auto &half : halves) {
        placement.moveCentreTo(QPointF(-1e6, half.first), half.first);
        QVERIFY(near(design(half.second, half.second), QPointF(-1e6, half.first)));
        QVERIFY(near(placement.centre(half.first), QPointF(-1e6, half.first)));
    }
}

void TestGeometry::zoom()
{
    const double before = pixelSize(2.0, unitM, 1000);
    const double after = pixelSize(1.0, unitM, 1000);
    QCOMPARE(after, 1000.0);
    // The host's scale and that after the zoom, as multiples of the nominal one.
    const std::pair<double, double> scales[] = { { 1, 1 },         { 0.9, 0.9 },     { 1.1, 1.1 },
                                                 { 0.8999999, 1 }, { 1.1000001, 1 }, { -1, 1 } };
    for (const auto &scale : scales) {
        ImagePlacement placement = { 0, 0, scale.first * before, before, 0.1, 0.2, 3 };
        placement.zoom(2.0, 1.0, after);
        QCOMPARE(placement.scaleX, scale.second * after);
        QCOMPARE(placement.scaleY, after);
        placement = { 0, 0, before, scale.first * before, 0, 0, 0 };
        placement.zoom(2.0, 1.0, after);
        QCOMPARE(placement.scaleY, scale.second * after);
    }
}

QTEST_APPLESS_MAIN(TestGeometry)
#include "tst_geometry.moc"
