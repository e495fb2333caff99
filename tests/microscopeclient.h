#ifndef TESTS_MICROSCOPECLIENT_H
#define TESTS_MICROSCOPECLIENT_H

#include <QHostAddress>
#include <QTcpSocket>
#include <QtEndian>
#include <QtTest>

#include <utility>

/// The other end of the simulator's two channels, with every byte written by hand.
namespace wire {

inline QByteArray number(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

inline QByteArray numbers(std::initializer_list<int> values)
{
    QByteArray bytes;
    for (int value : values)
        bytes += number(quint32(value));
    return bytes;
}

/// A real of 12 characters, or of 13 with its sign.
inline QByteArray real(const char *text)
{
    return number(16) + QByteArray(text).leftJustified(16, '\0');
}

inline QByteArray message(const char *name, const QByteArray &body = QByteArray())
{
    return QByteArray(name).leftJustified(16, '\0') + number(quint32(body.size()))
        + QByteArray(12, '\0') + body;
}

inline QByteArray scan(int width, int height, int dwellNs)
{
    return message("ScScanXY",
                   numbers({ 0, width, height, 0, 0, width - 1, height - 1, 0, dwellNs }));
}

inline QByteArray enable(int detector = 0)
{
    return message("DtSelect", numbers({ 0, detector })) + message("DtEnable", numbers({ 0, 1, 8 }))
        + message("DtAutoSignal", numbers({ 0 }));
}

/// A scan data message as it came in.
struct Run {
    quint32 index;
    QByteArray pixels;
};

class Client {
public:
    explicit Client(quint16 controlPort)
    {
        m_control.connectToHost(QHostAddress::LocalHost, controlPort);
        m_data.connectToHost(QHostAddress::LocalHost, quint16(controlPort + 1));
    }

    bool isUp() { return m_control.waitForConnected(10000) && m_data.waitForConnected(10000); }
    bool controlIsOpen() const { return m_control.state() == QAbstractSocket::ConnectedState; }

    void send(const QByteArray &bytes)
    {
        m_control.write(bytes);
        m_control.flush();
    }

    /// Everything the control channel brought since the last call to forgetReplies().
    QByteArray replies()
    {
        m_replies += m_control.readAll();
        return m_replies;
    }
    void forgetReplies() { m_replies.clear(); }

    /// All scan data messages that are complete since the last call to takeRuns().
    const QVector<Run> &runs()
    {
        m_pixels += m_data.readAll();
        int position = 0;
        while (m_pixels.size() - position >= 52) {
            const int size = qFromLittleEndian<qint32>(m_pixels.constData() + position + 16);
            if (m_pixels.size() - position < 32 + size)
                break;
            m_runs.append({ qFromLittleEndian<quint32>(m_pixels.constData() + position + 40),
                            m_pixels.mid(position + 52, size - 20) });
            position += 32 + size;
        }
        m_pixels.remove(0, position);
        return m_runs;
    }

    QVector<Run> takeRuns()
    {
        runs();
        return std::exchange(m_runs, {});
    }

    /// Nothing comes in on the data channel for a while.
    bool dataIsSilent()
    {
        QSignalSpy arrival(&m_data, &QTcpSocket::readyRead);
        return !arrival.wait(300);
    }

    QTcpSocket *data() { return &m_data; }

private:
    QTcpSocket m_control, m_data;
    QByteArray m_replies, m_pixels;
    QVector<Run> m_runs;
};

} // namespace wire

#endif
