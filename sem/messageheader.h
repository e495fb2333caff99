#ifndef SEM_MESSAGEHEADER_H
#define SEM_MESSAGEHEADER_H

#include <QByteArray>
#include <QString>

// Layout of a message header, the same in both directions and on both channels, in bytes.
const int headerSize = 32;
const int nameSize = 16; ///< command name, padded with zero bytes
const int bodySizeOffset = 16; ///< unsigned 32 bits, little-endian
const int flagsOffset = 25;

/// The command name of the message that begins at `start`; `buffer` holds its header.
inline QString messageName(const QByteArray &buffer, int start)
{
    const char *name = buffer.constData() + start;
    return QString::fromLatin1(name, int(qstrnlen(name, nameSize)));
}

#endif
