#ifndef TESTS_GDSIIBYTES_H
#define TESTS_GDSIIBYTES_H

#include <QByteArray>
#include <QPolygon>

#include <QtEndian>

#include <initializer_list>

/// Writes GDSII records by hand, for small layouts with every detail under control.
namespace gdsii {

inline QByteArray record(int kind, const QByteArray &payload = QByteArray())
{
    QByteArray head(4, '\0');
    qToBigEndian(quint16(4 + payload.size()), head.data());
    qToBigEndian(quint16(kind), head.data() + 2);
    return head + payload;
}

template <class Integer> QByteArray integers(std::initializer_list<int> values)
{
    QByteArray bytes;
    for (int value : values) {
        QByteArray one(sizeof(Integer), '\0');
        qToBigEndian(Integer(value), one.data());
        bytes += one;
    }
    return bytes;
}

inline QByteArray shorts(std::initializer_list<int> values)
{
    return integers<qint16>(values);
}

inline QByteArray longs(std::initializer_list<int> values)
{
    return integers<qint32>(values);
}

inline QByteArray text(const char *characters)
{
    QByteArray bytes(characters);
    return bytes.size() % 2 ? bytes + '\0' : bytes;
}

/// Excess-64 reals of whole numbers below 65536.
inline QByteArray real(int value)
{
    QByteArray bytes(8, '\0');
    qToBigEndian(quint64(68) << 56 | quint64(value) << 40, bytes.data());
    return bytes;
}

// 0.001 user units and 1e-9 m
inline const QByteArray units = QByteArray::fromHex("3e4189374bc6a7f03944b82fa09b5a51");

inline QByteArray library(const QByteArray &structures, const char *name = "TINY")
{
    return record(0x0002, shorts({ 600 })) + record(0x0102, QByteArray(24, '\0'))
        + record(0x0206, text(name)) + record(0x0305, units) + structures + record(0x0400);
}

inline QByteArray structure(const char *name, const QByteArray &elements)
{
    return record(0x0502, QByteArray(24, '\0')) + record(0x0606, text(name)) + elements
        + record(0x0700);
}

inline QByteArray boundary(int layer, std::initializer_list<int> xy)
{
    return record(0x0800) + record(0x0D02, shorts({ layer })) + record(0x0E02, shorts({ 0 }))
        + record(0x1003, longs(xy)) + record(0x1100);
}

inline QByteArray rectangle(int layer, int x1, int y1, int x2, int y2)
{
    return boundary(layer, { x1, y1, x2, y1, x2, y2, x1, y2, x1, y1 });
}

inline QByteArray reference(const char *name, int x, int y,
                            const QByteArray &transform = QByteArray())
{
    return record(0x0A00) + record(0x1206, text(name)) + transform + record(0x1003, longs({ x, y }))
        + record(0x1100);
}

inline QByteArray array(const char *name, int columns, int rows, std::initializer_list<int> xy)
{
    return record(0x0B00) + record(0x1206, text(name)) + record(0x1302, shorts({ columns, rows }))
        + record(0x1003, longs(xy)) + record(0x1100);
}

} // namespace gdsii

#endif
