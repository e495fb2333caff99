#include "simulator/options.h"
#include "simulator/simulator.h"
#include "simulator/stage.h"
#include "tests/gdsiibytes.h"
#include "tests/microscopeclient.h"

#include <QTemporaryDir>

using simulator::Options;
using simulator::Simulator;
using wire::Client;
using wire::message;
using wire::numbers;
using wire::real;

class TestSimulator : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void repliesAreExact_data();
    void repliesAreExact();
    void commandsMayArriveInPieces();
    void malformedInputEndsTheConnection_data();
    void malformedInputEndsTheConnection();
    void impossibleSettingsAreRefused();
    void newClientTakesThePlaceOfTheOld();
    void stageTravelsAlongALine();
    void featureLiesWhereTheStageShowsIt_data();
    void featureLiesWhereTheStageShowsIt();
    void enlargedEdgeStaysInPlace();
    void movedStageShowsInTheRunningScan();
    void scanKeepsToItsWindow_data();
    void scanKeepsToItsWindow();
    void stoppedScanIsSilent();
    void unreadDataHoldsTheScan();
    void noiseFollowsSeedAndDwellTime();
    void faults_data();
    void faults();
    void dataFaults_data();
    void dataFaults();
    void commandLine_data();
    void commandLine();

private:
    QByteArray frame(Client *client, int width, int height);
    QByteArray frameOf(const Options &options, int edge, int dwellNs, int detector = 1);

    QTemporaryDir m_folder;
    Options m_tiny; // a square of 20 um at (100, 50) um in an otherwise empty chip around (0, 0)
};

namespace {

const QByteArray position = message("StgGetPosition");
const QByteArray workingDistance = message("GetWD", real("9.500000e+00"));

// The centre of gravity of all bright pixels, in pixel corner coordinates.
QPointF brightCentre(const QByteArray &pixels, int width, int *count = nullptr)
{
    double x = 0, y = 0;
    int bright = 0;
    for (int i = 0; i < pixels.size(); ++i) {
        if (uchar(pixels.at(i)) < 130)
            continue;
        x += i % width + 0.5;
        y += i / width + 0.5;
        ++bright;
    }
    if (count)
        *count = bright;
    return QPointF(x, y) / qMax(1, bright);
}

double deviation(const QByteArray &pixels)
{
    double sum = 0, squares = 0;
    for (char pixel : pixels) {
        sum += uchar(pixel);
        squares += double(uchar(pixel)) * uchar(pixel);
    }
    const double mean = sum / pixels.size();
    return std::sqrt(squares / pixels.size() - mean * mean);
}

} // namespace

void TestSimulator::initTestCase()
{
    // the third layer is bright to the BSE detector, the others are not
    const QByteArray polygons = gdsii::rectangle(1, -900000, -900000, -899000, -899000)
        + gdsii::rectangle(2, 899000, 899000, 900000, 900000)
        + gdsii::rectangle(3, 90000, 40000, 110000, 60000);
    QFile file(m_folder.filePath("tiny.gds"));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(gdsii::library(gdsii::structure("A", polygons)));
    m_tiny.designFile = file.fileName();
    m_tiny.port = 0;
    m_tiny.stageMm = QPointF(0, 0);
    m_tiny.stageSpeedMmPerSecond = 0;
    m_tiny.viewFieldMm = 0.4;
    m_tiny.scan.fast = true;
}

QByteArray TestSimulator::frame(Client *client, int width, int height)
{
    QByteArray pixels(width * height, '\0');
    bool complete = false;
    const bool inTime = QTest::qWaitFor(
        [&] {
            for (const wire::Run &run : client->takeRuns()) {
                pixels.replace(int(run.index), run.pixels.size(), run.pixels);
                complete = complete || int(run.index) + run.pixels.size() == pixels.size();
            }
            return complete;
        },
        30000);
    return inTime ? pixels.left(width * height) : QByteArray();
}

QByteArray TestSimulator::frameOf(const Options &options, int edge, int dwellNs, int detector)
{
    Simulator simulator;
    QString error;
    if (!simulator.start(options, &error))
        qFatal("%s", qPrintable(error));
    Client client(simulator.controlPort());
    if (!client.isUp())
        return QByteArray();
    client.send(wire::enable(detector) + wire::scan(edge, edge, dwellNs));
    return frame(&client, edge, edge);
}

