// Conversations recorded, read and replayed.

#include "recorder/capturereader.h"
#include "recorder/capturewriter.h"
#include "recorder/conversation.h"
#include "tests/pluginfixture.h"

#include <QProcess>
#include <QtTest>

using capture::Conversation;

namespace {
const bool renewing = qEnvironmentVariableIsSet("SEM_CAPTURES"); // the files in tests/captures
const QByteArray ask = wire::message("GetWD"), answer = wire::message("GetWD", wire::real(9.5));

/// The recorder or the simulator.
struct Program : QProcess {
    Program(const char *file, const QStringList &arguments)
    {
        setProcessChannelMode(MergedChannels);
        start(file, arguments);
        if (says(", data port "))
            port = output.mid(output.indexOf("control port ") + 13).split(',').first().toInt();
    }
    ~Program() override { end(); }
    bool says(const char *text)
    {
        return spinUntil([&] {
                   output += readAll();
                   return output.contains(text) || state() == NotRunning;
               })
            && (output += readAll()).contains(text);
    }
    int end()
    {
        terminate();
        waitForFinished(30000);
        output += readAll();
        return exitStatus() == NormalExit ? exitCode() : -1;
    }
    QByteArray output;
    int port = 0;
};

QStringList recorderArguments(int microscope, const QString &file)
{
    return { "--microscope", QString("127.0.0.1:%1").arg(microscope),
             "--listen",     "127.0.0.1:0",
             "--write",      file };
}

QByteArray streamOf(const capture::Stream &stream, qint64 *missing = nullptr)
{
    QByteArray bytes;
    for (const capture::Piece &piece : stream.pieces) {
        bytes += piece.bytes;
        if (missing)
            *missing += piece.missing;
    }
    return bytes;
}

// What users do.

bool showsScan(PluginFixture *host)
{
    return spinUntil([&] { return host->page() == 1 && host->corner() != 0xFF646464; });
}

QByteArray greyLevels(const QImage &image)
{
    QByteArray levels;
    for (int pixel = 0; pixel < image.width() * image.height(); ++pixel)
        levels.append(char(qGray(image.pixel(pixel % image.width(), pixel / image.width()))));
    return levels;
}

bool moveTo(PluginFixture *host, const QPoint &design)
{
    host->viewCentre = design;
    host->use("stageToView");
    // the wire carries nanometres
    return spinUntil([&] { return QLineF(host->centre(64), design).length() < 5; });
}

void alignThree(PluginFixture *host, int port)
{
    host->pressConnect(port);
    QVERIFY(showsScan(host));
    SPIN_VERIFY(host->events.contains("centerImage"));
    const QPoint places[] = { { 0, 0 }, { 400000, 0 }, { 0, 300000 } };
    for (int pair = 0; pair < 3; ++pair) {
        QVERIFY(pair == 0 || moveTo(host, places[pair]));
        host->use(QString("align%1").arg(pair + 1));
        host->values[0] += 1000 * (pair + 1); // drags the image
        host->use(QString("align%1").arg(pair + 1));
    }
    QCOMPARE(host->text("statusDisplay"), QString("alignment complete"));
    QVERIFY(moveTo(host, { 200000, 150000 }));
    host->use("disconnectButton");
}

void connectTwice(PluginFixture *host, int port)
{
    host->pressConnect(port);
    QVERIFY(showsScan(host));
    SPIN_COMPARE(host->page(), 0); // the microscope has gone
    host->forget();
    host->pressConnect(port);
    SPIN_VERIFY(host->events.contains("imageUpdate"));
    host->use("disconnectButton");
}

void lookAround(PluginFixture *host, int port)
{
    host->pressConnect(port);
    QVERIFY(showsScan(host));
    host->use("100000ns");
    host->use("1 - BSE");
    SPIN_VERIFY(host->events.count("imageUpdate") > (renewing ? 24 : 2));
    QVERIFY(host->isFinite());
    host->use("disconnectButton");
}

using Script = void (*)(PluginFixture *, int);

// What happens to captures.

using Segments = QVector<capture::Segment>;
using Damage = std::function<void(const QString &)>; // of a file

void rewrite(const QString &file, const std::function<void(Segments *)> &change)
{
    Segments segments;
    capture::Segment segment;
    QString error;
    {
        capture::CaptureReader reader;
        if (!reader.open(file, &error))
            qFatal("%s", qPrintable(error));
        while (reader.next(&segment)) {
            segment.bytes.detach(); // from the reader's buffer
            segments.append(segment);
        }
    }
    change(&segments);
    QFile::remove(file);
    capture::CaptureWriter writer;
    if (!writer.open(file, {}, &error))
        qFatal("%s", qPrintable(error));
    for (const capture::Segment &changed : segments)
        writer.write(changed, changed.bytes.size());
    writer.flush(&error);
}

void moveTo9000(Segments *segments)
{
    for (capture::Segment &segment : *segments)
        for (quint16 *port : { &segment.from.port, &segment.to.port })
            if (*port == 8300 || *port == 8301)
                *port += 700;
}

int indexOfScan(const Segments &segments, int from = 0)
{
    const auto scan =
        std::find_if(segments.begin() + from, segments.end(), [](const capture::Segment &segment) {
            return segment.bytes.startsWith("ScData");
        });
    return int(scan - segments.begin());
}
} // namespace

