#include "simulator/options.h"
#include "simulator/simulator.h"
#include "simulator/stage.h"
#include "tests/microscopeclient.h"

#include <QTemporaryDir>

#include <sys/socket.h>
#include <unistd.h>

using simulator::Options;
using wire::message;
using wire::numbers;
using wire::real;

Q_DECLARE_METATYPE(Options)

class TestSimulator : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void repliesAreExact_data();
    void repliesAreExact();
    void scanEndsWithItsClient();
    void clientIsGoneBeforeItsAnswer();
    void stageTakesItsTime();
    void featureLiesWhereTheStageShowsIt_data();
    void featureLiesWhereTheStageShowsIt();
    void movedStageShowsInTheRunningScan();
    void designReaderDies();
    void scanKeepsToItsWindow();
    void noiseFollowsSeedAndDwellTime();
    void commandLine_data();
    void commandLine();

private:
    QTemporaryDir m_folder;
    QString m_dense;
    Options m_plain; // without a design: the test pattern
    Options m_tiny; // a square of 20 um at (100, 50) um in an otherwise empty chip around (0, 0)
};

namespace {

const QByteArray workingDistance = message("GetWD", real("9.500000e+00"));
const QByteArray zero = real("0.000000e+00");

struct Session {
    simulator::Simulator simulator;
    wire::Client client;

    explicit Session(const Options &options)
        : client(start(options))
    {
    }

    quint16 start(const Options &options)
    {
        QString error;
        if (!simulator.start(options, &error))
            qFatal("%s", qPrintable(error));
        return simulator.controlPort();
    }

    /// The next frame that comes in whole.
    QByteArray frame(int edge)
    {
        QByteArray pixels(edge * edge, '\0');
        const auto takeRuns = [&] {
            bool complete = false;
            for (const wire::Run &run : client.runs) {
                pixels.replace(int(run.index), run.pixels.size(), run.pixels);
                complete = complete || run.index + run.pixels.size() == pixels.size();
            }
            client.runs.clear();
            return complete;
        };
        return QTest::qWaitFor(takeRuns, 30000) ? pixels : QByteArray();
    }
};

QByteArray frameOf(const Options &options, int edge, int dwellNs)
{
    Session session(options);
    session.client.send(wire::enable(1) + wire::scan(edge, dwellNs));
    return session.frame(edge);
}

// The centre of gravity of all bright pixels, in pixel corner coordinates.
QPointF brightCentre(const QByteArray &pixels, int width)
{
    QPointF sum;
    int count = 0;
    for (int i = 0; i < pixels.size(); ++i) {
        if (uchar(pixels.at(i)) >= 130) {
            sum += QPointF(i % width + 0.5, i / width + 0.5);
            ++count;
        }
    }
    return sum / qMax(1, count);
}

bool isNear(QPointF found, QPointF expected)
{
    return QLineF(found, expected).length() < 0.25;
}

int greyLevels(const QByteArray &pixels)
{
    return QSet<char>(pixels.begin(), pixels.end()).size();
}

} // namespace

// The third layer is bright to the BSE detector, the others are not. Lengths are in 10 nm.
QByteArray chip(const QByteArray &more)
{
    return "DS 1 1 1; L L1; B 100 100 -89950 -89950; L L2; B 100 100 89950 89950;\n"
           "L L3; B 2000 2000 10000 5000; "
        + more + " DF;\n";
}

// So many shapes in the same window that they come as a picture: a grid of dots, 400 by 300.
QByteArray denseChip()
{
    QByteArray row = "DS 2 1 1; L L1; B 10 10 5 5; DF;\nDS 3 1 1;", grid;
    for (int i = 0; i < 400; ++i)
        row += " C 2 T " + QByteArray::number(i * 20) + " 0;";
    for (int i = 0; i < 300; ++i)
        grid += " C 3 T -12000 " + QByteArray::number(i * 20) + ";";
    return row + " DF;\n" + chip(grid);
}

