#include "tests/fakemicroscope.h"

namespace {
quint32 uint32At(const QByteArray &bytes, int pos)
{
    quint32 value = 0;
    for (int i = 3; i >= 0; --i)
        value = value << 8 | uchar(bytes.at(pos + i));
    return value;
}

bool isPoll(const FakeMicroscope::Command &command)
{
    return command.name == "StgGetPosition" || command.name == "GetViewField";
}

bool hasReals(const QByteArray &name)
{
    return name == "StgMoveTo" || name == "SetViewField";
}
} // namespace

QByteArray wire::uint32(quint32 value)
{
    QByteArray bytes;
    for (int shift = 0; shift < 32; shift += 8)
        bytes.append(char(value >> shift & 0xFF));
    return bytes;
}

QByteArray wire::text(const QByteArray &latin1)
{
    QByteArray padded = latin1 + '\0';
    while (padded.size() % 4 != 0)
        padded.append('\0');
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
        control = controlServer.nextPendingConnection();
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
        Command command;
        command.bytes = m_buffer.left(int(32 + uint32At(m_buffer, 16)));
        m_buffer.remove(0, command.bytes.size());
        command.name = QByteArray(command.bytes.left(16) + '\0').constData();
        command.flags = uchar(command.bytes.at(25));
        command.body = command.bytes.mid(32);
        received.append(command);
        if (answers.contains(command.name))
            reply(wire::message(command.name, answers.value(command.name)));
    }
}

QString FakeMicroscope::describe(const Command &command)
{
    QByteArray clean = wire::header(command.name, quint32(command.body.size()));
    clean[25] = char(command.flags);
    if (clean != command.bytes.left(32))
        return command.name + " MALFORMED";
    QString text = command.name;
    if (command.flags != 0)
        text += QString("[%1]").arg(command.flags);
    const int step = hasReals(command.name) ? 20 : 4;
    for (int pos = 0; pos + step <= command.body.size(); pos += step)
        text += ' '
            + (step == 4 ? QString::number(qint32(uint32At(command.body, pos)))
                         : QString(command.body.mid(pos + 4, 16).constData()));
    return text;
}

QStringList FakeMicroscope::commands() const
{
    QStringList texts;
    for (const Command &command : received)
        if (!isPoll(command))
            texts.append(describe(command));
    return texts;
}

int FakeMicroscope::polls() const
{
    int count = 0;
    for (const Command &command : received)
        count += command.name == "StgGetPosition";
    return count;
}

void FakeMicroscope::setViewField(double viewFieldMm)
{
    answers["GetViewField"] = wire::real(viewFieldMm);
    reply(wire::message("GetViewField", answers["GetViewField"]));
}

void FakeMicroscope::setStage(double x, double y, double value3, double value4, double value5)
{
    answers["StgGetPosition"] = wire::position(x, y, value3, value4, value5);
    reply(wire::message("StgGetPosition", answers["StgGetPosition"]));
}

void FakeMicroscope::write(QTcpSocket *socket, const QByteArray &bytes)
{
    if (socket && socket->state() == QAbstractSocket::ConnectedState) {
        socket->write(bytes);
        socket->flush();
    }
}

void FakeMicroscope::dropConnections()
{
    for (QTcpSocket *socket : { control.data(), data.data() })
        if (socket)
            socket->disconnectFromHost();
}
