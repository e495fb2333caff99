#ifndef TESTS_FAKEMICROSCOPE_H
#define TESTS_FAKEMICROSCOPE_H

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMap>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QtEndian>

#include <sys/socket.h>

// Values and messages as they go over the wire.
namespace wire {
inline QByteArray uint32(quint32 value)
{
    const quint32 littleEndian = qToLittleEndian(value);
    return QByteArray(reinterpret_cast<const char *>(&littleEndian), 4);
}

inline quint32 uint32At(const QByteArray &bytes, int pos)
{
    return qFromLittleEndian<quint32>(bytes.constData() + pos);
}

inline QByteArray text(const QByteArray &latin1)
{
    const QByteArray padded = latin1 + QByteArray(4 - latin1.size() % 4, '\0');
    return uint32(quint32(padded.size())) + padded;
}

/// At full precision.
inline QByteArray real(double value)
{
    return text(QByteArray::number(value, 'e', 17));
}

inline QByteArray position(double x, double y, double value3 = 3, double value4 = 4,
                           double value5 = 5)
{
    return real(x) + real(y) + real(value3) + real(value4) + real(value5);
}

/// A header that announces `bodySize` bytes, whatever follows it.
inline QByteArray header(const QByteArray &name, quint32 bodySize)
{
    return name + QByteArray(16 - name.size(), '\0') + uint32(bodySize) + QByteArray(12, '\0');
}

inline QByteArray message(const QByteArray &name, const QByteArray &body = QByteArray())
{
    return header(name, quint32(body.size())) + body;
}

/// The four other integers mean nothing to the receiver, so they are anything but zero.
inline QByteArray scanData(quint32 pixelIndex, const QByteArray &grey)
{
    return message("ScData",
                   uint32(0xFFFFFFFF) + uint32(8) + uint32(pixelIndex) + uint32(77)
                       + uint32(0x12345678) + grey);
}
} // namespace wire

