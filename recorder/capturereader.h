#ifndef RECORDER_CAPTUREREADER_H
#define RECORDER_CAPTUREREADER_H

#include "recorder/segment.h"

#include <pcap/pcap.h>

#include <QStringList>

#include <memory>

namespace capture {

/// Reads the TCP segments of a capture in any format that libpcap reads (pcap, pcapng), compressed
/// with gzip or not.
class CaptureReader {
public:
    /// Returns false with the reason in `error`.
    bool open(const QString &file, QString *error);

    /// The next TCP segment; false at the end.
    bool next(Segment *segment);

    QStringList remarks() const; ///< what was left out, once next() has returned false

private:
    struct Closer {
        void operator()(pcap_t *handle) const { pcap_close(handle); }
    };

    std::unique_ptr<pcap_t, Closer> m_handle;
    int m_linkType = 0;
    qint64 m_leftOut[4] = {}; // packets by Decoded
    QString m_end; // why the file could be read no further
};

} // namespace capture

#endif