void TestSimulator::repliesAreExact_data()
{
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<QByteArray>("expected");
    const QByteArray detectors = wire::number(64)
        + QByteArray("det.0.name=SE\ndet.0.detector=0\ndet.1.name=BSE\ndet.1.detector=1\n")
              .leftJustified(64, '\0');
    QTest::newRow("data port") << message("TcpRegDataPort", wire::number(40154))
                               << message("TcpRegDataPort", numbers({ 0 }));
    QTest::newRow("version") << message("TcpGetVersion")
                             << message("TcpGetVersion", numbers({ 4 }) + QByteArray("1.0\0", 4));
    QTest::newRow("detectors") << message("DtEnumDetectors")
                               << message("DtEnumDetectors", detectors);
    QTest::newRow("working distance") << message("GetWD") << workingDistance;
    QTest::newRow("view field") << message("SetViewField", real("1.500000e-03"))
            + message("GetViewField")
                                << message("GetViewField", real("1.500000e-03"));
    QTest::newRow("stage") << message("StgMoveTo",
                                      real("-1.250000e+00") + real("2.500000e-01")
                                          + real("3.000000e+00") + real("4.500000e+01")
                                          + real("0.000000e+00"))
            + position
                           << message("StgGetPosition",
                                      real("-1.250000e+00") + real("2.500000e-01")
                                          + real("3.000000e+00") + real("4.500000e+01")
                                          + real("0.000000e+00"));
    QTest::newRow("scan") << wire::enable() + wire::scan(512, 512, 500) + message("ScStopScan")
                          << message("ScScanXY", numbers({ 0 }));
    QTest::newRow("scan without a detector")
        << wire::scan(512, 512, 500) << message("ScScanXY", numbers({ -1 }));
    QTest::newRow("unknown command") << message("DoSomething", "12345") << QByteArray();
}

// A command that stays silent must not be seen before the reply to the one behind it.
void TestSimulator::repliesAreExact()
{
    QFETCH(QByteArray, commands);
    QFETCH(QByteArray, expected);
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(commands + message("GetWD"));
    QTRY_COMPARE_WITH_TIMEOUT(client.replies().right(workingDistance.size()), workingDistance,
                              10000);
    QCOMPARE(client.replies(), expected + workingDistance);
}

void TestSimulator::commandsMayArriveInPieces()
{
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    const QByteArray commands =
        message("SetViewField", real("2.000000e-01")) + message("GetViewField") + message("GetWD");
    for (char byte : commands) {
        client.send(QByteArray(1, byte));
        QCoreApplication::processEvents();
    }
    const QByteArray expected = message("GetViewField", real("2.000000e-01")) + workingDistance;
    QTRY_COMPARE_WITH_TIMEOUT(client.replies().size(), expected.size(), 10000);
    QCOMPARE(client.replies(), expected);
}

void TestSimulator::malformedInputEndsTheConnection_data()
{
    QTest::addColumn<QByteArray>("bytes");
    QByteArray dirty = message("GetWD");
    dirty[30] = 1;
    QByteArray nameless = message("");
    QTest::newRow("web browser") << QByteArray("GET / HTTP/1.1\r\nHost: microscope\r\n\r\n");
    QTest::newRow("no name") << nameless;
    QTest::newRow("padding in use") << dirty;
    QTest::newRow("huge body") << message("GetWD").replace(16, 4, wire::number(0xFFFFFFFFu));
    QTest::newRow("body over the limit")
        << message("GetWD").replace(16, 4, wire::number(64 * 1024 + 1));
    QTest::newRow("missing argument") << message("DtSelect", numbers({ 0 }));
    QTest::newRow("argument too many") << message("GetWD", numbers({ 0 }));
    QTest::newRow("text longer than the body")
        << message("SetViewField", wire::number(400) + QByteArray("1.0e-3"));
    QTest::newRow("text without end")
        << message("SetViewField", wire::number(4) + QByteArray("1.00"));
    QTest::newRow("no number") << message("SetViewField",
                                          wire::number(8) + QByteArray("wide\0\0\0\0", 8));
}

void TestSimulator::malformedInputEndsTheConnection()
{
    QFETCH(QByteArray, bytes);
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(message("GetWD") + bytes + message("GetWD"));
    QTRY_VERIFY_WITH_TIMEOUT(!client.controlIsOpen(), 10000);
    QCOMPARE(client.replies(), workingDistance);
    Client next(simulator.controlPort());
    QVERIFY(next.isUp());
    next.send(message("GetWD"));
    QTRY_COMPARE_WITH_TIMEOUT(next.replies(), workingDistance, 10000);
}

