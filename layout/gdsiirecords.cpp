#include "layout/gdsiirecords.h"

#include "layout/pathoutline.h"

#include <limits>

namespace layout {
namespace gdsii {

QByteArray Record::text() const
{
    return QByteArray(payload.constData(),
                      int(qstrnlen(payload.constData(), uint(payload.size()))));
}

bool Record::fits(const RecordRule &rule) const
{
    const int size = payload.size();
    if (dataType != rule.dataType || size < rule.minBytes)
        return false;
    return rule.multiple == 0 ? size == rule.minBytes : size % rule.multiple == 0;
}

static void appendInt32(QByteArray *bytes, double number)
{
    const double limit = std::numeric_limits<qint32>::max();
    const qint32 value = qToBigEndian(qint32(qRound(qBound(-limit, number, limit))));
    bytes->append(reinterpret_cast<const char *>(&value), sizeof value);
}

QByteArray lengthenedEnds(const Record &xy, int atFirst, int atLast)
{
    QPolygonF points;
    for (int i = 0; i < xy.payload.size() / 8; ++i)
        points.append(QPointF(xy.int32At(2 * i), xy.int32At(2 * i + 1)));
    QByteArray payload;
    for (const QPointF &point : lengthened(points, atFirst, atLast)) {
        appendInt32(&payload, point.x());
        appendInt32(&payload, point.y());
    }
    return payload;
}

} // namespace gdsii
} // namespace layout
