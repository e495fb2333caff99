#include "simulator/protocol.h"

#include <QtEndian>

#include <algorithm>

namespace simulator {
namespace {

bool isName(const QByteArray &name)
{
    return !name.isEmpty()
        && std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 127; });
}

// Everything behind the name and around the size and the flags is zero.
bool hasCleanPadding(const QByteArray &header, int nameLength)
{
    for (int i = nameLength; i < headerBytes; ++i) {
        const bool padding = i < sizeOffset || (i >= sizeOffset + 4 && i != flagsOffset);
        if (padding && header.at(i) != 0)
            return false;
    }
    return true;
}

} // namespace

QByteArray encodeUint(quint32 value)
{
    QByteArray bytes(4, '\0');
    qToLittleEndian(value, bytes.data());
    return bytes;
}

QByteArray encodeInt(qint32 value)
{
    return encodeUint(quint32(value));
}

QByteArray encodeString(const QByteArray &text)
{
    const int length = (text.size() / 4 + 1) * 4;
    return encodeUint(quint32(length)) + text + QByteArray(length - text.size(), '\0');
}

QByteArray encodeReal(double value)
{
    return encodeString(QByteArray::number(value, 'e', 6));
}

QByteArray encodeMessage(const Message &message)
{
    QByteArray bytes = message.name.leftJustified(nameBytes, '\0', true);
    bytes += encodeUint(quint32(message.body.size()));
    bytes += QByteArray(headerBytes - bytes.size(), '\0');
    bytes[flagsOffset] = char(message.flags);
    return bytes + message.body;
}

bool BodyReader::has(qint64 bytes)
{
    m_good = m_good && bytes <= m_body.size() - m_position;
    return m_good;
}

quint32 BodyReader::readUint()
{
    if (!has(4))
        return 0;
    m_position += 4;
    return qFromLittleEndian<quint32>(m_body.constData() + m_position - 4);
}

QByteArray BodyReader::readString()
{
    const quint32 length = readUint();
    if (!has(length))
        return QByteArray();
    const QByteArray field = m_body.mid(m_position, int(length));
    m_position += int(length);
    const int end = field.indexOf('\0');
    m_good = length % 4 == 0 && end >= 0;
    return field.left(qMax(end, 0));
}

double BodyReader::readReal()
{
    const QByteArray text = readString();
    bool isNumber = false;
    const double value = text.toDouble(&isNumber);
    m_good = m_good && isNumber;
    return isNumber ? value : 0;
}

MessageSplitter::Result MessageSplitter::next(Message *message, QString *problem)
{
    if (m_buffer.size() < headerBytes)
        return Incomplete;
    const int nameLength = int(qstrnlen(m_buffer.constData(), nameBytes));
    message->name = m_buffer.left(nameLength);
    message->flags = quint8(m_buffer.at(flagsOffset));
    const quint32 size = qFromLittleEndian<quint32>(m_buffer.constData() + sizeOffset);
    if (!isName(message->name) || !hasCleanPadding(m_buffer, nameLength)) {
        *problem = "no command header: " + m_buffer.left(headerBytes).toHex(' ');
        return Malformed;
    }
    if (size > maxCommandBytes) {
        *problem = QStringLiteral("%1 announces %2 bytes")
                       .arg(QString::fromLatin1(message->name))
                       .arg(size);
        return Malformed;
    }
    if (quint32(m_buffer.size() - headerBytes) < size)
        return Incomplete;
    message->body = m_buffer.mid(headerBytes, int(size));
    m_buffer.remove(0, headerBytes + int(size));
    return Complete;
}

} // namespace simulator
