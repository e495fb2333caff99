#include "hosting/changedrows.h"

#include <cstring>

namespace hosting {

static const int spotsInRow = 16;
static const int rowsInSearch = 512;

static const quint32 *pixelsOf(const QImage &image, int row)
{
    return reinterpret_cast<const quint32 *>(image.constScanLine(row));
}

// In a row that was scanned anew hardly a pixel stays as it was: the first spots tell.
static bool differsAtSpots(const QImage &a, const QImage &b, int row)
{
    const int width = a.width();
    const quint32 *const pixelsA = pixelsOf(a, row), *const pixelsB = pixelsOf(b, row);
    for (int spot = 0; spot < spotsInRow; ++spot) {
        const int column = (spot * (width / spotsInRow + 1) + row % width * 7) % width;
        if (pixelsA[column] != pixelsB[column])
            return true;
    }
    return false;
}

bool ChangedRows::differs(const QImage &before, int row) const
{
    return differsAtSpots(before, m_image, row)
        || std::memcmp(pixelsOf(before, row), pixelsOf(m_image, row), size_t(m_image.width()) * 4)
        != 0;
}

void ChangedRows::take(const QImage &image)
{
    const QImage before = m_image;
    m_image = image;
    m_first = m_last = -1;
    m_isAll = false;
    if (image.size() != before.size())
        m_start = 0; // its scan begins at the top
    if (image.isNull() || image.size() != before.size() || image.depth() != 32
        || before.depth() != 32 || image.cacheKey() == before.cacheKey())
        return;

    int first = m_start;
    if (!differs(before, first))
        first = following(first);
    int row = first;
    if (!differs(before, row)) {
        first = -1;
        row = search(before);
    }
    for (int i = 1; row >= 0 && i < image.height(); ++i) {
        const int next = following(row);
        if (!differs(before, next)) {
            m_last = m_start = row;
            m_first = first <= row ? first : -1; // not of a frame that ended meanwhile
            return;
        }
        row = next;
    }
    m_isAll = row >= 0;
}

/// A row that changed, among so many as can be looked at without anybody noticing. Other ones each
/// time: a slow scan changes few, and goes on meanwhile.
int ChangedRows::search(const QImage &before)
{
    const int rows = m_image.height();
    const int step = (rows + rowsInSearch - 1) / rowsInSearch;
    const quint32 scattered = ++m_searches * 2654435761u;
    for (int row = int((scattered >> 16) % quint32(step)); row < rows; row += step)
        if (differsAtSpots(before, m_image, row))
            return row;
    return -1;
}

} // namespace hosting
