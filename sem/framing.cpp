// Messages of the remote-control protocol: a header of 32 bytes (name, body size at 16, flags at
// 25) and a body of values, all integers little-endian.

#include "sem/messageheader.h"
#include "sem/tescan.h"

#include <QtEndian>

namespace {

void appendLittleEndian(QByteArray *buffer, quint32 value)
{
    uchar bytes[4];
    qToLittleEndian(value, bytes);
    buffer->append(reinterpret_cast<const char *>(bytes), 4);
}

// QByteArray indexes with int; positions come from the other end of the wire and may lie anywhere.
bool holds(const QByteArray &buffer, int pos, int count)
{
    return pos >= 0 && pos <= buffer.size() - count;
}

void advance(int *pos, quint32 count)
{
    const qint64 next = qint64(*pos) + count;
    *pos = int(qMin<qint64>(next, 0x7FFFFFFF));
}

int readUint8(const QByteArray &buffer, int *pos)
{
    const int value = holds(buffer, *pos, 1) ? uchar(buffer.at(*pos)) : 0;
    advance(pos, 1);
    return value;
}

quint32 readUint32(const QByteArray &buffer, int *pos)
{
    const quint32 value = holds(buffer, *pos, 4)
        ? qFromLittleEndian<quint32>(reinterpret_cast<const uchar *>(buffer.constData()) + *pos)
        : 0;
    advance(pos, 4);
    return value;
}
} // namespace

void tescan::createHeader(QString name)
{
    sendBuffer.clear();
    sendBuffer.append(name.toLatin1().left(nameSize));
    sendBuffer.append(QByteArray(headerSize - sendBuffer.size(), '\0'));
    sendBuffer[flagsOffset] = char(headerFlags);
}

void tescan::sendInt(int value)
{
    appendLittleEndian(&sendBuffer, quint32(value));
}

void tescan::sendUint(unsigned int value)
{
    appendLittleEndian(&sendBuffer, value);
}

void tescan::sendString(QString text)
{
    // At least one zero byte follows the text, so that the field is a C string, too.
    const int length = (text.size() / 4 + 1) * 4;
    appendLittleEndian(&sendBuffer, quint32(length));
    for (int i = 0; i < text.size(); ++i) {
        const ushort code = text.at(i).unicode();
        sendBuffer.append(code < 256 ? char(code) : '\0');
    }
    sendBuffer.append(QByteArray(length - text.size(), '\0'));
}

void tescan::sendFloat(double value)
{
    sendString(QString::number(value, 'e', 6));
}

void tescan::send()
{
    if (sendBuffer.size() < headerSize)
        return;
    const quint32 bodySize = quint32(sendBuffer.size() - headerSize);
    qToLittleEndian(bodySize, reinterpret_cast<uchar *>(sendBuffer.data()) + bodySizeOffset);
    // A socket that is still connecting would keep the message and send it ahead of the
    // registration.
    if (controlSocket->state() == QAbstractSocket::ConnectedState)
        controlSocket->write(sendBuffer);
}

int tescan::getUint8(int *pos)
{
    return readUint8(receiveBuffer, pos);
}

unsigned int tescan::getUint32(int *pos)
{
    return readUint32(receiveBuffer, pos);
}

int tescan::getInt32(int *pos)
{
    return int(readUint32(receiveBuffer, pos));
}

QString tescan::getString(int *pos)
{
    const quint32 length = getUint32(pos);
    QString text;
    if (holds(receiveBuffer, *pos, 1)) {
        const int end = receiveBuffer.indexOf('\0', *pos);
        const int count = (end < 0 ? receiveBuffer.size() : end) - *pos;
        text = QString::fromLatin1(receiveBuffer.constData() + *pos, count);
    }
    advance(pos, length);
    return text;
}

double tescan::getFloat(int *pos)
{
    // Unlike QString's conversion in Qt 4, that of QByteArray never asks the user's locale.
    return getString(pos).trimmed().toLower().toLatin1().toDouble();
}

int tescan::getUint8Data(int *pos)
{
    return readUint8(dataBuffer, pos);
}

unsigned int tescan::getUint32Data(int *pos)
{
    return readUint32(dataBuffer, pos);
}

int tescan::getInt32Data(int *pos)
{
    return int(readUint32(dataBuffer, pos));
}
