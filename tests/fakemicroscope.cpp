#include "tests/fakemicroscope.h"

#include <QtEndian>

#include <algorithm>
#include <sys/socket.h>

namespace {
quint32 uint32At(const QByteArray &bytes, int pos)
{
    return qFromLittleEndian<quint32>(bytes.constData() + pos);
}

QByteArray nameOf(const QByteArray &message)
{
    return QByteArray(message.left(16) + '\0').constData();
}

QString describe(const QByteArray &message)
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
                         : QString(" %1").arg(qint32(uint32At(message, pos)));
    return text;
}
} // namespace

QByteArray wire::uint32(quint32 value)
{
    const quint32 littleEndian = qToLittleEndian(value);
    return QByteArray(reinterpret_cast<const char *>(&littleEndian), 4);
}

QByteArray wire::text(const QByteArray &latin1)
{
    const QByteArray padded = latin1 + QByteArray(4 - latin1.size() % 4, '\0');
    return uint32(quint32(padded.size())) + padded;
}

QByteArray wire::real(double value)
{
    return text(QByteArray::number(value, 'e', 17));
}

QByteArray wire::position(double x, double y, double value3, double value4, double value5)
{
    return real(x) + real(y) + real(value3) + real(value4) + real(value5);
}

QByteArray wire::header(const QByteArray &name, quint32 bodySize)
{
    return name + QByteArray(16 - name.size(), '\0') + uint32(bodySize) + QByteArray(12, '\0');
}

QByteArray wire::message(const QByteArray &name, const QByteArray &body)
{
    return header(name, quint32(body.size())) + body;
}

QByteArray wire::scanData(quint32 pixelIndex, const QByteArray &grey)
{
    // The four other integers mean nothing to the receiver, so they are anything but zero.
    return message("ScData",
                   uint32(0xFFFFFFFF) + uint32(8) + uint32(pixelIndex) + uint32(77)
                       + uint32(0x12345678) + grey);
}

FakeMicroscope::FakeMicroscope()
{
    answers["TcpRegDataPort"] = wire::uint32(0);
    const auto free = [this] {
        return controlServer.listen(QHostAddress::LocalHost) && port() < 64538
            && dataServer.listen(QHostAddress::LocalHost, port() + 1);
    };
    while (!free())
        controlServer.close();
    connect(&controlServer, &QTcpServer::newConnection, this, [this] {
        for (QTcpSocket *former : { control.data(), data.data() })
            if (former)
                former->deleteLater();
        control = controlServer.nextPendingConnection();
        control->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        data = nullptr;
        m_buffer.clear();
        connect(control, &QTcpSocket::readyRead, this, &FakeMicroscope::takeMessages);
    });
    connect(&dataServer, &QTcpServer::newConnection, this,
            [this] { data = dataServer.nextPendingConnection(); });
}

void FakeMicroscope::takeMessages()
{
    m_buffer += control->readAll();
    while (m_buffer.size() >= 32 && quint32(m_buffer.size()) >= 32 + uint32At(m_buffer, 16)) {
        const QByteArray message = m_buffer.left(int(32 + uint32At(m_buffer, 16)));
        m_buffer.remove(0, message.size());
        received.append(message);
        const QByteArray name = nameOf(message);
        if (answers.contains(name))
            reply(wire::message(name, answers.value(name)));
    }
}

QStringList FakeMicroscope::commands() const
{
    QStringList texts;
    for (const QByteArray &message : received)
        if (!message.startsWith("StgGetPosition") && !message.startsWith("GetViewField"))
            texts.append(describe(message));
    return texts;
}

int FakeMicroscope::polls() const
{
    return int(std::count_if(received.begin(), received.end(), [](const QByteArray &message) {
        return message.startsWith("StgGetPosition");
    }));
}

void FakeMicroscope::report(const QByteArray &name, const QByteArray &body)
{
    answers[name] = body;
    reply(wire::message(name, body));
}

void FakeMicroscope::setViewField(double viewFieldMm)
{
    report("GetViewField", wire::real(viewFieldMm));
}

void FakeMicroscope::setStage(double x, double y, double value3, double value4, double value5)
{
    report("StgGetPosition", wire::position(x, y, value3, value4, value5));
}

void FakeMicroscope::write(QTcpSocket *socket, const QByteArray &bytes)
{
    if (!socket || socket->state() != QAbstractSocket::ConnectedState)
        return;
    const bool counted = bytesLeft >= 0 && socket == (m_cutChannel == Control ? control : data);
    const int count = counted ? qMin(bytesLeft, bytes.size()) : bytes.size();
    socket->write(bytes.constData(), count);
    socket->flush();
    if (!counted || (bytesLeft -= count) > 0)
        return;
    bytesLeft = -1;
    if (!m_cutByReset)
        return socket->disconnectFromHost();
    const linger atOnce = { 1, 0 };
    setsockopt(int(socket->socketDescriptor()), SOL_SOCKET, SO_LINGER, &atOnce, sizeof atOnce);
    socket->abort();
}

void FakeMicroscope::cutAfter(int bytes, Channel channel, bool byReset)
{
    bytesLeft = bytes;
    m_cutChannel = channel;
    m_cutByReset = byReset;
}

void FakeMicroscope::dropConnections()
{
    for (QTcpSocket *socket : { control.data(), data.data() })
        if (socket)
            socket->disconnectFromHost();
}

bool FakeMicroscope::isAlone() const
{
    const auto closed = [](const QTcpSocket *socket) {
        return !socket || socket->state() == QAbstractSocket::UnconnectedState;
    };
    return closed(control) && closed(data);
}
