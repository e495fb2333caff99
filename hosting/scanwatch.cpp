#include "hosting/scanwatch.h"

#include <QLocale>

namespace hosting {

static const qint64 patienceMs = 3000;
static const double patienceRows = 4;
static const qint64 shortFrameMs = 3000;

void ScanWatch::setDwellTime(const QString &text)
{
    m_dwellNs = text.section('n', 0, 0).toDouble();
}

bool ScanWatch::take(const QImage &image, qint64 nowMs)
{
    m_wrapped = false;
    const QImage before = m_rows.image();
    m_rows.take(image);
    if (image.size() != before.size()) {
        m_row = -1;
        m_frameMs = -1;
        m_dataMs = hasData() ? nowMs : -1;
        return false;
    }
    if (image.isNull() || image.cacheKey() == before.cacheKey())
        return false;
    m_dataMs = nowMs;
    if (m_rows.wasFound()) {
        m_wrapped = m_row >= 0 && m_rows.last() < m_row;
        m_row = m_rows.last();
        m_frameMs = m_wrapped ? nowMs : m_frameMs;
        m_seenMs = nowMs;
    } else if (m_rows.isAll() || nowMs - m_seenMs > patienceMs + patienceRows * rowMs()) {
        m_row = -1;
    }
    return true;
}

double ScanWatch::rowMs() const
{
    return m_dwellNs * m_rows.image().width() / 1e6;
}

qint64 ScanWatch::frameMs() const
{
    return rowMs() > 0 ? qRound64(rowMs() * m_rows.image().height()) : -1;
}

qint64 ScanWatch::restMs() const
{
    return rowMs() > 0 && m_row >= 0 ? qRound64(rowMs() * (m_rows.image().height() - m_row)) : -1;
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
    QString text = tr("row %1 of %2")
                       .arg(english.toString(m_row + 1), english.toString(m_rows.image().height()));
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
