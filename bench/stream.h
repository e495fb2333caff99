#ifndef BENCH_STREAM_H
#define BENCH_STREAM_H

#include <QByteArray>
#include <QtGlobal>

#include <netinet/in.h>

/// What one run receives: whole frames of scan data in messages of equal size.
struct Stream {
    int frameSize; ///< edge in pixels
    int messagePixels;
    int frames;
    qint64 paceNs = 0; ///< per pixel; 0 sends as fast as the socket takes it

    qint64 pixels() const { return qint64(frames) * frameSize * frameSize; }
    qint64 messages() const { return pixels() / messagePixels; }
};

const int headerBytes = 32;
const int runOffset = 52; ///< of the pixels in a message

/// A message whose first pixel has this index in its frame; the pixels are a fixed pattern.
QByteArray scanMessage(int messagePixels, quint32 index);

/// The address of a port on this machine.
sockaddr_in loopback(quint16 port);

/// CPU time of this process so far, user and system, in ns.
qint64 cpuNs();

/// Keeps this process on one core, so that all runs meet the same caches; in vain on a machine that
/// has fewer.
void pinToCore(int core);

#endif
