#include "simulator/units.h"

#include "simulator/protocol.h"

#include <QtEndian>

#include <algorithm>

namespace simulator {
namespace {

const qint64 mostZeros = 256 << 20; // more was never sent in one go
const quint32 largestOddBody = 1 << 20; // of a message whose name is no word

void append(RecordedBytes *bytes, const QByteArray &known, qint64 missing)
{
    if (bytes->runs.isEmpty() || (!known.isEmpty() && bytes->runs.last().missing > 0))
        bytes->runs.append(RecordedBytes::Run());
    bytes->runs.last().bytes += known;
    bytes->runs.last().missing += missing;
}

quint32 bodySizeIn(const QByteArray &header)
{
    return qFromLittleEndian<quint32>(header.constData() + sizeOffset);
}

QByteArray nameIn(const QByteArray &header)
{
    return header.left(int(qstrnlen(header.constData(), nameBytes)));
}

/// Whether this is the header of a message whose name is a word.
bool isPlainHeader(const QByteArray &header)
{
    if (header.size() < headerBytes)
        return false;
    const QByteArray name = nameIn(header);
    const bool printable =
        std::all_of(name.begin(), name.end(), [](char c) { return c > ' ' && c < 127; });
    const bool padded = header.left(nameBytes).count('\0') == nameBytes - name.size();
    return !name.isEmpty() && printable && padded;
}

class UnitCutter {
public:
    void take(const capture::Piece &piece);
    QVector<Unit> finish();
    qint64 leftOutBytes() const { return m_leftOutBytes; }

private:
    enum State { InStep, InGarbage, BehindGap };

    void takeBytes(const QByteArray &bytes);
    void takeMissing(qint64 count);
    void readHeader();
    void complete();
    void leaveOut(qint64 count);

    State m_state = InStep;
    Unit m_unit;
    qint64 m_wanted = headerBytes;
    qint64 m_leftOutBytes = 0;
    QVector<Unit> m_units;
};

void UnitCutter::take(const capture::Piece &piece)
{
    if (m_state != InStep && isPlainHeader(piece.bytes))
        m_state = InStep;
    m_unit.timeNs = piece.timeNs;
    takeBytes(piece.bytes);
    takeMissing(piece.missing);
}

void UnitCutter::takeBytes(const QByteArray &bytes)
{
    for (int at = 0; at < bytes.size();) {
        const int left = bytes.size() - at;
        if (m_state == BehindGap)
            return leaveOut(left);
        const int count =
            m_state == InGarbage ? left : int(qMin<qint64>(left, m_wanted - m_unit.bytes.size()));
        append(&m_unit.bytes, bytes.mid(at, count), 0);
        at += count;
        if (m_state == InStep && m_unit.name.isEmpty() && m_unit.bytes.size() == headerBytes)
            readHeader();
        if (m_state == InGarbage ? at == bytes.size() : m_unit.bytes.size() == m_wanted)
            complete();
    }
}

void UnitCutter::takeMissing(qint64 count)
{
    while (count > 0) {
        if (m_state != InStep || m_unit.name.isEmpty()) { // who knows what it was
            m_state = BehindGap;
            return leaveOut(0);
        }
        const qint64 taken = qMin(count, m_wanted - m_unit.bytes.size());
        append(&m_unit.bytes, QByteArray(), taken);
        count -= taken;
        if (m_unit.bytes.size() == m_wanted)
            complete();
    }
}

void UnitCutter::readHeader()
{
    const QByteArray header = m_unit.bytes.filled();
    const quint32 size = bodySizeIn(header);
    if (isPlainHeader(header) || size <= largestOddBody)
        m_unit.name = nameIn(header);
    if (m_unit.name.isEmpty())
        m_state = InGarbage;
    else
        m_wanted += size;
}

void UnitCutter::complete()
{
    m_unit.complete = !m_unit.name.isEmpty();
    m_units.append(m_unit);
    m_unit.name.clear();
    m_unit.bytes = RecordedBytes();
    m_unit.complete = false;
    m_wanted = headerBytes;
}

void UnitCutter::leaveOut(qint64 count)
{
    m_leftOutBytes += count + m_unit.bytes.size();
    m_unit.bytes = RecordedBytes();
}

QVector<Unit> UnitCutter::finish()
{
    if (!m_unit.bytes.runs.isEmpty())
        m_units.append(m_unit);
    return m_units;
}

} // namespace

qint64 RecordedBytes::size() const
{
    qint64 size = 0;
    for (const Run &run : runs)
        size += run.bytes.size() + run.missing;
    return size;
}

QByteArray RecordedBytes::filled() const
{
    QByteArray all;
    for (const Run &run : runs)
        all += run.bytes + QByteArray(int(qMin(run.missing, mostZeros)), '\0');
    return all;
}

QVector<Unit> cutIntoUnits(const capture::Stream &stream, qint64 *leftOutBytes)
{
    UnitCutter cutter;
    for (const capture::Piece &piece : stream.pieces)
        cutter.take(piece);
    const QVector<Unit> units = cutter.finish();
    *leftOutBytes += cutter.leftOutBytes();
    return units;
}

} // namespace simulator
