#include "hosting/scanwatch.h"

#include <QLocale>

#include <cstring>

namespace hosting {

static const int spotsInRow = 16;
static const int rowsInSearch = 512;
static const qint64 patienceMs = 3000;
static const double patienceRows = 4;
static const qint64 shortFrameMs = 3000;

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

static bool differs(const QImage &a, const QImage &b, int row)
{
    return differsAtSpots(a, b, row)
        || std::memcmp(pixelsOf(a, row), pixelsOf(b, row), size_t(a.width()) * 4) != 0;
}

void ScanWatch::setDwellTime(const QString &text)
{
    m_dwellNs = text.section('n', 0, 0).toDouble();
}

bool ScanWatch::take(const QImage &image, qint64 nowMs)
{
    m_wrapped = false;
    const QImage before = m_image;
    m_image = image;
    if (image.size() != before.size()) { // its scan begins at the top
        m_row = -1;
        m_start = 0;
        m_frameMs = -1;
        m_dataMs = hasData() ? nowMs : -1;
        return false;
    }
    if (image.isNull() || image.cacheKey() == before.cacheKey())
        return false;
    m_dataMs = nowMs;
    const int row = image.depth() == 32 ? findBeam(before) : -1;
    if (row >= 0) {
        m_wrapped = m_row >= 0 && row < m_row;
        m_row = m_start = row;
        m_frameMs = m_wrapped ? nowMs : m_frameMs;
        m_seenMs = nowMs;
    } else if (nowMs - m_seenMs > patienceMs + patienceRows * rowMs()) {
        m_row = -1;
    }
    return true;
}

/// The last of the rows that changed, which follow each other; negative if none was found.
int ScanWatch::findBeam(const QImage &before)
{
    int row = m_start;
    if (!differs(before, m_image, row))
        row = following(row);
    if (!differs(before, m_image, row))
        row = search(before);
    if (row < 0)
        return row;
    for (int i = 1; i < m_image.height(); ++i) {
        const int next = following(row);
        if (!differs(before, m_image, next))
            return row;
        row = next;
    }
    m_row = -1; // a whole frame and perhaps more: the beam may be anywhere
    return -1;
}

/// A row that changed, among so many as can be looked at without anybody noticing. Other ones each
/// time: a slow scan changes few, and goes on meanwhile.
int ScanWatch::search(const QImage &before)
{
    const int rows = m_image.height();
    const int step = (rows + rowsInSearch - 1) / rowsInSearch;
    const quint32 scattered = ++m_searches * 2654435761u;
    for (int row = int((scattered >> 16) % quint32(step)); row < rows; row += step)
        if (differsAtSpots(before, m_image, row))
            return row;
    return -1;
}

double ScanWatch::rowMs() const
{
    return m_dwellNs * m_image.width() / 1e6;
}

qint64 ScanWatch::frameMs() const
{
    return rowMs() > 0 ? qRound64(rowMs() * m_image.height()) : -1;
}

qint64 ScanWatch::restMs() const
{
    return rowMs() > 0 && m_row >= 0 ? qRound64(rowMs() * (m_image.height() - m_row)) : -1;
}

qint64 ScanWatch::ageMs(qint64 nowMs) const
{
    return hasData() ? nowMs - m_dataMs : -1;
}

bool ScanWatch::isStale(qint64 nowMs) const
{
    return ageMs(nowMs) > patienceMs + patienceRows * rowMs();
}

static QString durationText(qint64 ms)
{
    const qint64 seconds = (ms + 500) / 1000;
    if (seconds < 100)
        return ScanWatch::tr("%1 s").arg(seconds);
    const qint64 minutes = (seconds + 30) / 60;
    if (minutes < 60)
        return ScanWatch::tr("%1 min").arg(minutes);
    return ScanWatch::tr("%1 h %2 min").arg(minutes / 60).arg(minutes % 60);
}

QString ScanWatch::progress(qint64 nowMs) const
{
    const qint64 frame = frameMs();
    if (!hasData() || (frame >= 0 && frame < shortFrameMs))
        return QString();
    if (m_row < 0)
        return frame < 0 ? QString() : tr("a frame takes %1").arg(durationText(frame));
    const QLocale english(QLocale::English);
    QString text =
        tr("row %1 of %2").arg(english.toString(m_row + 1), english.toString(m_image.height()));
    if (frame >= 0)
        text += tr(", %1 left").arg(durationText(restMs()));
    if (m_frameMs >= 0)
        text += tr(", last frame %1 old").arg(durationText(nowMs - m_frameMs));
    return text;
}

QString ScanWatch::staleness(qint64 nowMs) const
{
    return isStale(nowMs) ? tr("no new data for %1").arg(durationText(ageMs(nowMs))) : QString();
}

} // namespace hosting