void TestSimulator::impossibleSettingsAreRefused()
{
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    const QByteArray zero = real("0.000000e+00");
    for (const char *value : { "nan", "inf", "-inf", "1.000000e+06" })
        client.send(message("StgMoveTo", zero + real(value) + zero + zero + zero));
    for (const char *value : { "nan", "inf", "0.000000e+00", "-1.000000e+00", "1.000000e+03" })
        client.send(message("SetViewField", real(value)));
    client.send(position + message("GetViewField"));
    const QByteArray expected = message("StgGetPosition", zero + zero + zero + zero + zero)
        + message("GetViewField", real("4.000000e-01"));
    QTRY_COMPARE_WITH_TIMEOUT(client.replies().size(), expected.size(), 10000);
    QCOMPARE(client.replies(), expected);
}

void TestSimulator::newClientTakesThePlaceOfTheOld()
{
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client first(simulator.controlPort());
    QVERIFY(first.isUp());
    first.send(wire::enable() + wire::scan(64, 64, 100)
               + message("SetViewField", real("2.000000e-01")).left(40));
    QTRY_VERIFY_WITH_TIMEOUT(!first.runs().isEmpty(), 10000);
    Client second(simulator.controlPort());
    QVERIFY(second.isUp());
    second.send(message("GetWD")); // not the rest of the first one's command
    QTRY_COMPARE_WITH_TIMEOUT(second.replies(), workingDistance, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(!first.controlIsOpen(), 10000);
    QVERIFY(second.dataIsSilent()); // the first one's scan has ended
}

void TestSimulator::stageTravelsAlongALine()
{
    using simulator::Stage;
    using simulator::StagePosition;
    Stage stage({ 1, 1, 0, 0, 0 }, 2);
    QVERIFY(stage.moveTo({ 4, 5, 0, 10, 0 }, 100)); // 5 mm: 2.5 s
    QCOMPARE(stage.position(100), (StagePosition{ 1, 1, 0, 0, 0 }));
    QCOMPARE(stage.position(101.25), (StagePosition{ 2.5, 3, 0, 5, 0 }));
    QVERIFY(stage.moveTo({ 2.5, 1, 0, 5, 0 }, 101.25)); // turns round on the way
    QCOMPARE(stage.position(101.75), (StagePosition{ 2.5, 2, 0, 5, 0 }));
    QCOMPARE(stage.position(1000), (StagePosition{ 2.5, 1, 0, 5, 0 }));
}

void TestSimulator::featureLiesWhereTheStageShowsIt_data()
{
    QTest::addColumn<QPointF>("stageMm");
    QTest::addColumn<QPointF>("offsetMm");
    QTest::addColumn<double>("rotationDegrees");
    QTest::addColumn<double>("scale");
    QTest::addColumn<QPointF>("expected"); // in a frame of 400 pixels of 1 um
    const QPointF origin;
    QTest::newRow("nominal") << origin << origin << 0.0 << 1.0 << QPointF(300, 150);
    QTest::newRow("stage x") << QPointF(0.02, 0) << origin << 0.0 << 1.0 << QPointF(320, 150);
    QTest::newRow("stage y") << QPointF(0, 0.02) << origin << 0.0 << 1.0 << QPointF(300, 130);
    QTest::newRow("stage away") << QPointF(-0.1, -0.05) << origin << 0.0 << 1.0
                                << QPointF(200, 200);
    QTest::newRow("offset") << origin << QPointF(0.01, -0.03) << 0.0 << 1.0 << QPointF(290, 120);
    QTest::newRow("quarter turn") << origin << origin << 90.0 << 1.0 << QPointF(250, 300);
    QTest::newRow("quarter turn, stage")
        << QPointF(0.02, 0.01) << origin << 90.0 << 1.0 << QPointF(270, 290);
    QTest::newRow("small turn") << origin << origin << 10.0 << 1.0 << QPointF(307.163, 168.124);
    QTest::newRow("scale") << origin << origin << 0.0 << 2.0 << QPointF(250, 175);
    QTest::newRow("scale, stage") << QPointF(0.02, 0) << origin << 0.0 << 2.0 << QPointF(270, 175);
}

void TestSimulator::featureLiesWhereTheStageShowsIt()
{
    QFETCH(QPointF, stageMm);
    QFETCH(QPointF, offsetMm);
    QFETCH(double, rotationDegrees);
    QFETCH(double, scale);
    QFETCH(QPointF, expected);
    Options options = m_tiny;
    options.stageMm = stageMm;
    options.offsetMm = offsetMm;
    options.rotationDegrees = rotationDegrees;
    options.scale = scale;
    int count = 0;
    const QPointF found = brightCentre(frameOf(options, 400, 100000), 400, &count);
    QVERIFY(std::abs(std::sqrt(count) * scale - 20) < 1.5);
    QVERIFY2(QLineF(found, expected).length() < 0.6,
             qPrintable(QStringLiteral("%1, %2").arg(found.x()).arg(found.y())));
}

// The square's left edge at the largest magnification, where the chip is millions of pixels wide.
void TestSimulator::enlargedEdgeStaysInPlace()
{
    Options options = m_tiny;
    options.viewFieldMm = 0.001;
    options.stageMm = QPointF(-0.05, 0.09); // design (90, 50) um
    for (double degrees : { 90.0, 90.0001 }) {
        options.rotationDegrees = degrees;
        const QByteArray pixels = frameOf(options, 256, 100000);
        QCOMPARE(pixels.size(), 256 * 256);
        const QPointF centre = brightCentre(pixels, 256);
        QVERIFY2(std::abs(centre.x() - 128) < 2 && std::abs(centre.y() - 192) < 2,
                 qPrintable(QStringLiteral("%1, %2").arg(centre.x()).arg(centre.y())));
    }
}

void TestSimulator::movedStageShowsInTheRunningScan()
{
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(wire::enable(1) + wire::scan(400, 400, 100000));
    QVERIFY(QLineF(brightCentre(frame(&client, 400, 400), 400), QPointF(300, 150)).length() < 0.6);
    const QByteArray zero = real("0.000000e+00");
    client.send(
        message("StgMoveTo", real("-1.000000e-01") + real("-5.000000e-02") + zero + zero + zero));
    bool shown = false;
    for (int i = 0; i < 2000 && !shown; ++i) // some frames from before are still under way
        shown =
            QLineF(brightCentre(frame(&client, 400, 400), 400), QPointF(200, 200)).length() < 0.6;
    QVERIFY(shown);
}

void TestSimulator::scanKeepsToItsWindow_data()
{
    QTest::addColumn<QByteArray>("arguments");
    QTest::addColumn<int>("runs"); // of one frame; 0: refused
    QTest::addColumn<int>("firstIndex");
    QTest::addColumn<int>("pixels");
    QTest::newRow("not square") << numbers({ 0, 40, 30, 0, 0, 39, 29, 0, 100 }) << 3 << 0 << 400;
    QTest::newRow("window") << numbers({ 0, 40, 30, 5, 7, 14, 9, 0, 100 }) << 3 << 285 << 10;
    QTest::newRow("rows only") << numbers({ 0, 40, 30, 0, 10, 39, 15, 0, 100 }) << 1 << 400 << 240;
    QTest::newRow("no width") << numbers({ 0, 0, 30, 0, 0, 0, 29, 0, 100 }) << 0 << 0 << 0;
    QTest::newRow("too large") << numbers({ 0, 16385, 30, 0, 0, 39, 29, 0, 100 }) << 0 << 0 << 0;
    QTest::newRow("window outside") << numbers({ 0, 40, 30, 0, 0, 40, 29, 0, 100 }) << 0 << 0 << 0;
    QTest::newRow("window inside out")
        << numbers({ 0, 40, 30, 9, 0, 3, 29, 0, 100 }) << 0 << 0 << 0;
    QTest::newRow("no dwell time") << numbers({ 0, 40, 30, 0, 0, 39, 29, 0, 0 }) << 0 << 0 << 0;
}

void TestSimulator::scanKeepsToItsWindow()
{
    QFETCH(QByteArray, arguments);
    QFETCH(int, runs);
    QFETCH(int, firstIndex);
    QFETCH(int, pixels);
    Options options = m_tiny;
    options.scan.rowsPerMessage = 10;
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(options, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(wire::enable() + message("ScScanXY", arguments));
    const QByteArray expected = message("ScScanXY", numbers({ runs ? 0 : -1 }));
    QTRY_COMPARE_WITH_TIMEOUT(client.replies(), expected, 10000);
    QVector<wire::Run> got;
    if (runs == 0)
        QVERIFY(client.dataIsSilent());
    else
        QTRY_VERIFY_WITH_TIMEOUT((got += client.takeRuns()).size() > 2 * runs, 10000);
    for (int i = 0; i < 2 * runs; ++i) { // the second frame begins where the first did
        QCOMPARE(got.at(i).pixels.size(), pixels);
        QCOMPARE(int(got.at(i).index), firstIndex + i % runs * qMax(40, pixels));
    }
}

void TestSimulator::stoppedScanIsSilent()
{
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(wire::enable() + wire::scan(64, 64, 100));
    QTRY_VERIFY_WITH_TIMEOUT(!client.runs().isEmpty(), 10000);
    client.send(message("ScStopScan"));
    QTRY_VERIFY_WITH_TIMEOUT(client.dataIsSilent(), 20000); // after what was under way
    QVERIFY(client.dataIsSilent());
    client.takeRuns();
    client.send(wire::scan(32, 32, 100));
    QTRY_VERIFY_WITH_TIMEOUT(!client.runs().isEmpty(), 10000);
}

void TestSimulator::unreadDataHoldsTheScan()
{
    Simulator simulator;
    QString error;
    QVERIFY2(simulator.start(m_tiny, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.data()->setReadBufferSize(1024);
    client.send(wire::enable() + wire::scan(2048, 2048, 100)); // far more than the sockets hold
    QTRY_VERIFY_WITH_TIMEOUT(client.data()->bytesAvailable() > 0, 10000);
    for (int i = 0; i < 200; ++i) { // the control channel lives on
        client.forgetReplies();
        client.send(message("GetWD"));
        QTRY_VERIFY_WITH_TIMEOUT(client.replies().endsWith(workingDistance), 10000);
    }
    client.send(message("ScStopScan"));
    client.data()->setReadBufferSize(0);
    qint64 bytes = 0;
    do {
        for (const wire::Run &run : client.takeRuns()) {
            QCOMPARE(qint64(run.index), bytes % (2048 * 2048)); // nothing was left out
            bytes += run.pixels.size();
        }
    } while (!client.dataIsSilent());
    QVERIFY2(bytes > 0 && bytes < 40e6, qPrintable(QString::number(bytes)));
}

void TestSimulator::noiseFollowsSeedAndDwellTime()
{
    Options options = m_tiny;
    options.stageMm = QPointF(0.5, 0.5); // nothing but substrate
    const QByteArray quick = frameOf(options, 128, 100);
    QCOMPARE(frameOf(options, 128, 100), quick);
    const QByteArray slow = frameOf(options, 128, 10000);
    QVERIFY(deviation(slow) > 0);
    QVERIFY(deviation(quick) > 6 * deviation(slow)); // ten times, but for rounding
    QVERIFY(deviation(quick) < 14 * deviation(slow));
    options.scan.seed = 2;
    QVERIFY(frameOf(options, 128, 100) != quick);
}

void TestSimulator::faults_data()
{
    QTest::addColumn<QString>("faults");
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<bool>("closes");
    const QByteArray wd = message("GetWD");
    const QByteArray view = message("GetViewField", real("4.000000e-01"));
    const QByteArray endless =
        message("GetWD").replace(16, 4, wire::number(0xFFFFFFFFu)) + QByteArray(32, 'x');
    QTest::newRow("cut-control=40")
        << QString("cut-control=40") << wd + wd << workingDistance.left(40) << true;
    QTest::newRow("reset-control=0") << QString("reset-control=0") << wd << QByteArray() << true;
    QTest::newRow("stall-control=60") << QString("stall-control=60") << wd + wd
                                      << (workingDistance + workingDistance).left(60) << false;
    QTest::newRow("delay") << QString("delay=50") << wd + message("GetViewField")
                           << workingDistance + view << false;
    QTest::newRow("twice") << QString("twice") << wd << workingDistance + workingDistance << false;
    QTest::newRow("reorder") << QString("reorder") << wd + message("GetViewField")
                             << view + workingDistance << false;
    QTest::newRow("unknown") << QString("unknown") << wd + wd + wd
                             << workingDistance + workingDistance
            + message("NoSuchReply",
                      wire::number(24)
                          + QByteArray("nothing to be done with").leftJustified(24, '\0'))
            + workingDistance << false;
    QTest::newRow("oversized") << QString("oversized") << wd.repeated(8)
                               << workingDistance.repeated(7) + endless << false;
    QTest::newRow("truncated") << QString("truncated") << wd.repeated(4)
                               << message("GetWD") + workingDistance.repeated(2)
            + message("GetWD",
                      QByteArray("\xf0\xff\xff\xff"
                                 "12",
                                 6))
                               << false;
    QTest::newRow("nonfinite") << QString("nonfinite") << message("GetViewField").repeated(3)
                               << view + view
            + message("GetViewField", numbers({ 4 }) + QByteArray("inf\0", 4))
                               << false;
}

void TestSimulator::faults()
{
    QFETCH(QString, faults);
    QFETCH(QByteArray, commands);
    QFETCH(QByteArray, expected);
    QFETCH(bool, closes);
    Options options = m_tiny;
    QString error;
    QVERIFY2(simulator::parseFaults(faults, &options.faults, &error), qPrintable(error));
    options.faults.once = true;
    Simulator simulator;
    QVERIFY2(simulator.start(options, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(commands);
    QTRY_COMPARE_WITH_TIMEOUT(client.replies().left(expected.size()), expected, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(client.controlIsOpen(), !closes, 10000);
    Client second(simulator.controlPort()); // the faults were for the first one
    QVERIFY(second.isUp());
    second.send(message("GetWD"));
    QTRY_COMPARE_WITH_TIMEOUT(second.replies(), workingDistance, 10000);
}

void TestSimulator::dataFaults_data()
{
    QTest::addColumn<QString>("faults");
    QTest::addColumn<int>("limit"); // bytes that come; -1: no end
    QTest::addColumn<bool>("closes");
    QTest::addColumn<QByteArray>("contains");
    QTest::newRow("cut-data") << QString("cut-data=1000") << 1000 << true << QByteArray("ScData");
    QTest::newRow("reset-data") << QString("reset-data=0") << 0 << true << QByteArray();
    QTest::newRow("stall-data") << QString("stall-data=5000") << 5000 << false
                                << QByteArray("ScData");
    QTest::newRow("refuse-data") << QString("refuse-data") << 0 << true << QByteArray();
    QTest::newRow("garbage") << QString("garbage") << -1 << false << QByteArray("NoScanData");
}

void TestSimulator::dataFaults()
{
    QFETCH(QString, faults);
    QFETCH(int, limit);
    QFETCH(bool, closes);
    QFETCH(QByteArray, contains);
    Options options = m_tiny;
    QString error;
    QVERIFY2(simulator::parseFaults(faults, &options.faults, &error), qPrintable(error));
    Simulator simulator;
    QVERIFY2(simulator.start(options, &error), qPrintable(error));
    Client client(simulator.controlPort());
    QVERIFY(client.isUp());
    client.send(wire::enable() + wire::scan(16, 16, 100));
    QByteArray bytes;
    QTRY_VERIFY_WITH_TIMEOUT(
        (bytes += client.data()->readAll()).contains(contains) && bytes.size() >= limit, 10000);
    QTRY_COMPARE_WITH_TIMEOUT(client.data()->state() != QAbstractSocket::ConnectedState, closes,
                              10000);
    if (limit >= 0)
        QCOMPARE((bytes + client.data()->readAll()).size(), limit);
    client.send(message("GetWD")); // the control channel is not concerned
    QTRY_VERIFY_WITH_TIMEOUT(client.replies().endsWith(workingDistance), 10000);
}

void TestSimulator::commandLine_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<int>("code");
    QTest::addColumn<QString>("says");
    QTest::newRow("help") << QStringList{ "--help" } << 0 << "refuse-data";
    QTest::newRow("missing layout")
        << QStringList{ "--design", "nowhere.gds" } << 1 << "nowhere.gds";
    QTest::newRow("no number") << QStringList{ "--port", "many" } << 2 << "--port";
    QTest::newRow("no point") << QStringList{ "--offset", "1" } << 2 << "--offset";
    QTest::newRow("unknown option") << QStringList{ "--quick" } << 2 << "quick";
    QTest::newRow("unknown fault") << QStringList{ "--fault", "twice,thrice" } << 2 << "thrice";
    QTest::newRow("fault without its number")
        << QStringList{ "--fault", "cut-data" } << 2 << "cut-data=N";
}

void TestSimulator::commandLine()
{
    QFETCH(QStringList, arguments);
    QFETCH(int, code);
    QFETCH(QString, says);
    QProcess process;
    process.start(SIMULATOR_FILE, arguments);
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), code);
    const QByteArray errors = process.readAllStandardError();
    QCOMPARE(errors.count('\n'), code ? 1 : 0);
    QVERIFY(QString::fromLocal8Bit(errors + process.readAllStandardOutput()).contains(says));
}

QTEST_GUILESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
