#ifndef FUZZ_DRIVER_H
#define FUZZ_DRIVER_H

#include <QByteArray>
#include <QString>

/// The bytes of one run, taken from the front. Beyond their end everything reads as zero or empty.
class Input {
public:
    explicit Input(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool atEnd() const { return m_position >= m_bytes.size(); }
    int byte() { return atEnd() ? 0 : uchar(m_bytes.at(m_position++)); }
    int below(int limit) { return byte() % limit; }
    int integer(); ///< any 32-bit integer
    double real(); ///< any bit pattern: not a number, infinities, denormals
    QByteArray take(int count);
    /// As long as the byte at the front says.
    QByteArray shortText() { return take(byte()); }
    QByteArray rest() { return take(m_bytes.size()); }

private:
    QByteArray m_bytes;
    int m_position = 0;
};

/// Cuts a stream into the pieces in which it arrives: for code 0 into one piece, else into pieces
/// of lengths that follow from the code.
class Cutter {
public:
    Cutter(const QByteArray &stream, int code)
        : m_stream(stream)
        , m_state(quint32(code))
        , m_whole(code == 0)
    {
    }

    bool atEnd() const { return m_position >= m_stream.size(); }
    QByteArray next();

private:
    QByteArray m_stream;
    quint32 m_state;
    bool m_whole;
    int m_position = 0;
};

/// Ends the run as a finding, with the reason.
void require(bool good, const char *reason);

/// The folder for files of this process; it goes with the process.
QString scratchFolder();

// What a target supplies: one run.
void fuzzOne(Input &input);

#endif