void TestSimulator::initTestCase()
{
    const auto write = [this](const char *name, const QByteArray &cells) {
        QFile file(m_folder.filePath(name));
        file.open(QIODevice::WriteOnly);
        file.write(cells + "C 1; E\n");
        return file.fileName();
    };
    m_dense = write("dense.cif", denseChip());
    m_tiny.port = 0;
    m_tiny.stageMm = QPointF(0, 0);
    m_tiny.stageSpeedMmPerSecond = 0;
    m_tiny.viewFieldMm = 0.4;
    m_tiny.scan.fast = true;
    m_plain = m_tiny;
    m_tiny.designFile = write("tiny.cif", chip(QByteArray()));
}

void TestSimulator::repliesAreExact_data()
{
    QTest::addColumn<QByteArray>("commands");
    QTest::addColumn<QByteArray>("expected");
    QTest::addColumn<bool>("malformed"); // which ends the connection
    const QByteArray detectors = numbers({ 64 })
        + QByteArray("det.0.name=SE\ndet.0.detector=0\ndet.1.name=BSE\ndet.1.detector=1\n")
              .leftJustified(64, '\0');
    const QByteArray view = real("1.500000e-03");
    const QByteArray place = real("-1.250000e+00") + zero + zero + real("4.500000e+01") + zero;
    QByteArray impossible;
    for (const char *value : { "nan", "-inf", "-1.000000e+06" })
        impossible += message("SetViewField", real(value))
            + message("StgMoveTo", zero + real(value) + zero + zero + zero);
    const auto row = [](const char *name, const QByteArray &commands, const QByteArray &expected) {
        QTest::newRow(name) << commands << expected << false;
    };
    row("detectors", message("DtEnumDetectors"), message("DtEnumDetectors", detectors));
    row("view field", message("SetViewField", view) + message("GetViewField"),
        message("GetViewField", view));
    row("stage", message("StgMoveTo", place) + message("StgGetPosition"),
        message("StgGetPosition", place));
    row("impossible settings", impossible + message("GetViewField") + message("StgGetPosition"),
        message("GetViewField", real("4.000000e-01"))
            + message("StgGetPosition", zero.repeated(5)));
    row("scan, then one outside its frame",
        wire::enable() + wire::scan(512, 500) + message("ScStopScan")
            + message("ScScanXY", numbers({ 0, 40, 30, 0, 0, 40, 29, 0, 100 })),
        message("ScScanXY", numbers({ 0 })) + message("ScScanXY", numbers({ -1 })));
    row("unknown command", message("DoSomething", "12345"), QByteArray());
    const auto malformed = [](const char *name, const QByteArray &bytes) {
        QTest::newRow(name) << bytes << QByteArray() << true;
    };
    malformed("web browser", "GET / HTTP/1.1\r\nHost: microscope\r\n\r\n");
    malformed("no name", message(""));
    malformed("huge body", message("GetWD").replace(16, 4, numbers({ 0xFFFFFFFF })));
    malformed("missing argument", message("DtSelect", numbers({ 0 })));
    malformed("text too long", message("SetViewField", numbers({ 400 }) + "1.0e-3"));
    malformed("no number", message("SetViewField", real("wide")));
}

// A command that stays silent must not be seen before the reply to the one behind it.
void TestSimulator::repliesAreExact()
{
    QFETCH(QByteArray, commands);
    QFETCH(QByteArray, expected);
    QFETCH(bool, malformed);
    commands = message("GetWD") + commands + message("GetWD");
    expected = workingDistance + expected + (malformed ? QByteArray() : workingDistance);
    for (const int piece : { commands.size(), 1 }) {
        Session session(m_plain);
        for (int i = 0; i < commands.size(); i += piece) {
            session.client.send(commands.mid(i, piece));
            QCoreApplication::processEvents();
        }
        QTRY_VERIFY_WITH_TIMEOUT(malformed ? !session.client.isOpen()
                                           : session.client.replies.size() >= expected.size(),
                                 10000);
        QCOMPARE(session.client.replies, expected);
        wire::Client next(session.simulator.controlPort());
        next.send(message("GetWD"));
        QTRY_COMPARE_WITH_TIMEOUT(next.replies, workingDistance, 10000);
    }
}

