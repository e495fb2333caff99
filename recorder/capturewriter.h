#ifndef RECORDER_CAPTUREWRITER_H
#define RECORDER_CAPTUREWRITER_H

#include "recorder/segment.h"

#include <pcap/pcap.h>

#include <memory>

namespace capture {

/// One file, or numbered ones: of "name.pcap" "name-0001.pcap" and so on, behind those that are
/// there.
struct FileLimits {
    qint64 fileBytes = 0; ///< a new file begins at this size; 0: there is one file
    int files = 0; ///< how many of the last files are kept; 0: all
};

/// Writes segments to a file in libpcap's format.
class CaptureWriter {
public:
    /// Overwrites no file. Returns false with the reason in `error`.
    bool open(const QString &file, const FileLimits &limits, QString *error);

    /// Adds a segment that has its whole payload, of which `keptBytes` are kept. Does nothing when
    /// no file is open.
    void write(const Segment &segment, int keptBytes);

    /// Hands everything to the operating system. Returns false, with the reason in `error`, if it
    /// could not be written: then the file ends after what was flushed before, and is closed.
    bool flush(QString *error);

    bool isOpen() const { return bool(m_file); }
    qint64 packets() const { return m_packets; }

private:
    struct Closer {
        void operator()(pcap_t *handle) const { pcap_close(handle); }
        void operator()(pcap_dumper_t *file) const { pcap_dump_close(file); }
    };

    bool openNext(QString *error);
    QString nameOf(int number) const;
    QVector<int> numbersThere() const;

    QString m_name;
    FileLimits m_limits;
    std::unique_ptr<pcap_t, Closer> m_handle;
    std::unique_ptr<pcap_dumper_t, Closer> m_file;
    int m_number = 0;
    qint64 m_flushedBytes = 0;
    qint64 m_packets = 0;
};

} // namespace capture

#endif
