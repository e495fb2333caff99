#include "alignment/imageplacement.h"
#include "alignment/stagemap.h"

#include <QtTest>

#include <cmath>
#include <limits>

namespace {
const double notANumber = std::numeric_limits<double>::quiet_NaN();
const double infinite = std::numeric_limits<double>::infinity();
const double unitM = 1e-9;
const double nominal = 1e6; // database units per mm at unitM
const QPointF stage1(10.25, -20.5);
const QPointF design1(123456, -654321);

/// A point turned by an angle, counter-clockwise where y points upwards, and stretched.
QPointF turned(const QPointF &point, double degrees, double scale)
{
    const double c = std::cos(qDegreesToRadians(degrees)) * scale;
    const double s = std::sin(qDegreesToRadians(degrees)) * scale;
    return { c * point.x() - s * point.y(), s * point.x() + c * point.y() };
}

/// Distance in database units; a picometre is far beyond any microscope.
bool near(const QPointF &a, const QPointF &b)
{
    return std::hypot(a.x() - b.x(), a.y() - b.y()) < 1e-3;
}

/// Makes the map from the first pair and two at the offsets (mm) from it, on a wafer that turns
/// offsets on the stage into offsets in the design.
bool threePairs(const QTransform &wafer, const QPointF &second, const QPointF &third, QMatrix *map)
{
    const AlignmentPair pairs[] = { { design1, stage1 },
                                    { design1 + wafer.map(second), stage1 + second },
                                    { design1 + wafer.map(third), stage1 + third } };
    return threePairMap(pairs, unitM, map);
}
} // namespace

class TestGeometry : public QObject {
    Q_OBJECT

private slots:
    void onePair();
    void twoPairsKeepRotation();
    void twoPairsScale();
    void threePairsBounds();
    void threePairsOnOneLine();
    void placementMatrix();
    void zoom();
};

void TestGeometry::onePair()
{
    const QMatrix map = onePairMap({ QPointF(0, 0), QPointF(10, 20) }, unitM);
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
            QVERIFY(twoPairMap({ design1, stage1 },
                               { design1 + turned(side, turn, scale), stage1 + side }, unitM,
                               &map));
            // A point beside the line tells a rotation from a mirroring.
            for (const QPointF &offset : { QPointF(), side, QPointF(-side.y(), side.x()) })
                QVERIFY2(near(map.map(stage1 + offset), design1 + turned(offset, turn, scale)),
                         qPrintable(QString("side at %1, turned by %2").arg(direction).arg(turn)));
        }
}

void TestGeometry::twoPairsScale()
{
    const struct {
        double stageMm, design, units;
        bool accepted;
    } rows[] = { { 1, 1250000, unitM, true },
                 { 1, 1250001, unitM, false },
                 { 1, 833334, unitM, true },
                 { 1, 833333, unitM, false },
                 { 1, 1e6, 0.001 / 1.2e6, true },
                 { 1, 1000, 1e-6, true },
                 { 1, 1e6, 1e-6, false },
                 { 0, 1e6, unitM, false },
                 { 1, 0, unitM, false },
                 { 0, 0, unitM, false },
                 { notANumber, 1e6, unitM, false },
                 { infinite, infinite, unitM, false },
                 { 1, 1e6, 0, false },
                 { 1, 1e6, notANumber, false } };
    const QMatrix before(9, 0, 0, 9, 9, 9);
    for (const auto &row : rows)
        for (const QPointF &along : { QPointF(1, 0), QPointF(0, 1) }) {
            QMatrix map = before;
            const AlignmentPair second = { design1 + along * row.design,
                                           stage1 + along * row.stageMm };
            QVERIFY2(twoPairMap({ design1, stage1 }, second, row.units, &map) == row.accepted,
                     qPrintable(QString("row %1").arg(&row - rows)));
            QVERIFY(row.accepted ? near(map.map(second.stage), second.design) : map == before);
        }
}

void TestGeometry::threePairsBounds()
{
    const double c33 = std::cos(qDegreesToRadians(33.)), s33 = std::sin(qDegreesToRadians(33.));
    const double c34 = std::cos(qDegreesToRadians(34.)), s34 = std::sin(qDegreesToRadians(34.));
    const struct {
        double m11, m12, m21, m22;
        bool accepted;
    } rows[] = { { -1, 0, 0, -1, true },          { -1.1, 0.3, -0.2, -0.9, true },
                 { -1.25, 0, 0, -1, true },       { -1.2500001, 0, 0, -1, false },
                 { -1, 0, 0, -0.8333334, true },  { -1, 0, 0, -1.2500001, false },
                 { -0.8333333, 0, 0, -1, false }, { -1, 0, 0, -0.8333333, false },
                 { 1, 0, 0, -1, false },          { -1, 0, 0, 1, false },
                 { 1, 0, 0, 1, false },           { notANumber, 0, 0, -1, false },
                 { -c33, s33, -s33, -c33, true }, { -c34, s34, -s34, -c34, false } };
    for (const auto &row : rows) {
        const QTransform wafer(row.m11 * nominal, row.m12 * nominal, row.m21 * nominal,
                               row.m22 * nominal, 0, 0);
        QMatrix map;
        QVERIFY2(threePairs(wafer, QPointF(4, 0.5), QPointF(-1, 3), &map) == row.accepted,
                 qPrintable(QString("row %1").arg(&row - rows)));
        const QPointF offset(20, -30);
        QVERIFY(row.accepted ? near(map.map(stage1 + offset), design1 + wafer.map(offset))
                             : map.isIdentity());
    }
}

void TestGeometry::threePairsOnOneLine()
{
    const QTransform wafer = QTransform::fromScale(-nominal, -nominal);
    QMatrix map;
    QVERIFY(!threePairs(wafer, { 1, 0 }, { 5, 0 }, &map));
    QVERIFY(!threePairs(wafer, { 1, 2 }, { -2, -4 }, &map));
    QVERIFY(!threePairs(wafer, { 1, 2 }, { 1, 2 }, &map));
    QVERIFY(!threePairs(wafer, { 0, 0 }, { 0, 0 }, &map));
    QVERIFY(!threePairs(wafer, { notANumber, 0 }, { 1, 1 }, &map));
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
    for (int edge : { 512, 1023, 1 }) {
        placement.moveCentreTo(QPointF(-1e6, 77), edge);
        QVERIFY(near(design(edge / 2, edge / 2), QPointF(-1e6, 77)));
        QVERIFY(near(placement.centre(edge), QPointF(-1e6, 77)));
    }
}

void TestGeometry::zoom()
{
    const double before = pixelSize(2.0, unitM, 1000);
    const double after = pixelSize(1.0, unitM, 1000);
    QCOMPARE(after, 1000.0);
    // The host's scale and that after the zoom, as multiples of the nominal one.
    const std::pair<double, double> scales[] = {
        { 0.9, 0.9 }, { 1.1, 1.1 }, { 0.8999999, 1 }, { 1.1000001, 1 }, { -1, 1 }
    };
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