/// Runs the event loop until `condition` holds; false if it does not within 20 seconds.
template <typename Condition> bool spinUntil(Condition condition)
{
    const QDeadlineTimer deadline(20000);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::usleep(100);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

/// Like QTRY_COMPARE, but without its pauses of 50 ms.
#define SPIN_COMPARE(actual, expected)                                                             \
    do {                                                                                           \
        spinUntil([&] { return (actual) == (expected); });                                         \
        QCOMPARE(actual, expected);                                                                \
    } while (false)
#define SPIN_VERIFY(condition) QVERIFY(spinUntil([&] { return bool(condition); }))

/// A microscope at the other end of the wire: listens on two neighbouring ports of 127.0.0.1, notes
/// every command and answers those it has an answer for. It shares no code with the link.
class FakeMicroscope : public QObject {
public:
    enum Channel { Control, Data };

    FakeMicroscope()
    {
        answers["TcpRegDataPort"] = wire::uint32(0);
        const auto free = [this] {
            return controlServer.listen(QHostAddress::LocalHost) && port() < 64538
                && dataServer.listen(QHostAddress::LocalHost, port() + 1);
        };
        while (!free())
            controlServer.close();
        connect(&controlServer, &QTcpServer::newConnection, this, [this] { accept(); });
        connect(&dataServer, &QTcpServer::newConnection, this,
                [this] { data = dataServer.nextPendingConnection(); });
    }

    quint16 port() const { return controlServer.serverPort(); }

    /// What came since forget(), without the polls, as "name values" or "name[flags] values"; a
    /// header with anything else set reads "name MALFORMED".
    QStringList commands() const
    {
        QStringList texts;
        for (const QByteArray &message : received)
            if (!message.startsWith("StgGetPosition") && !message.startsWith("GetViewField"))
                texts.append(describe(message));
        return texts;
    }
    /// How many times the stage position was asked for since forget().
    int polls() const { return pollCount; }
    void forget()
    {
        received.clear();
        pollCount = 0;
    }

    /// Changes what the polls are answered with, and reports it at once.
    void setViewField(double viewFieldMm) { report("GetViewField", wire::real(viewFieldMm)); }
    void setStage(double x, double y, double value3 = 3, double value4 = 4, double value5 = 5)
    {
        report("StgGetPosition", wire::position(x, y, value3, value4, value5));
    }

    void reply(const QByteArray &bytes) { write(control, bytes); }
    void scan(const QByteArray &bytes) { write(data, bytes); }
    void dropConnections()
    {
        for (QTcpSocket *socket : { control.data(), data.data() })
            if (socket)
                socket->disconnectFromHost();
    }
    /// Ends the conversation as soon as so many bytes have gone out on the channel; `bytesLeft` is
    /// negative from then on.
    void cutAfter(int bytes, Channel channel, bool byReset)
    {
        bytesLeft = bytes;
        cutChannel = channel;
        cutByReset = byReset;
    }
    /// Whether neither channel is open.
    bool isAlone() const
    {
        const auto closed = [](const QTcpSocket *socket) {
            return !socket || socket->state() == QAbstractSocket::UnconnectedState;
        };
        return closed(control) && closed(data);
    }

    QList<QByteArray> received; ///< whole messages since forget()
    QMap<QByteArray, QByteArray> answers; ///< command name to body of the reply
    QPointer<QTcpSocket> control; ///< null or unconnected while nobody is there
    QPointer<QTcpSocket> data;
    QTcpServer controlServer;
    QTcpServer dataServer; ///< close() it to refuse data channels
    int bytesLeft = -1;

private:
    static QByteArray nameOf(const QByteArray &message)
    {
        return QByteArray(message.left(16) + '\0').constData();
    }

    static QString describe(const QByteArray &message)
    {
        const QByteArray name = nameOf(message);
        QByteArray unflagged = message;
        unflagged[25] = '\0';
        if (unflagged != wire::message(name, message.mid(32)))
            return name + " MALFORMED";
        const int flags = uchar(message.at(25));
        QString text = flags ? QString("%1[%2]").arg(name.constData()).arg(flags) : name;
        const bool hasReals = name == "StgMoveTo" || name == "SetViewField";
        for (int pos = 32; pos < message.size(); pos += hasReals ? 20 : 4)
            text += hasReals ? ' ' + QString(message.mid(pos + 4, 16).constData())
                             : QString(" %1").arg(qint32(wire::uint32At(message, pos)));
        return text;
    }

    void accept()
    {
        for (QTcpSocket *former : { control.data(), data.data() })
            if (former)
                former->deleteLater();
        control = controlServer.nextPendingConnection();
        control->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        data = nullptr;
        buffer.clear();
        connect(control, &QTcpSocket::readyRead, this, [this] { takeMessages(); });
    }

    void takeMessages()
    {
        buffer += control->readAll();
        while (buffer.size() >= 32 && quint32(buffer.size()) >= 32 + wire::uint32At(buffer, 16)) {
            const QByteArray message = buffer.left(int(32 + wire::uint32At(buffer, 16)));
            buffer.remove(0, message.size());
            received.append(message);
            const QByteArray name = nameOf(message);
            pollCount += name == "StgGetPosition";
            if (answers.contains(name))
                reply(wire::message(name, answers.value(name)));
        }
    }

    void report(const QByteArray &name, const QByteArray &body)
    {
        answers[name] = body;
        reply(wire::message(name, body));
    }

    void write(QTcpSocket *socket, const QByteArray &bytes)
    {
        if (!socket || socket->state() != QAbstractSocket::ConnectedState)
            return;
        const bool counted = bytesLeft >= 0 && socket == (cutChannel == Control ? control : data);
        const int count = counted ? qMin(bytesLeft, bytes.size()) : bytes.size();
        socket->write(bytes.constData(), count);
        socket->flush();
        if (!counted || (bytesLeft -= count) > 0)
            return;
        bytesLeft = -1;
        if (!cutByReset)
            return socket->disconnectFromHost();
        const linger atOnce = { 1, 0 };
        setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
        socket->abort();
    }

    QByteArray buffer;
    int pollCount = 0;
    Channel cutChannel = Control;
    bool cutByReset = false;
};

#endif