Q_DECLARE_METATYPE(Script)
Q_DECLARE_METATYPE(Damage)

class TestRecorder : public QObject {
    Q_OBJECT

private slots:
    void recordingIsTheConversation_data();
    void recordingIsTheConversation();
    void filesAreLimited();
    void troubles();
    void replayServesTheHost_data();
    void replayServesTheHost();
    void silenceIsReplayed();
    void dissectorShows_data();
    void dissectorShows();
    void damagedCaptures_data();
    void damagedCaptures();

private:
    QTemporaryDir m_folder;
};

void TestRecorder::recordingIsTheConversation_data()
{
    QTest::addColumn<QStringList>("options");
    QTest::addColumn<int>("kept"); // of a message of 100,000 pixels
    QTest::newRow("cut") << QStringList() << 64;
    QTest::newRow("left out") << QStringList{ "--scan-bytes", "0" } << 0;
    QTest::newRow("whole") << QStringList{ "--scan-bytes", "all" } << 100000;
}

void TestRecorder::recordingIsTheConversation()
{
    QFETCH(QStringList, options);
    QFETCH(int, kept);
    const QString file = m_folder.filePath("conversation.pcap");
    QFile::remove(file);
    FakeMicroscope microscope;
    microscope.answers["GetWD"] = wire::real(9.5);
    Program recorder(RECORDER_FILE, recorderArguments(microscope.port(), file) + options);
    QTcpSocket control, data;
    control.connectToHost("127.0.0.1", quint16(recorder.port));
    data.connectToHost("127.0.0.1", quint16(recorder.port + 1));
    SPIN_VERIFY(microscope.control && microscope.data);
    QByteArray scan;
    for (quint32 message = 0; message < 30; ++message)
        scan += wire::scanData(message, QByteArray(100000, char(message)));
    for (int at = 0; at < scan.size(); at += 77777) // in pieces of its own
        microscope.scan(scan.mid(at, 77777));
    control.write(ask + ask);
    SPIN_COMPARE(control.bytesAvailable(), 2 * answer.size());
    SPIN_COMPARE(data.bytesAvailable(), scan.size());
    QCOMPARE(control.readAll(), answer + answer);
    QVERIFY(data.readAll() == scan);
    microscope.cutAfter(1, FakeMicroscope::Control, true);
    control.write(ask);
    SPIN_COMPARE(control.state(), QAbstractSocket::UnconnectedState);
    data.close();
    QVERIFY(recorder.says("data channel: closed by the client"));
    QCOMPARE(recorder.end(), 0);

    Conversation conversation;
    QString error;
    QVERIFY2(capture::readConversation(file, &conversation, &error), qPrintable(error));
    QCOMPARE(conversation.connections.size(), 2);
    const capture::Connection &first = conversation.connections[0];
    const capture::Connection &second = conversation.connections[1];
    QVERIFY(first.server.port == microscope.port() && second.server.port == microscope.port() + 1);
    QCOMPARE(streamOf(first.toServer), ask + ask + ask);
    QCOMPARE(streamOf(first.toClient), answer + answer + answer.left(1));
    QVERIFY(first.toClient.ending == capture::Ending::Reset);
    QVERIFY(second.toServer.ending == capture::Ending::Closed);
    qint64 missing = 0;
    const QByteArray recorded = streamOf(second.toClient, &missing);
    QCOMPARE(recorded.size() + missing, qint64(scan.size()));
    for (int message = 0; message < 30; ++message)
        QVERIFY(recorded.mid(message * (52 + kept), 52 + kept)
                == scan.mid(message * 100052, 52 + kept));
}

