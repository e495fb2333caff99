#ifndef TESTS_GDSIIBYTES_H
#define TESTS_GDSIIBYTES_H

#include <QByteArray>
#include <QDataStream>

/// Writes GDSII records by hand, for small layouts with every detail under control.
namespace gdsii {

inline QByteArray record(int kind, const QByteArray &payload = QByteArray())
{
    QByteArray bytes;
    QDataStream(&bytes, QIODevice::WriteOnly) << quint16(4 + payload.size()) << quint16(kind);
    return bytes + payload;
}

/// The kind's low byte tells the type: 2 and 3 are integers of two and four bytes, 5 is a real,
/// here of a whole number below 65536.
inline QByteArray record(int kind, std::initializer_list<int> values)
{
    QByteArray payload;
    QDataStream stream(&payload, QIODevice::WriteOnly);
    for (int value : values) {
        if ((kind & 0xff) == 2)
            stream << qint16(value);
        else if ((kind & 0xff) == 3)
            stream << qint32(value);
        else
            stream << (quint64(68) << 56 | quint64(value) << 40);
    }
    return record(kind, payload);
}

inline QByteArray text(int kind, QByteArray characters)
{
    return record(kind, characters.size() % 2 ? characters + '\0' : characters);
}

// 0.001 user units and 1e-9 m
inline const QByteArray units =
    record(0x0305, QByteArray::fromHex("3e4189374bc6a7f03944b82fa09b5a51"));

inline QByteArray library(const QByteArray &structures, const char *name = "TINY")
{
    return record(0x0002, { 600 }) + record(0x0102, QByteArray(24, '\0')) + text(0x0206, name)
        + units + structures + record(0x0400);
}

inline QByteArray structure(const char *name, const QByteArray &elements)
{
    return record(0x0502, QByteArray(24, '\0')) + text(0x0606, name) + elements + record(0x0700);
}

inline QByteArray boundary(int layer, std::initializer_list<int> xy)
{
    return record(0x0800) + record(0x0D02, { layer }) + record(0x0E02, { 0 }) + record(0x1003, xy)
        + record(0x1100);
}

inline QByteArray rectangle(int layer, int x1, int y1, int x2, int y2)
{
    return boundary(layer, { x1, y1, x2, y1, x2, y2, x1, y2, x1, y1 });
}

} // namespace gdsii

#endif
