#ifndef TESTS_MICROSCOPECLIENT_H
#define TESTS_MICROSCOPECLIENT_H

#include <QHostAddress>
#include <QTcpSocket>
#include <QtEndian>
#include <QtTest>

/// The other end of the simulator's two channels, with every byte written by hand.
namespace wire {

inline QByteArray numbers(std::initializer_list<qint64> values)
{
    QByteArray bytes;
    for (qint64 value : values) {
        const quint32 number = qToLittleEndian(quint32(value));
        bytes.append(reinterpret_cast<const char *>(&number), 4);
    }
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

inline QByteArray scan(int edge, int dwellNs)
{
    return message("ScScanXY", numbers({ 0, edge, edge, 0, 0, edge - 1, edge - 1, 0, dwellNs }));
}

inline QByteArray enable(int detector = 0)
{
    return message("DtSelect", numbers({ 0, detector })) + message("DtEnable", numbers({ 0, 1, 8 }))
        + message("DtAutoSignal", numbers({ 0 }));
}

/// A scan data message as it came in.
struct Run {
    qint64 index;
    QByteArray pixels;
};

struct Client {
    QTcpSocket control, data;
    QByteArray replies; ///< everything the control channel brought
    QVector<Run> runs; ///< the complete messages of the data channel

    explicit Client(quint16 controlPort)
    {
        QObject::connect(&control, &QTcpSocket::readyRead,
                         [this] { replies += control.readAll(); });
        QObject::connect(&data, &QTcpSocket::readyRead, [this] { readRuns(); });
        control.connectToHost(QHostAddress::LocalHost, controlPort);
        data.connectToHost(QHostAddress::LocalHost, quint16(controlPort + 1));
        if (!control.waitForConnected(10000) || !data.waitForConnected(10000))
            qFatal("the simulator does not answer");
    }

    bool isOpen() const { return control.state() == QAbstractSocket::ConnectedState; }

    void send(const QByteArray &bytes)
    {
        control.write(bytes);
        control.flush();
    }

    void readRuns()
    {
        for (;;) {
            const QByteArray head = data.peek(52);
            const int size = head.size() < 52 ? 0 : qFromLittleEndian<qint32>(head.data() + 16);
            if (head.size() < 52 || data.bytesAvailable() < 32 + size)
                return;
            data.skip(52);
            runs.append({ qFromLittleEndian<quint32>(head.data() + 40), data.read(size - 20) });
        }
    }

    /// Nothing comes in on the data channel for a while.
    bool dataIsSilent() { return !QSignalSpy(&data, &QTcpSocket::readyRead).wait(300); }
};

} // namespace wire

#endif