void TestSimulator::scanEndsWithItsClient()
{
    Session session(m_plain);
    wire::Client &first = session.client;
    first.send(wire::enable() + wire::scan(64, 100));
    QTRY_VERIFY_WITH_TIMEOUT(!first.runs.isEmpty(), 10000);
    first.send(message("ScStopScan"));
    QTRY_VERIFY_WITH_TIMEOUT(first.dataIsSilent(), 20000); // after what was under way
    QVERIFY(first.dataIsSilent());
    first.runs.clear();
    first.send(wire::scan(64, 100) + message("SetViewField").left(20));
    QTRY_VERIFY_WITH_TIMEOUT(!first.runs.isEmpty(), 10000);
    wire::Client second(session.simulator.controlPort());
    second.send(message("GetWD")); // not the rest of the first one's command
    QTRY_COMPARE_WITH_TIMEOUT(second.replies, workingDistance, 10000);
    QTRY_VERIFY_WITH_TIMEOUT(!first.isOpen(), 10000);
    QVERIFY(second.dataIsSilent());
}

// The answer to a client that has gone finds out about it, in the middle of ending the connection.
void TestSimulator::clientIsGoneBeforeItsAnswer()
{
    Options options = m_plain;
    QString error;
    QVERIFY(simulator::parseFaults("cut-control=10", &options.faults, &error));
    options.faults.once = true;
    Session session(options);
    session.client.send(message("GetWD").repeated(20));
    const linger atOnce = { 1, 0 };
    setsockopt(int(session.client.control.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
               sizeof atOnce);
    session.client.control.abort();
    if (!QTest::qWaitFor([&] { return session.simulator.commandsServed() > 0; }, 10000))
        QSKIP("this system drops what came before a reset");
    wire::Client next(session.simulator.controlPort());
    next.send(message("GetWD"));
    QTRY_COMPARE_WITH_TIMEOUT(next.replies, workingDistance, 10000);
}

void TestSimulator::stageTakesItsTime()
{
    simulator::Stage stage({ 1, 1, 0, 0, 0 }, 2);
    QVERIFY(stage.moveTo({ 4, 5, 0, 10, 0 }, 100)); // 5 mm: 2.5 s
    QCOMPARE(stage.position(101.25), (simulator::StagePosition{ 2.5, 3, 0, 5, 0 }));
    QVERIFY(stage.moveTo({ 2.5, 1, 0, 5, 0 }, 101.25)); // turns round on the way
    QCOMPARE(stage.position(101.75), (simulator::StagePosition{ 2.5, 2, 0, 5, 0 }));
    QCOMPARE(stage.position(1000), (simulator::StagePosition{ 2.5, 1, 0, 5, 0 }));
}

void TestSimulator::featureLiesWhereTheStageShowsIt_data()
{
    QTest::addColumn<Options>("options");
    QTest::addColumn<QPointF>("expected"); // in a frame of 400 pixels
    const auto row = [this](const char *name, QPointF stageMm, QPointF offsetMm, double degrees,
                            double scale, double viewFieldMm, QPointF expected) {
        Options options = m_tiny;
        options.stageMm = stageMm;
        options.offsetMm = offsetMm;
        options.rotationDegrees = degrees;
        options.scale = scale;
        options.viewFieldMm = viewFieldMm;
        QTest::newRow(name) << options << expected;
        options.designFile = m_dense;
        if (viewFieldMm > 0.1)
            QTest::addRow("%s, a picture of many shapes", name) << options << expected;
    };
    row("nominal", { 0, 0 }, { 0, 0 }, 0, 1, 0.4, { 300, 150 });
    row("stage", { 0.02, 0.01 }, { 0, 0 }, 0, 1, 0.4, { 320, 140 });
    row("offset", { 0, 0 }, { 0.01, -0.03 }, 0, 1, 0.4, { 290, 120 });
    row("quarter turn, stage", { 0.02, 0.01 }, { 0, 0 }, 90, 1, 0.4, { 270, 290 });
    row("small turn", { 0, 0 }, { 0, 0 }, 10, 1, 0.4, { 307.163, 168.124 });
    row("scale, stage", { 0.02, 0 }, { 0, 0 }, 0, 2, 0.4, { 270, 175 });
    // the square's left edge, where the chip is millions of pixels wide
    row("enlarged", { -0.05, 0.09 }, { 0, 0 }, 90.0001, 1, 0.001, { 200, 300 });
}

void TestSimulator::featureLiesWhereTheStageShowsIt()
{
    QFETCH(Options, options);
    QFETCH(QPointF, expected);
    const QPointF found = brightCentre(frameOf(options, 400, 100000), 400);
    QVERIFY2(isNear(found, expected),
             qPrintable(QStringLiteral("%1, %2").arg(found.x()).arg(found.y())));
}

void TestSimulator::movedStageShowsInTheRunningScan()
{
    Session session(m_tiny);
    session.client.send(wire::enable(1) + wire::scan(400, 100000));
    const QByteArray frame = session.frame(400);
    QVERIFY(isNear(brightCentre(frame, 400), { 300, 150 }));
    QVERIFY(uchar(frame.at(150 * 400 + 300)) > 190); // less to the SE detector
    session.client.send(
        message("StgMoveTo", real("-1.000000e-01") + real("-5.000000e-02") + zero.repeated(3)));
    bool shown = false;
    for (int i = 0; i < 2000 && !shown; ++i) // some frames from before are still under way
        shown = isNear(brightCentre(session.frame(400), 400), { 200, 200 });
    QVERIFY(shown);
}

/// The picture stays as it was, and follows the stage once KLayout has been started again.
void TestSimulator::designReaderDies()
{
    Session session(m_tiny);
    session.client.send(wire::enable(1) + wire::scan(400, 100000));
    QVERIFY(isNear(brightCentre(session.frame(400), 400), { 300, 150 }));
    QCOMPARE(QProcess::execute("pkill", { "-KILL", "-P", QString::number(getpid()), "klayout" }),
             0);
    session.client.send(
        message("StgMoveTo", real("-1.000000e-01") + real("-5.000000e-02") + zero.repeated(3)));
    QPointF centre;
    while (!isNear(centre, { 200, 200 })) {
        centre = brightCentre(session.frame(400), 400);
        QVERIFY(isNear(centre, { 300, 150 }) || isNear(centre, { 200, 200 }));
    }
}

void TestSimulator::scanKeepsToItsWindow()
{
    Options options = m_plain;
    options.scan.rowsPerMessage = 10;
    Session session(options);
    session.client.send(wire::enable()
                        + message("ScScanXY", numbers({ 0, 40, 30, 5, 7, 14, 9, 0, 100 })));
    QTRY_VERIFY_WITH_TIMEOUT(session.client.runs.size() > 6, 10000);
    for (int i = 0; i < 6; ++i) { // the second frame begins where the first did
        QCOMPARE(session.client.runs.at(i).index, 7 * 40 + 5 + i % 3 * 40);
        QCOMPARE(session.client.runs.at(i).pixels.size(), 10);
    }
}

void TestSimulator::noiseFollowsSeedAndDwellTime()
{
    Options options = m_plain;
    options.stageMm = QPointF(5, 5); // nothing but substrate
    const QByteArray quick = frameOf(options, 128, 100);
    const QByteArray slow = frameOf(options, 128, 10000);
    QVERIFY(greyLevels(slow) > 1);
    QVERIFY(greyLevels(quick) > 4 * greyLevels(slow));
    QCOMPARE(frameOf(options, 128, 100), quick);
    options.scan.seed = 2;
    QVERIFY(frameOf(options, 128, 100) != quick);
}

void TestSimulator::commandLine_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("--help") << 0 << QByteArray("refuse-data");
    QTest::newRow("--design nowhere.gds") << 1 << QByteArray("nowhere.gds");
    QTest::newRow("--design " SIMULATOR_FILE)
        << 1 << QByteArray("microscope-simulator: cannot read");
    QTest::newRow("--design " SAMPLE_LAYOUT) << 1 << QByteArray("cannot start klayout");
    QTest::newRow("--offset 1") << 2 << QByteArray("--offset");
    QTest::newRow("--fault twice,thrice") << 2 << QByteArray("thrice");
}

void TestSimulator::commandLine()
{
    QFETCH(int, code);
    QFETCH(QByteArray, says);
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QProcessEnvironment nowhere;
    nowhere.insert("PATH", "/nowhere");
    if (says.contains("klayout"))
        process.setProcessEnvironment(nowhere);
    process.start(SIMULATOR_FILE, QString(QTest::currentDataTag()).split(' '));
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), code);
    const QByteArray output = process.readAll();
    QVERIFY2(output.contains(says), output);
}

QTEST_GUILESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
