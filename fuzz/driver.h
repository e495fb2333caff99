#ifndef FUZZ_DRIVER_H
#define FUZZ_DRIVER_H

#include <QByteArray>

/// The bytes of one run, taken from the front. Beyond their end everything reads as zero or empty.
class Input {
public:
    explicit Input(const QByteArray &bytes)
        : m_bytes(bytes)
    {
    }

    bool atEnd() const { return m_position >= m_bytes.size(); }
    int byte() { return atEnd() ? 0 : uchar(m_bytes.at(m_position++)); }
    QByteArray rest() { return take(m_bytes.size()); }
    QByteArray take(int count);

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

    bool atEnd() const { return m_stream.atEnd(); }
    QByteArray next();

private:
    Input m_stream;
    quint32 m_state;
    bool m_whole;
};

/// Ends the run as a finding, with the reason.
void require(bool good, const char *reason);

// What a target supplies: one run.
void fuzzOne(Input &input);

#endif
