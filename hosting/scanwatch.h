#ifndef HOSTING_SCANWATCH_H
#define HOSTING_SCANWATCH_H

#include "hosting/changedrows.h"

#include <QCoreApplication>

namespace hosting {

/// Follows a scan in the live images that a host fetches: where the beam is, how long the frame
/// still takes, how old the newest data are. Times are milliseconds of any clock that only goes
/// forward.
///
/// An image that was written counts as new data even if no pixel differs, as on a flat sample; one
/// that was merely fetched again, as plugins ask for every few seconds, does not.
class ScanWatch {
    Q_DECLARE_TR_FUNCTIONS(hosting::ScanWatch)
public:
    /// As the panel words it, "500ns". Without a number no times are told.
    void setDwellTime(const QString &text);
    /// True if data came since the image before. Keeps a shared copy of `image`, of 32 bits a
    /// pixel.
    bool take(const QImage &image, qint64 nowMs);
    /// For a new connection, or when the live image is not shown.
    void clear() { *this = ScanWatch(); }

    bool hasData() const { return m_dataMs >= 0; }
    /// The row that the beam is in, counted from 0; negative if it cannot be told.
    int row() const { return m_row; }
    /// Whether a new frame began with the image taken last.
    bool hasWrapped() const { return m_wrapped; }
    qint64 frameMs() const; ///< that the scan takes for a frame; negative if unknown, as all these
    qint64 restMs() const; ///< to the end of the frame
    qint64 ageMs(qint64 nowMs) const; ///< of the newest data
    /// Whether the newest data are older than the slowest rows explain.
    bool isStale(qint64 nowMs) const;

    /// "row 4,100 of 8,192, 56 min left, last frame 53 min old"; empty for frames of less than three
    /// seconds.
    QString progress(qint64 nowMs) const;
    /// "no new data for 27 s"; empty while data come.
    QString staleness(qint64 nowMs) const;

private:
    double rowMs() const;

    ChangedRows m_rows;
    double m_dwellNs = 0;
    int m_row = -1;
    bool m_wrapped = false;
    qint64 m_seenMs = 0; ///< when it was seen there
    qint64 m_dataMs = -1; ///< when data came last
    qint64 m_frameMs = -1; ///< when a frame was complete last
};

} // namespace hosting

#endif