// A recorder that is started again goes on behind the files of the first.
void TestRecorder::filesAreLimited()
{
    QTemporaryDir folder;
    for (const char *files : { "3", "2" }) {
        const QStringList limits{ "--scan-bytes", "all", "--file-size", "1", "--files", files };
        FakeMicroscope microscope;
        Program recorder(RECORDER_FILE,
                         recorderArguments(microscope.port(), folder.filePath("[day.pcap"))
                             + limits);
        QTcpSocket data;
        data.connectToHost("127.0.0.1", quint16(recorder.port + 1));
        SPIN_VERIFY(data.state() == QAbstractSocket::ConnectedState && microscope.data);
        const int bytes = 2500000;
        microscope.scan(QByteArray(bytes, 'x'));
        SPIN_COMPARE(data.bytesAvailable(), bytes);
        QCOMPARE(recorder.end(), 0);
    }
    QCOMPARE(QDir(folder.path()).entryList(QDir::Files).join(' '),
             QString("[day-0005.pcap [day-0006.pcap"));
}

// Each is said once, and the conversation goes on.
void TestRecorder::troubles()
{
    FakeMicroscope microscope;
    microscope.answers["GetWD"] = wire::real(9.5);
    Program full(RECORDER_FILE, recorderArguments(microscope.port(), "/dev/full"));
    QTcpSocket client, second;
    client.connectToHost("127.0.0.1", quint16(full.port));
    client.write(ask);
    SPIN_COMPARE(client.bytesAvailable(), answer.size());
    second.connectToHost("127.0.0.1", quint16(full.port));
    QVERIFY(full.says("second client 127.0.0.1:"));
    SPIN_COMPARE(second.state(), QAbstractSocket::UnconnectedState);
    client.write(ask);
    SPIN_COMPARE(client.bytesAvailable(), 2 * answer.size());
    microscope.controlServer.close();
    client.disconnectFromHost();
    QVERIFY(full.says("closed by the microscope"));
    client.connectToHost("127.0.0.1", quint16(full.port));
    QVERIFY(full.says("does not answer: Connection refused"));
    SPIN_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(full.end(), 0);
    QCOMPARE(full.output.count("No space left on device"), 1);
}

void TestRecorder::replayServesTheHost_data()
{
    QTest::addColumn<Script>("script");
    QTest::addColumn<QString>("options"); // of the simulator that is recorded
    QTest::addColumn<QString>("pixels");
    QTest::newRow("alignment") << Script(alignThree) << "--rows-per-message 64"
                               << "64";
    QTest::newRow("alignment-tcpdump.pcapng.gz") << Script(alignThree) << ""
                                                 << "";
    QTest::newRow("cut-connection")
        << Script(connectTwice) << "--rows-per-message 64 --fault cut-data=5000 --fault-once"
        << "all";
    QTest::newRow("misbehaving") << Script(
        lookAround) << "--rows-per-message 16 --fault twice,unknown,truncated,nonfinite,garbage"
                                 << "64";
}

