#ifndef RECORDER_SCANCUTTER_H
#define RECORDER_SCANCUTTER_H

#include <QByteArray>
#include <QVector>

namespace capture {

/// Bytes of a stream of which the first are to be kept. They fit one segment.
struct Part {
    QByteArray bytes;
    int keptBytes = 0;
};

/// Cuts a channel's bytes into the parts that are recorded. Of a scan data message its head and the
/// first pixels are kept; what is not kept always ends a part.
class ScanCutter {
public:
    /// `keptPixels` of each message; negative: everything of every message.
    explicit ScanCutter(qint64 keptPixels)
        : m_keptPixels(keptPixels)
    {
    }

    /// The head of a message that is going to be cut is held back until all of it is there, so that
    /// it stays in one segment with what was cut.
    QVector<Part> take(const QByteArray &bytes);
    QVector<Part> takeHeldBack();

private:
    void readHeader();

    qint64 m_keptPixels;
    Part m_part;
    qint64 m_headerLeft = 0, m_keepLeft = 0, m_dropLeft = 0;
};

} // namespace capture

#endif
