#include "simulator/options.h"
#include "simulator/simulator.h"
#include "tests/microscopeclient.h"

#include <QTemporaryDir>

#include <csignal>
#include <sys/socket.h>

using simulator::Options;
using wire::message;
using wire::numbers;
using wire::real;

Q_DECLARE_METATYPE(Options)

class TestSimulator : public QObject {
    Q_OBJECT
private slots:
    void initTestCase();
    void repliesAreExact();
    void clientIsGoneBeforeItsAnswer();
    void featureLiesWhereTheStageShowsIt_data();
    void featureLiesWhereTheStageShowsIt();
    void pollsDoNotWaitForThePicture();
    void runningScanShowsTheMovedStage();
    void formatsLookAlike();
    void commandLine_data();
    void commandLine();
    void killedSimulatorLeavesNoProcess();

private:
    QTemporaryDir m_folder;
    Options m_options; // a square of 20 um at (100, 50) um in an otherwise empty chip around (0, 0)
};

namespace {

const QByteArray getWorkingDistance = message("GetWD");
const QByteArray workingDistance = message("GetWD", real("9.500000e+00"));

// The third layer is bright to the BSE detector, the others are not; labels make no layer. Around
// the square lies one other or 81 million.
const char designs[] = R"(
import pya

def design(file, count):
    layout = pya.Layout()
    chip, dot = layout.create_cell("CHIP"), layout.create_cell("DOT")
    for cell, layer, x, y, edge in ((chip, 1, -900000, -900000, 1000), (dot, 1, 0, 0, 400),
                                    (chip, 2, 899000, 899000, 1000), (chip, 3, 90000, 40000, 20000)):
        cell.shapes(layout.layer(layer, 0)).insert(pya.Box(x, y, x + edge, y + edge))
    chip.shapes(layout.layer(0, 0)).insert(pya.Text("label", pya.Trans()))
    chip.insert(pya.CellInstArray(dot.cell_index(), pya.Trans(-3000000, -3000000),
                                  pya.Vector(700, 0), pya.Vector(0, 700), count, count))
    layout.write(file)

design("lonely.cif", 1)
design("crowded.oas", 9000)
sample = pya.Layout()
sample.read(sample_layout)
sample.write("sample.oas")
)";

struct Session : simulator::Simulator, wire::Client {
    explicit Session(const Options &options)
    {
        QString error;
        if (!start(options, &error))
            qFatal("%s", qPrintable(error));
        open(controlPort());
    }
};

// The centre of gravity of all bright pixels of a square frame, in pixel corner coordinates.
QPointF brightCentre(const QByteArray &pixels)
{
    const int width = qRound(std::sqrt(pixels.size()));
    QPointF sum;
    int count = 0;
    for (int i = 0; i < pixels.size(); ++i) {
        const bool bright = uchar(pixels.at(i)) >= 130;
        sum += bright * QPointF(i % width + 0.5, i / width + 0.5);
        count += bright;
    }
    return sum / qMax(1, count);
}

bool isNear(QPointF found, QPointF expected)
{
    return QLineF(found, expected).length() < 0.1;
}

QByteArray procFile(const char *name, qint64 process)
{
    QFile file(QString(name).arg(process));
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

qint64 childOf(qint64 process)
{
    return procFile("/proc/%1/task/%1/children", process).toLongLong();
}

double peakMib(qint64 process)
{
    const QByteArray status = procFile("/proc/%1/status", process);
    return status.mid(status.indexOf("VmHWM:") + 6).trimmed().split(' ').first().toInt() / 1024.0;
}

} // namespace

void TestSimulator::initTestCase()
{
    QVERIFY(QDir::setCurrent(m_folder.path()));
    QFile script("designs.py");
    QVERIFY(script.open(QIODevice::WriteOnly) && script.write(designs) > 0);
    script.close();
    QCOMPARE(QProcess::execute(
                 "klayout", { "-zz", "-rd", "sample_layout=" SAMPLE_LAYOUT, "-r", "designs.py" }),
             0);
    m_options.designFile = "lonely.cif";
    m_options.port = 0;
    m_options.stageMm = QPointF(0, 0);
    m_options.stageSpeedMmPerSecond = 0;
    m_options.viewFieldMm = 0.4;
    m_options.scan.fast = true;
}

