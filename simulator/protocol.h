#ifndef SIMULATOR_PROTOCOL_H
#define SIMULATOR_PROTOCOL_H

#include <QByteArray>
#include <QString>

namespace simulator {

constexpr int headerBytes = 32;
constexpr int nameBytes = 16;
constexpr int sizeOffset = 16; ///< of the body size in the header
constexpr int flagsOffset = 25;
constexpr quint32 maxCommandBytes = 64 * 1024; ///< body of a command; none comes near it

/// A message of either channel: the header's name and flag byte, and the encoded values.
struct Message {
    QByteArray name;
    quint8 flags = 0;
    QByteArray body;
};

/// All integers are little-endian; a text is padded with at least one zero byte to a multiple of
/// four behind its length; a real is the text of its exponent form.
QByteArray encodeUint(quint32 value);
QByteArray encodeInt(qint32 value);
QByteArray encodeString(const QByteArray &text);
QByteArray encodeReal(double value);
QByteArray encodeMessage(const Message &message);

/// Reads the values of a body one after another. A value that is not there, or not well formed,
/// reads as zero and makes `good()` false from then on.
class BodyReader {
public:
    explicit BodyReader(const QByteArray &body)
        : m_body(body)
    {
    }

    quint32 readUint();
    qint32 readInt() { return qint32(readUint()); }
    QByteArray readString();
    double readReal();

    bool good() const { return m_good; }
    bool atEnd() const { return m_position == m_body.size(); }

private:
    bool has(qint64 bytes);

    QByteArray m_body;
    int m_position = 0;
    bool m_good = true;
};

/// Cuts the control channel's bytes into messages, however they arrive.
class MessageSplitter {
public:
    enum Result { Incomplete, Complete, Malformed };

    void append(const QByteArray &bytes) { m_buffer += bytes; }

    /// Takes the next message off the front. After Malformed, `problem` says what was wrong and
    /// the stream is lost.
    Result next(Message *message, QString *problem);

private:
    QByteArray m_buffer;
};

} // namespace simulator

#endif
