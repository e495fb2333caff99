#include "layout/gdsiistream.h"

#include "layout/gdsiirecords.h"
#include "layout/hierarchy.h"

#include <QHash>
#include <QtEndian>

using namespace layout::gdsii;

namespace layout {
namespace {

// Written by an editor for its own use: references to parametric cells, no geometry.
const char contextStructure[] = "$$$CONTEXT_INFO$$$";
const int ownEndsPath = 4;

class Checker {
public:
    Checker(const QByteArray &file, GdsiiStream *stream)
        : m_file(file)
        , m_stream(stream)
    {
    }

    bool run();
    QString error() const { return m_error; }

private:
    enum State { Start, InLibrary, InStructure, InElement, Done };

    bool next(Record *record);
    bool take(const Record &record);
    bool takeInLibrary(const Record &record);
    bool takeInStructure(const Record &record);
    bool takeInElement(const Record &record);
    bool beginStructure(const Record &name);
    bool endElement();
    int structureNumber(const QByteArray &name);
    void emitRecord(QByteArray *out, quint8 type, quint8 dataType, const QByteArray &payload);
    bool fail(const QString &reason);

    const QByteArray &m_file;
    GdsiiStream *m_stream;
    QString m_error;
    int m_position = 0;
    State m_state = Start;
    bool m_haveName = false;
    bool m_haveUnits = false;
    bool m_skipStructure = false;

    quint8 m_elementType = 0;
    quint64 m_elementRecords = 0; // one bit per record type seen
    int m_points = 0;
    qint64 m_copies = 1;
    int m_target = -1;
    bool m_ownEnds = false; // a path that says how far it goes beyond its first and last point
    int m_extensions[2] = { 0, 0 };
    QByteArray m_elementBytes;