// A command that stays silent must not be seen before the reply to the one behind it.
void TestSimulator::repliesAreExact()
{
    Session session(m_options);
    const QByteArray view = message("GetViewField", real("1.500000e-03"));
    const QByteArray commands = message("SetViewField", real("1.500000e-03"))
        + message("SetViewField", real("-inf")) + message("DoSomething", "12345")
        + message("GetViewField") + getWorkingDistance + message("DtSelect", numbers({ 0 }))
        + getWorkingDistance; // the one before is malformed and ends the connection
    for (char byte : commands)
        session.send(QByteArray(1, byte));
    QTRY_COMPARE_WITH_TIMEOUT(session.control.state(), QAbstractSocket::UnconnectedState, 10000);
    QCOMPARE(session.control.readAll(), view + workingDistance);
}

// The answer to a client that has gone finds out about it, in the middle of ending the connection.
void TestSimulator::clientIsGoneBeforeItsAnswer()
{
    Options options = m_options;
    QString error;
    QVERIFY(simulator::parseFaults("cut-control=10", &options.faults, &error));
    options.faults.once = true;
    Session session(options);
    session.send(getWorkingDistance.repeated(20));
    const linger atOnce = { 1, 0 };
    setsockopt(int(session.control.socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce,
               sizeof atOnce);
    session.control.abort();
    if (!QTest::qWaitFor([&] { return session.commandsServed() > 0; }, 10000))
        QSKIP("this system drops what came before a reset");
    wire::Client next;
    next.open(session.controlPort());
    next.send(getWorkingDistance);
    QTRY_COMPARE_WITH_TIMEOUT(next.control.bytesAvailable(), workingDistance.size(), 10000);
}

void TestSimulator::featureLiesWhereTheStageShowsIt_data()
{
    QTest::addColumn<Options>("options");
    QTest::addColumn<QPointF>("expected"); // in a frame of 400 pixels
    const auto row = [this](QPointF stageMm, QPointF offsetMm, double degrees, double scale,
                            double viewFieldMm, QPointF expected) {
        Options options = m_options;
        options.stageMm = stageMm;
        options.offsetMm = offsetMm;
        options.rotationDegrees = degrees;
        options.scale = scale;
        options.viewFieldMm = viewFieldMm;
        for (const char *file : { "lonely.cif", "crowded.oas" }) {
            options.designFile = file;
            QTest::addRow("%s, %g, %g", file, degrees, viewFieldMm) << options << expected;
        }
    };
    row({ 0.02, 0.01 }, { 0.01, -0.03 }, 0, 1, 0.4, { 310, 110 });
    row({ 0.02, 0 }, { 0, 0 }, 0, 2, 0.4, { 270, 175 });
    row({ 0.02, 0.01 }, { 0, 0 }, 90, 1, 0.4, { 270, 290 });
    row({ 0, 0 }, { 0, 0 }, 10, 1, 0.4, { 307.163, 168.124 });
    // the square's left edge, where the chip is millions of pixels wide
    row({ -0.05, 0.09 }, { 0, 0 }, 90.0001, 1, 0.001, { 200, 300 });
}

void TestSimulator::featureLiesWhereTheStageShowsIt()
{
    QFETCH(Options, options);
    QFETCH(QPointF, expected);
    Session session(options);
    QElapsedTimer clock;
    clock.start();
    session.send(wire::scan(400, 100000));
    const QPointF found = brightCentre(session.frame(400));
    const double mib = peakMib(getpid()) + peakMib(childOf(getpid()));
    qInfo("at %g, %g after %lld ms, %.0f MiB", found.x(), found.y(), clock.elapsed(), mib);
    QVERIFY(isNear(found, expected));
    QVERIFY(mib < 1024);
}

// KLayout is held up, so the picture can only come after the answer to the poll.
void TestSimulator::pollsDoNotWaitForThePicture()
{
    Session session(m_options);
    ::kill(pid_t(childOf(getpid())), SIGSTOP);
    session.send(wire::scan(400, 100000) + getWorkingDistance);
    QTRY_VERIFY_WITH_TIMEOUT(session.control.peek(1000).endsWith(workingDistance), 10000);
    QCOMPARE(session.data.bytesAvailable(), 0);
    ::kill(pid_t(childOf(getpid())), SIGCONT);
    QVERIFY(isNear(brightCentre(session.frame(400)), QPointF(300, 150)));
}

void TestSimulator::runningScanShowsTheMovedStage()
{
    Session session(m_options);
    session.send(wire::scan(400, 100000));
    const qint64 process = childOf(getpid());
    QPointF before(300, 150);
    for (const bool killed : { false, true }) {
        QVERIFY(isNear(brightCentre(session.frame(400)), before));
        QCOMPARE(::kill(pid_t(process), killed ? SIGKILL : 0), 0);
        session.send(message("StgMoveTo",
                             real(killed ? "5.000000e-02" : "-1.000000e-01")
                                 + real("0.000000e+00").repeated(4)));
        QPointF centre = before;
        for (int i = 0; i < 20000 && isNear(centre, before); ++i)
            centre = brightCentre(session.frame(400)); // from before, or kept meanwhile
        before = killed ? QPointF(350, 150) : QPointF(200, 150);
        QVERIFY(isNear(brightCentre(session.frame(400)), before));
        QCOMPARE(childOf(getpid()) != process, killed);
    }
}

void TestSimulator::formatsLookAlike()
{
    Options options = m_options;
    options.stageMm = QPointF(-1, -0.8);
    QVector<QByteArray> frames;
    for (const char *file : { SAMPLE_LAYOUT, "sample.oas" }) {
        options.designFile = file;
        Session session(options);
        session.send(wire::scan(512, 1000));
        frames.append(session.frame(512));
    }
    QVERIFY(QSet<char>(frames[0].begin(), frames[0].end()).size() > 50);
    QVERIFY(frames[0] == frames[1]);
}

void TestSimulator::commandLine_data()
{
    QTest::addColumn<int>("code");
    QTest::addColumn<QByteArray>("says");
    QTest::newRow("--fault twice,thrice") << 2 << QByteArray("thrice");
    QTest::newRow("--design nowhere.gds") << 1 << QByteArray("cannot read nowhere.gds");
    QTest::newRow("--design designs.py") << 1 << QByteArray("designs.py: Stream has unknown");
    QTest::newRow("--design lonely.cif") << 1 << QByteArray("cannot start klayout"); // no such
}

void TestSimulator::commandLine()
{
    QFETCH(int, code);
    QFETCH(QByteArray, says);
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    if (says.contains("klayout"))
        environment.insert("PATH", "/nowhere");
    process.setProcessEnvironment(environment);
    process.start(SIMULATOR_FILE, QString(QTest::currentDataTag()).split(' '));
    QVERIFY(process.waitForFinished(30000));
    QCOMPARE(process.exitCode(), code);
    const QByteArray reason = process.readAllStandardError();
    QVERIFY2(reason.contains(says), reason);
}

void TestSimulator::killedSimulatorLeavesNoProcess()
{
    QProcess process;
    process.start(SIMULATOR_FILE, { "--port", "0", "--design", "lonely.cif" });
    QByteArray output;
    QTRY_VERIFY_WITH_TIMEOUT((output += process.readAll()).contains("serving"), 60000);
    const qint64 klayout = childOf(process.processId());
    const QByteArray environment = procFile("/proc/%1/environ", klayout);
    const QByteArray home = environment.mid(environment.indexOf("KLAYOUT_HOME=") + 13);
    QVERIFY(QDir(home.constData()).exists("designwindow.py"));
    process.kill();
    QTRY_VERIFY_WITH_TIMEOUT(procFile("/proc/%1/cmdline", klayout).isEmpty(), 60000);
    QVERIFY(!QDir(home.constData()).exists());
}

QTEST_GUILESS_MAIN(TestSimulator)
#include "tst_simulator.moc"
