#include "bench/report.h"

#include "bench/application.h"
#include "bench/floor.h"
#include "bench/hostrun.h"
#include "bench/median.h"
#include "bench/sender.h"

#include <QFile>

#include <cstdio>
#include <sys/socket.h>
#include <unistd.h>

namespace {
const int mebi = 1 << 20;
const int microscopePaceNs = 100;

int connectTo(quint16 port)
{
    const int channel = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    if (connect(channel, reinterpret_cast<const sockaddr *>(&address), sizeof address) != 0)
        qFatal("cannot connect to the sender");
    return channel;
}

double floorNsPerPixel(const Stream &stream)
{
    Sender sender(stream);
    const int control = connectTo(sender.controlPort());
    const int data = connectTo(quint16(sender.controlPort() + 1));
    sender.start();
    const double cpu = double(runFloor(data, stream));
    close(data);
    close(control);
    return cpu / stream.pixels();
}

double hostNsPerPixel(const Stream &stream, HostRun::Keeping keeping)
{
    Sender sender(stream);
    HostRun host(sender.controlPort(), stream.frameSize, keeping);
    return double(host.receive(stream, [&sender] { sender.start(); })) / stream.pixels();
}

double statusMiB(const QByteArray &key)
{
    QFile file("/proc/self/status");
    if (!file.open(QIODevice::ReadOnly))
        return 0;
    for (const QByteArray &line : file.readAll().split('\n'))
        if (line.startsWith(key))
            return line.mid(key.size() + 1).simplified().split(' ').first().toDouble() / 1024;
    return 0;
}

void resetPeakMemory()
{
    QFile file("/proc/self/clear_refs");
    if (file.open(QIODevice::WriteOnly))
        file.write("5");
}

void reportRow(const Stream &stream, int runs)
{
    QVector<double> floors, drops, keeps;
    for (int run = 0; run < runs; ++run) { // in turn, so that a noisy spell meets all three
        floors.append(floorNsPerPixel(stream));
        drops.append(hostNsPerPixel(stream, HostRun::DropImage));
        keeps.append(hostNsPerPixel(stream, HostRun::KeepImage));
    }
    const double floor = median(floors);
    const double drop = median(drops);
    const double keep = median(keeps);
    const double allowed = stream.frameSize <= 512 ? 2.5 : 1.5;
    const double extraUs = (drop - allowed * floor) * stream.messagePixels / 1000;
    std::printf("%6d %9d %9.2f %8.2f %8.2f %9.2f %12.2f\n", stream.frameSize, stream.messagePixels,
                floor, drop / floor, keep / floor, keep / drop, extraUs);
    std::fflush(stdout);
}
} // namespace

bool reportThroughput(int runs, int onlyFrame, int onlyMessage)
{
    std::printf(
        "CPU time of library and host against a bare loop (floor); medians of %d runs.\n"
        "extra: us per message beyond 1.5 times the floor (2.5 at 512), host that drops.\n\n"
        " frame   message     floor     drop     keep      keep        extra\n"
        "  edge    pixels  ns/pixel   /floor   /floor     /drop   us/message\n",
        runs);
    bool measured = false;
    for (int frameSize : { 512, 2048, 8192 })
        for (int messagePixels : { 256, frameSize, mebi }) {
            if ((onlyFrame > 0 && onlyFrame != frameSize)
                || (onlyMessage > 0 && onlyMessage != messagePixels))
                continue;
            const int frames = int(qMax<qint64>(1, 512LL * mebi / (qint64(frameSize) * frameSize)));
            reportRow({ frameSize, messagePixels, frames }, runs);
            measured = true;
        }
    return measured;
}

void reportPace(Application *application, int seconds)
{
    const int frameSize = 8192;
    for (int messagePixels : { 256, frameSize, mebi }) {
        const qint64 framePixels = qint64(frameSize) * frameSize;
        const int frames =
            int(qMax<qint64>(1, seconds * 1000000000LL / microscopePaceNs / framePixels));
        const Stream stream = { frameSize, messagePixels, frames, microscopePaceNs };
        Sender sender(stream);
        HostRun host(sender.controlPort(), frameSize, HostRun::KeepImage);
        application->forgetEvents();
        QElapsedTimer elapsed;
        elapsed.start();
        const double cpu = double(host.receive(stream, [&sender] { sender.start(); }));
        std::printf("%d x %d at %d ns per pixel, %d pixels a message, host keeps the image:\n"
                    "  %.1f %% of one core, event loop held %.1f ms at most\n",
                    frameSize, frameSize, microscopePaceNs, messagePixels,
                    100 * cpu / double(elapsed.nsecsElapsed()), application->longestEventMs());
    }
}

void reportMemory()
{
    const int frameSize = 8192;
    const double frameMiB = 4.0 * frameSize * frameSize / mebi;
    const double before = statusMiB("VmRSS");
    resetPeakMemory();
    hostNsPerPixel({ frameSize, mebi, 3 }, HostRun::KeepImage);
    const double peak = statusMiB("VmHWM") - before;
    std::printf("memory at %d x %d: %.0f MiB at most, %.2f frames\n", frameSize, frameSize, peak,
                peak / frameMiB);

    const Stream warmUp = { 2048, 2048, 10 };
    const Stream measured = { 2048, 2048, 100 };
    Sender sender({ 2048, 2048, 110 });
    HostRun host(sender.controlPort(), warmUp.frameSize, HostRun::KeepImage);
    host.receive(warmUp, [&sender] { sender.start(); });
    const double warm = statusMiB("VmRSS");
    host.receive(measured, [] {});
    std::printf("growth over 100 frames of 2048 x 2048 after warm-up: %.1f MiB\n",
                statusMiB("VmRSS") - warm);
}