    QHash<QByteArray, int> m_numbers;
    Hierarchy m_hierarchy;
    int m_structure = -1;
};

bool Checker::fail(const QString &reason)
{
    m_error = QStringLiteral("%1 (byte %2)").arg(reason).arg(m_position);
    return false;
}

bool Checker::next(Record *record)
{
    if (m_file.size() - m_position < 4)
        return fail("the file ends before its end-of-library record");
    const int length = qFromBigEndian<quint16>(m_file.constData() + m_position);
    if (length < 4 || length % 2 != 0)
        return fail("a record has the impossible length " + QString::number(length));
    if (length > m_file.size() - m_position)
        return fail("the file ends inside a record");
    record->type = quint8(m_file.at(m_position + 2));
    record->dataType = quint8(m_file.at(m_position + 3));
    record->payload = QByteArray::fromRawData(m_file.constData() + m_position + 4, length - 4);
    return true;
}

bool Checker::run()
{
    if (m_file.isEmpty())
        return fail("the file is empty");
    if (m_file.size() < 6 || !m_file.startsWith(QByteArray("\0\6\0\2", 4)))
        return fail("this is not a GDSII file");
    while (m_state != Done) {
        Record record;
        if (!next(&record) || !take(record))
            return false;
        m_position += 4 + record.payload.size();
    }
    m_error = m_hierarchy.check(m_stream->structureNames);
    return m_error.isEmpty();
}

bool Checker::take(const Record &record)
{
    const RecordRule *rule = ruleFor(recordRules, record.type);
    if (!rule) // attributes, fonts: nothing that is drawn here
        return m_state != Start || fail("the library does not begin");
    if (!record.fits(*rule))
        return fail(
            QStringLiteral("record 0x%1 has the wrong form").arg(record.type, 2, 16, QChar('0')));
    switch (m_state) {
    case InStructure:
        return takeInStructure(record);
    case InElement:
        return takeInElement(record);
    default:
        return takeInLibrary(record);
    }
}

bool Checker::takeInLibrary(const Record &record)
{
    QByteArray *out = &m_stream->bytes;
    switch (record.type) {
    case Header:
    case BgnLib:
        m_state = record.type == BgnLib ? InLibrary : m_state;
        emitRecord(out, record.type, record.dataType, record.payload);
        return true;
    case LibName:
        m_stream->libraryName = record.text();
        emitRecord(out, LibName, ascii, "L");
        return m_state == InLibrary || fail("the library does not begin");
    case Units:
        m_haveUnits = true;
        emitRecord(out, Units, real64, record.payload);
        return m_state == InLibrary || fail("the library does not begin");
    case BgnStr:
        m_state = InStructure;
        m_haveName = false;
        return m_haveUnits || fail("a structure begins before the units record");
    case EndLib:
        m_state = Done;
        emitRecord(out, EndLib, noData, QByteArray());
        return m_haveUnits || fail("the units record is missing");
    default:
        return fail(QStringLiteral("record 0x%1 outside of a structure")
                        .arg(record.type, 2, 16, QChar('0')));
    }
}

bool Checker::beginStructure(const Record &name)
{
    m_skipStructure = name.text() == contextStructure;
    m_haveName = true;
    if (m_skipStructure)
        return true;
    m_structure = structureNumber(name.text());
    if (!m_hierarchy.define(m_structure))
        return fail("structure \"" + QString::fromLatin1(name.text()) + "\" is defined twice");
    emitRecord(&m_stream->bytes, BgnStr, int16, QByteArray(24, '\0'));
    emitRecord(&m_stream->bytes, StrName, ascii, QByteArray::number(m_structure));
    return true;
}

bool Checker::takeInStructure(const Record &record)
{
    if (record.type == StrName && !m_haveName)
        return beginStructure(record);
    if (!m_haveName)
        return fail("a structure has no name");
    if (record.type == EndStr) {
        if (!m_skipStructure)
            emitRecord(&m_stream->bytes, EndStr, noData, QByteArray());
        m_state = InLibrary;
        return true;
    }
    if (!ruleFor(elementRules, record.type))
        return fail(QStringLiteral("record 0x%1 outside of an element")
                        .arg(record.type, 2, 16, QChar('0')));
    m_state = InElement;
    m_elementType = record.type;
    m_elementRecords = 0;
    m_points = 0;
    m_copies = 1;
    m_ownEnds = false;
    m_extensions[0] = m_extensions[1] = 0;
    m_elementBytes.clear();
    emitRecord(&m_elementBytes, record.type == Box ? quint8(Boundary) : record.type, noData,
               QByteArray());
    return true;
}

bool Checker::takeInElement(const Record &record)
{
    if (record.type == EndEl)
        return endElement();
    if (record.type < LayerNumber || record.type == Node || record.type == Box)
        return fail(
            QStringLiteral("record 0x%1 inside of an element").arg(record.type, 2, 16, QChar('0')));
    if (m_elementRecords >> record.type & 1)
        return fail(
            QStringLiteral("record 0x%1 twice in an element").arg(record.type, 2, 16, QChar('0')));
    m_elementRecords |= quint64(1) << record.type;
    QByteArray payload = record.payload;
    if (record.type == SName && !m_skipStructure) {
        m_target = structureNumber(record.text());
        payload = QByteArray::number(m_target);
    } else if (record.type == String) {
        payload = QByteArray::number(m_stream->texts.size());
        m_stream->texts.append(record.text());
    } else if (record.type == STrans) {
        // the library looks for the mirroring in the lowest bit of the first byte, not the highest
        payload = QByteArray(record.payload.at(0) & 0x80 ? "\1\0" : "\0\0", 2);
    } else if (record.type == PathType) {
        m_ownEnds = record.int16At(0) == ownEndsPath;
    } else if (record.type == BgnExtn || record.type == EndExtn) {
        m_extensions[record.type - BgnExtn] = record.int32At(0);
        return true;
    } else if (record.type == XY) {
        m_points = payload.size() / 8;
        if (m_ownEnds)
            payload = lengthenedEnds(record, m_extensions[0], m_extensions[1]);
    } else if (record.type == ColRow) {
        if (record.int16At(0) < 1 || record.int16At(1) < 1)
            return fail("an array has no columns or rows");
        m_copies = qint64(record.int16At(0)) * record.int16At(1);
    }
    emitRecord(&m_elementBytes, record.type == BoxType ? quint8(DataType) : record.type,
               record.dataType, payload);
    return true;
}

bool Checker::endElement()
{
    const ElementRule *rule = ruleFor(elementRules, m_elementType);
    m_state = InStructure;
    for (quint8 required : rule->required) {
        if (required != Header && !(m_elementRecords >> required & 1))
            return fail(QStringLiteral("an element lacks its record 0x%1")
                            .arg(required, 2, 16, QChar('0')));
    }
    if (m_points < rule->minPoints || m_points > rule->maxPoints)
        return fail(QStringLiteral("an element has %1 points").arg(m_points));
    if (m_skipStructure || m_elementType == Node)
        return true;
    if (m_elementType == SRef || m_elementType == ARef)
        m_hierarchy.addReference(m_structure, m_target, m_copies);
    else
        m_hierarchy.addShape(m_structure, m_points);
    m_stream->bytes += m_elementBytes;
    emitRecord(&m_stream->bytes, EndEl, noData, QByteArray());
    return true;
}

int Checker::structureNumber(const QByteArray &name)
{
    const auto found = m_numbers.constFind(name);
    if (found != m_numbers.constEnd())
        return *found;
    m_stream->structureNames.append(name);
    m_numbers.insert(name, m_stream->structureNames.size() - 1);
    return m_stream->structureNames.size() - 1;
}

void Checker::emitRecord(QByteArray *out, quint8 type, quint8 dataType, const QByteArray &payload)
{
    const int padding = payload.size() % 2;
    char head[4] = { 0, 0, char(type), char(dataType) };
    qToBigEndian(quint16(4 + payload.size() + padding), head);
    out->append(head, 4).append(payload).append(QByteArray(padding, '\0'));
}

} // namespace

bool checkGdsii(const QByteArray &file, GdsiiStream *stream, QString *error)
{
    Checker checker(file, stream);
    const bool good = checker.run();
    *error = checker.error();
    return good;
}

} // namespace layout
