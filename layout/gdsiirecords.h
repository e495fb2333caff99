#ifndef LAYOUT_GDSIIRECORDS_H
#define LAYOUT_GDSIIRECORDS_H

#include <QByteArray>
#include <QtEndian>

namespace layout {
namespace gdsii {

/// Record types, as in the third byte of a record.
enum RecordType : quint8 {
    Header = 0x00,
    BgnLib = 0x01,
    LibName = 0x02,
    Units = 0x03,
    EndLib = 0x04,
    BgnStr = 0x05,
    StrName = 0x06,
    EndStr = 0x07,
    Boundary = 0x08,
    Path = 0x09,
    SRef = 0x0A,
    ARef = 0x0B,
    Text = 0x0C,
    LayerNumber = 0x0D,
    DataType = 0x0E,
    Width = 0x0F,
    XY = 0x10,
    EndEl = 0x11,
    SName = 0x12,
    ColRow = 0x13,
    Node = 0x15,
    TextType = 0x16,
    String = 0x19,
    STrans = 0x1A,
    Mag = 0x1B,
    Angle = 0x1C,
    PathType = 0x21,
    Box = 0x2D,
    BoxType = 0x2E,
    BgnExtn = 0x30,
    EndExtn = 0x31,
};

/// The records that make geometry: the data type they must have, their shortest payload, and the
/// number of bytes their payload is a multiple of (0: exactly the shortest).
struct RecordRule {
    quint8 type;
    quint8 dataType;
    int minBytes;
    int multiple;
};

constexpr quint8 noData = 0, bits = 1, int16 = 2, int32 = 3, real64 = 5, ascii = 6;

constexpr RecordRule recordRules[] = {
    { Header, int16, 2, 0 },   { BgnLib, int16, 24, 2 },     { LibName, ascii, 0, 1 },
    { Units, real64, 16, 0 },  { EndLib, noData, 0, 0 },     { BgnStr, int16, 24, 2 },
    { StrName, ascii, 1, 1 },  { EndStr, noData, 0, 0 },     { Boundary, noData, 0, 0 },
    { Path, noData, 0, 0 },    { SRef, noData, 0, 0 },       { ARef, noData, 0, 0 },
    { Text, noData, 0, 0 },    { LayerNumber, int16, 2, 0 }, { DataType, int16, 2, 0 },
    { Width, int32, 4, 0 },    { XY, int32, 8, 8 },          { EndEl, noData, 0, 0 },
    { SName, ascii, 1, 1 },    { ColRow, int16, 4, 0 },      { Node, noData, 0, 0 },
    { TextType, int16, 2, 0 }, { String, ascii, 0, 1 },      { STrans, bits, 2, 0 },
    { Mag, real64, 8, 0 },     { Angle, real64, 8, 0 },      { PathType, int16, 2, 0 },
    { Box, noData, 0, 0 },     { BoxType, int16, 2, 0 },     { BgnExtn, int32, 4, 0 },
    { EndExtn, int32, 4, 0 },
};

/// What an element must contain.
struct ElementRule {
    quint8 type;
    int minPoints, maxPoints;
    quint8 required[2]; ///< besides XY; Header stands for none
};

constexpr int anyPoints = 1 << 20;

constexpr ElementRule elementRules[] = {
    { Boundary, 3, anyPoints, { LayerNumber, Header } },
    { Box, 3, anyPoints, { LayerNumber, Header } },
    { Path, 1, anyPoints, { LayerNumber, Header } },
    { Text, 1, 1, { LayerNumber, String } },
    { SRef, 1, 1, { SName, Header } },
    { ARef, 3, 3, { SName, ColRow } },
    { Node, 1, anyPoints, { Header, Header } },
};

template <class Rule, size_t n> const Rule *ruleFor(const Rule (&rules)[n], quint8 type)
{
    for (const Rule &rule : rules) {
        if (rule.type == type)
            return &rule;
    }
    return nullptr;
}

struct Record {
    quint8 type;
    quint8 dataType;
    QByteArray payload; // a view of the file

    int int16At(int index) const { return qFromBigEndian<qint16>(payload.constData() + 2 * index); }
    int int32At(int index) const { return qFromBigEndian<qint32>(payload.constData() + 4 * index); }
    QByteArray text() const; ///< without its padding, and not a view of the file
    bool fits(const RecordRule &rule) const;
};

/// The payload of a path's XY record with the ends moved outwards, database units.
QByteArray lengthenedEnds(const Record &xy, int atFirst, int atLast);

} // namespace gdsii
} // namespace layout

#endif
