#ifndef TESTS_MICROSCOPECLIENT_H
#define TESTS_MICROSCOPECLIENT_H

#include <QTcpSocket>
#include <QtEndian>
#include <QtTest>

/// The other end of the simulator's two channels, with every byte written by hand.
namespace wire {

inline QByteArray numbers(std::initializer_list<qint64> values)
{
    QByteArray bytes;
    for (qint64 value : values)
        for (int shift = 0; shift < 32; shift += 8)
            bytes.append(char(value >> shift));
    return bytes;
}

/// A real of 12 characters, or of 13 with its sign.
inline QByteArray real(const char *text)
{
    return numbers({ 16 }) + QByteArray(text).leftJustified(16, '\0');
}

inline QByteArray message(const char *name, const QByteArray &body = QByteArray())
{
    return QByteArray(name).leftJustified(16, '\0') + numbers({ body.size(), 0, 0, 0 }) + body;
}

/// Lets a detector scan square frames.
inline QByteArray scan(int edge, int dwellNs, int detector = 1)
{
    return message("DtSelect", numbers({ 0, detector })) + message("DtEnable", numbers({ 0, 1, 8 }))
        + message("DtAutoSignal", numbers({ 0 }))
        + message("ScScanXY", numbers({ 0, edge, edge, 0, 0, edge - 1, edge - 1, 0, dwellNs }));
}

struct Client {
    QTcpSocket control, data;

    void open(quint16 controlPort)
    {
        control.connectToHost("127.0.0.1", controlPort);
        data.connectToHost("127.0.0.1", quint16(controlPort + 1));
        if (!control.waitForConnected(10000) || !data.waitForConnected(10000))
            qFatal("the simulator does not answer");
    }

    void send(const QByteArray &bytes)
    {
        control.write(bytes);
        control.flush();
    }

    /// The next square frame that comes in whole.
    QByteArray frame(int edge)
    {
        QByteArray pixels(edge * edge, '\0');
        int end = 0;
        const auto takeRun = [&] {
            const QByteArray head = data.peek(52);
            const int size = head.size() < 52 ? 0 : qFromLittleEndian<qint32>(head.data() + 16);
            if (head.size() < 52 || data.bytesAvailable() < 32 + size)
                return false;
            const int index = qFromLittleEndian<qint32>(head.data() + 40);
            data.skip(52);
            pixels.replace(index, size - 20, data.read(size - 20));
            end = index + size - 20;
            return true;
        };
        while (end < pixels.size())
            if (!QTest::qWaitFor(takeRun, 60000))
                return QByteArray();
        return pixels;
    }
};

} // namespace wire

#endif