// Where the microscope was, there is its capture, and the host notices nothing.
void TestRecorder::replayServesTheHost()
{
    QFETCH(Script, script);
    QFETCH(QString, options);
    QFETCH(QString, pixels);
    const QString name = QTest::currentDataTag();
    if (renewing && name.contains("tcpdump"))
        QSKIP("made by hand with tcpdump and editcap");
    const QString file = CAPTURES + name + (name.contains('.') ? "" : ".pcap");
    const QStringList live = QString("--port 8300 --stage 0,0 " + options).split(' ');
    const QStringList captured{ "--port", "0", "--replay", file, "--strict", "--fast" };
    Program microscope(SIMULATOR_FILE, renewing ? live : captured);
    std::unique_ptr<Program> recorder;
    if (renewing) {
        QFile::remove(file);
        recorder = std::make_unique<Program>(RECORDER_FILE,
                                             recorderArguments(microscope.port, file)
                                                 + QStringList{ "--scan-bytes", pixels });
    }
    PluginFixture host({ { "display", 0 }, { "imageSize", 64 }, { "dwelltime", 20000 } });
    host.plugin->init();
    host.plugin->setDatabaseUnits(1e-9);
    script(&host, renewing ? recorder->port : microscope.port);
    QVERIFY(microscope.says("control channel closed"));
    recorder.reset();
    const int code = microscope.end();
    QVERIFY2(renewing || code == 0, microscope.output);
    if (pixels != "all")
        return;
    Conversation conversation;
    QString error;
    QVERIFY2(capture::readConversation(file, &conversation, &error), qPrintable(error));
    QVERIFY(streamOf(conversation.connections.last().toClient)
                .contains(greyLevels(host.plugin->getImage())));
}

void TestRecorder::silenceIsReplayed()
{
    Program microscope(SIMULATOR_FILE, { "--port", "0", "--replay", CAPTURES "replies.pcap" });
    QTcpSocket client;
    client.connectToHost("127.0.0.1", quint16(microscope.port));
    client.write(ask + wire::message("GetViewField").repeated(20)
                 + wire::message("DtEnumDetectors"));
    QByteArray said;
    SPIN_VERIFY((said += client.readAll()).contains("DtEnumDetectors"));
    QVERIFY(said.startsWith("GetWD") && !said.contains("GetViewField"));
}

void TestRecorder::dissectorShows_data()
{
    QTest::addColumn<QStringList>("options");
    const QStringList list{ "-Y", "microscope",        "-T", "fields",
                            "-e", "frame.number",      "-e", "_ws.col.Info",
                            "-e", "_ws.expert.message" };
    QTest::newRow("alignment") << list;
    QTest::newRow("cut-connection") << list;
    const QStringList preferred{ "-o", "microscope.ports:9000-9001" };
    QTest::newRow("cut-connection, at 9000, preferred") << list + preferred;
    const QStringList chosen{ "-d", "tcp.port==9000-9001,microscope" };
    QTest::newRow("cut-connection, at 9000, Decode As") << list + chosen;
    QTest::newRow("misbehaving") << list;
    QTest::newRow("replies") << QStringList{ "-2" } + list;
    QTest::newRow("messages") << QStringList{ "-O", "microscope", "-Y", "microscope" };
}

