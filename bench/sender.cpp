#include "bench/sender.h"

#include <QCoreApplication>
#include <QtEndian>

#include <chrono>
#include <cstdio>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {
// A message of a frame's beginning and enough of its successors are built once and sent again.
const qint64 builtBytes = 8 << 20;

int listenAt(quint16 port)
{
    const int listener = socket(AF_INET, SOCK_STREAM, 0);
    const sockaddr_in address = loopback(port);
    const int on = 1;
    setsockopt(listener, SOL_SOCKET, SO_REUSEADDR, &on, sizeof on);
    if (bind(listener, reinterpret_cast<const sockaddr *>(&address), sizeof address) == 0
        && listen(listener, 1) == 0)
        return listener;
    close(listener);
    return -1;
}

void sendAll(int channel, const char *bytes, qint64 count)
{
    while (count > 0) {
        const ssize_t sent = send(channel, bytes, size_t(count), MSG_NOSIGNAL);
        if (sent <= 0)
            _exit(0);
        bytes += sent;
        count -= sent;
    }
}

// The whole stream repeats after this many messages, so that it need not be built while it is sent.
std::vector<QByteArray> buildBlocks(const Stream &stream)
{
    const qint64 framePixels = qint64(stream.frameSize) * stream.frameSize;
    const qint64 blockMessages = qMax<qint64>(1, builtBytes / (runOffset + stream.messagePixels));
    std::vector<QByteArray> blocks;
    const qint64 frameMessages = qMax<qint64>(1, framePixels / stream.messagePixels);
    for (qint64 message = 0; message < frameMessages; ++message) {
        if (message % blockMessages == 0)
            blocks.emplace_back();
        blocks.back().append(
            scanMessage(stream.messagePixels, quint32(message * stream.messagePixels)));
    }
    return blocks;
}

void answerControl(int channel)
{
    // The link comes up on the registration's reply; everything else may go unanswered.
    QByteArray reply(36, '\0');
    memcpy(reply.data(), "TcpRegDataPort", 14);
    qToLittleEndian<quint32>(4, reinterpret_cast<uchar *>(reply.data()) + 16);
    sendAll(channel, reply.constData(), reply.size());
    // but for the one that a round trip is measured with
    char message[headerBytes];
    char ignored[4096];
    for (ssize_t count = 1; count > 0;) {
        count = recv(channel, message, sizeof message, MSG_PEEK);
        if (count == headerBytes && memcmp(message, roundTripMessage, headerBytes) == 0) {
            count = recv(channel, message, sizeof message, 0);
            sendAll(channel, message, count);
        } else if (count > 0) {
            count = recv(channel, ignored, sizeof ignored, 0);
        }
    }
}

void streamPaced(int channel, const std::vector<QByteArray> &blocks, const Stream &stream)
{
    using clock = std::chrono::steady_clock;
    const auto begin = clock::now();
    const qint64 messageBytes = runOffset + stream.messagePixels;
    qint64 pixels = 0;
    for (int frame = 0; frame < stream.frames; ++frame)
        for (const QByteArray &block : blocks)
            for (qint64 at = 0; at < block.size(); at += messageBytes) {
                pixels += stream.messagePixels;
                std::this_thread::sleep_until(begin
                                              + std::chrono::nanoseconds(pixels * stream.paceNs));
                sendAll(channel, block.constData() + at, messageBytes);
            }
}

void streamFast(int channel, const std::vector<QByteArray> &blocks, const Stream &stream)
{
    qint64 left = stream.messages() * (runOffset + stream.messagePixels);
    while (left > 0)
        for (const QByteArray &block : blocks) {
            const qint64 count = qMin<qint64>(left, block.size());
            sendAll(channel, block.constData(), count);
            left -= count;
        }
}
} // namespace

Sender::Sender(const Stream &stream)
{
    const auto number = [](qint64 value) { return QString::number(value); };
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    m_process.start(QCoreApplication::applicationFilePath(),
                    { "--sender", number(stream.frameSize), number(stream.messagePixels),
                      number(stream.frames), number(stream.paceNs) });
    while (!m_process.canReadLine() && m_process.waitForReadyRead(60000)) { }
    m_controlPort = quint16(m_process.readLine().trimmed().toInt());
}

Sender::~Sender()
{
    m_process.kill();
    m_process.waitForFinished();
}

void Sender::start()
{
    m_process.write("go\n");
    m_process.waitForBytesWritten();
}

int runSender(const QStringList &arguments)
{
    Stream stream;
    stream.frameSize = arguments.value(0).toInt();
    stream.messagePixels = arguments.value(1).toInt();
    stream.frames = arguments.value(2).toInt();
    stream.paceNs = arguments.value(3).toLongLong();
    const std::vector<QByteArray> blocks = buildBlocks(stream);

    int control = -1;
    int data = -1;
    quint16 port = quint16(20000 + getpid() % 20000);
    for (; control < 0 || data < 0; port += 2) {
        control = listenAt(port);
        data = control < 0 ? -1 : listenAt(quint16(port + 1));
        if (data >= 0)
            break;
        if (control >= 0)
            close(control);
    }
    std::printf("%d\n", port);
    std::fflush(stdout);

    std::thread([control] { answerControl(accept(control, nullptr, nullptr)); }).detach();
    const int channel = accept(data, nullptr, nullptr);
    char go[8];
    if (read(STDIN_FILENO, go, sizeof go) <= 0)
        return 1;
    stream.paceNs > 0 ? streamPaced(channel, blocks, stream) : streamFast(channel, blocks, stream);
    while (recv(channel, go, sizeof go, 0) > 0) { }
    return 0;
}
