// Measures what the recorder costs between host and microscope: scan data and round trips on the
// control channel, straight and through the recorder in turn.

#include "bench/median.h"
#include "bench/sender.h"

#include <QCommandLineParser>
#include <QElapsedTimer>
#include <QTemporaryDir>

#include <atomic>
#include <cstdio>
#include <sys/socket.h>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

const qint64 fullRateNs = 100; // a pixel, at the shortest dwell time

struct Result {
    double pixelNs = 0; // wall clock
    double medianMs = 0, slowMs = 0; // round trip while the scan runs; slow: 99 %
};

/// The recorder in front of a sender. Its file goes with the object.
class RecorderProcess {
public:
    RecorderProcess(quint16 microscope, const QString &scanBytes)
    {
        m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
        m_process.start(RECORDER_FILE,
                        { "--microscope", QStringLiteral("127.0.0.1:%1").arg(microscope),
                          "--listen", "127.0.0.1:0", "--write", m_folder.filePath("all.pcap"),
                          "--scan-bytes", scanBytes });
        const QByteArray key = "control port ";
        QByteArray output;
        while (!output.contains(key) && m_process.waitForReadyRead(10000))
            output += m_process.readAll();
        m_port = quint16(output.mid(output.indexOf(key) + key.size()).split(',').first().toInt());
    }
    ~RecorderProcess()
    {
        m_process.terminate();
        m_process.waitForFinished();
    }
    quint16 controlPort() const { return m_port; }

private:
    QTemporaryDir m_folder;
    QProcess m_process;
    quint16 m_port = 0;
};

int connectTo(quint16 port)
{
    const int channel = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    if (connect(channel, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        qFatal("nobody listens at port %d", port);
    return channel;
}

void receiveAll(int data, qint64 bytes)
{
    std::vector<char> buffer(256 * 1024);
    for (ssize_t count = 1; bytes > 0 && count > 0; bytes -= count)
        count = recv(data, buffer.data(), buffer.size(), 0);
    if (bytes > 0)
        qFatal("the scan data ended too early");
}

QVector<double> roundTrips(int control, const std::atomic<bool> &scanning)
{
    char reply[256];
    while (recv(control, reply, sizeof reply, MSG_DONTWAIT) > 0) { } // the registration's
    QVector<double> times;
    while (scanning) {
        QElapsedTimer clock;
        clock.start();
        send(control, roundTripMessage, headerBytes, MSG_NOSIGNAL);
        if (recv(control, reply, headerBytes, MSG_WAITALL) != headerBytes)
            qFatal("the control channel ended");
        times.append(clock.nsecsElapsed() / 1e6);
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return times;
}

Result measure(const Stream &stream, const QString &scanBytes)
{
    Sender sender(stream);
    std::unique_ptr<RecorderProcess> recorder;
    if (!scanBytes.isEmpty())
        recorder = std::make_unique<RecorderProcess>(sender.controlPort(), scanBytes);
    const quint16 port = recorder ? recorder->controlPort() : sender.controlPort();
    const int control = connectTo(port), data = connectTo(quint16(port + 1));
    std::this_thread::sleep_for(std::chrono::milliseconds(200));

    std::atomic<bool> scanning(true);
    QVector<double> times;
    std::thread caller([&] { times = roundTrips(control, scanning); });
    QElapsedTimer clock;
    sender.start();
    clock.start();
    receiveAll(data, stream.messages() * (runOffset + stream.messagePixels));
    Result result;
    result.pixelNs = double(clock.nsecsElapsed()) / stream.pixels();
    scanning = false;
    caller.join();
    close(control);
    close(data);
    result.medianMs = median(times);
    result.slowMs = quantile(times, 0.99);
    return result;
}

void reportRow(const char *pace, const Stream &stream, const QString &scanBytes, int runs)
{
    QVector<double> ratio, straight, through, delay, slowDelay;
    for (int run = 0; run < runs; ++run) {
        const Result before = measure(stream, QString()), with = measure(stream, scanBytes);
        straight.append(before.pixelNs);
        through.append(with.pixelNs);
        ratio.append(with.pixelNs / before.pixelNs);
        delay.append(with.medianMs - before.medianMs);
        slowDelay.append(with.slowMs - before.slowMs);
    }
    std::printf("| %s | %d | %s | %.2f | %.2f | %.3f | %.3f | %.3f |\n", pace, stream.messagePixels,
                qPrintable(scanBytes), median(straight), median(through), median(ratio),
                median(delay), median(slowDelay));
    std::fflush(stdout);
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    if (argc > 1 && qstrcmp(argv[1], "--sender") == 0)
        return runSender(application.arguments().mid(2));

    QCommandLineParser parser;
    parser.setApplicationDescription("Measures the cost of the recorder.");
    parser.addHelpOption();
    parser.addOption({ "runs", "Runs per figure (default 5).", "n", "5" });
    parser.process(application);
    const int runs = qMax(1, parser.value("runs").toInt());

    std::printf(
        "| pace | pixels a message | pixels kept | straight, ns a pixel | recorded, ns a pixel"
        " | recorded / straight | round trip, ms more | slowest 1 %%, ms more |\n"
        "|---|---|---|---|---|---|---|---|\n");
    const int edge = 4096;
    for (const int messagePixels : { 256, 4096, 1 << 20 }) {
        for (const char *kept : { "64", "all" }) {
            reportRow("full scan rate", { edge, messagePixels, 2, fullRateNs }, kept, runs);
            reportRow("as fast as it goes", { edge, messagePixels, 30, 0 }, kept, runs);
        }
    }
    return 0;
}