void TestRecorder::dissectorShows()
{
    QFETCH(QStringList, options);
    const QString tag = QTest::currentDataTag(), name = CAPTURES + tag.section(',', 0, 0);
    QString file = name + ".pcap";
    if (tag.contains("at 9000")) {
        file = m_folder.filePath("at-9000.pcap");
        QFile::remove(file);
        QVERIFY(QFile::copy(name + ".pcap", file));
        rewrite(file, moveTo9000);
    }
    QProcess tshark;
    tshark.start("tshark", QStringList{ "-X", "lua_script:" DISSECTOR_FILE, "-r", file } + options);
    QVERIFY2(tshark.waitForFinished(60000), "tshark is missing");
    QCOMPARE(tshark.exitCode(), 0);
    QString shown = tshark.readAllStandardOutput();
    shown.remove(QRegularExpression("^((Ethernet|Internet|Trans).*|.*(Severity level|Group): .*)\n",
                                    QRegularExpression::MultilineOption)); // not the dissector's
    QFile golden(name + ".txt");
    QVERIFY(golden.open(renewing ? QIODevice::WriteOnly : QIODevice::ReadOnly));
    if (renewing)
        golden.write(shown.toUtf8());
    else
        QCOMPARE(shown.split('\n'), QString(golden.readAll()).split('\n'));
}

void TestRecorder::damagedCaptures_data()
{
    QTest::addColumn<Damage>("damage");
    QTest::addColumn<QByteArray>("says");
    QTest::addColumn<bool>("same"); // the bytes that are read
    QTest::addColumn<bool>("served");
    const auto row = [](const char *says, bool same, bool served, const Damage &damage) {
        QTest::newRow(says) << damage << QByteArray(says) << same << served;
    };
    const auto segments = [](const std::function<void(Segments *)> &change) {
        return [change](const QString &file) { rewrite(file, change); };
    };
    row("segments that came twice: 2", true, true, segments([](Segments *all) {
            const int scan = indexOfScan(*all);
            all->insert(scan + 2, 2, all->at(scan));
        }));
    row("segments put in order: 1", true, true, segments([](Segments *all) {
            const int scan = indexOfScan(*all);
            const int next = indexOfScan(*all, scan + 1);
            std::swap((*all)[scan], (*all)[next]);
        }));
    row("bytes that were not captured: 4148", false, true,
        segments([](Segments *all) { all->remove(indexOfScan(*all)); }));
    row("bytes left out that mean nothing", false, true, segments([](Segments *all) {
            capture::Segment &scan = (*all)[indexOfScan(*all)];
            scan.bytes = scan.bytes.mid(100);
            scan.sequence += 100;
        }));
    row("serving control port", true, true, segments([](Segments *all) { all->remove(0, 3); }));
    row("holds no conversation with a microscope", false, false, segments([](Segments *all) {
            for (capture::Segment &segment : *all)
                segment.bytes.fill('x');
        }));
    row("what follows in the file: truncated dump file", false, true,
        [](const QString &file) { QFile::resize(file, QFileInfo(file).size() / 2); });
    row("is no capture: unknown file format", false, false, [](const QString &file) {
        QFile::remove(file);
        QFile::copy(SAMPLE_LAYOUT, file);
    });
}

// What can be read is replayed, and what cannot is said.
void TestRecorder::damagedCaptures()
{
    QFETCH(Damage, damage);
    QFETCH(QByteArray, says);
    QFETCH(bool, same);
    QFETCH(bool, served);
    const QString original = CAPTURES "cut-connection.pcap";
    const QString file = m_folder.filePath("damaged.pcap");
    QFile::remove(file);
    QVERIFY(QFile::copy(original, file));
    damage(file);
    Program microscope(SIMULATOR_FILE, { "--port", "0", "--replay", file });
    QCOMPARE(microscope.port != 0, served);
    QVERIFY2(microscope.says(says), microscope.output);
    QCOMPARE(microscope.end(), served ? 3 : 1); // no client came
    Conversation before, after;
    QString error;
    QVERIFY(capture::readConversation(original, &before, &error));
    capture::readConversation(file, &after, &error);
    bool found = before.connections.size() == after.connections.size();
    for (int i = 0; found && i < before.connections.size(); ++i)
        found = streamOf(before.connections[i].toClient) == streamOf(after.connections[i].toClient)
            && streamOf(before.connections[i].toServer) == streamOf(after.connections[i].toServer);
    QCOMPARE(found, same);
}

QTEST_MAIN(TestRecorder)
#include "tst_recorder.moc"
