#ifndef RECORDER_TCPLOG_H
#define RECORDER_TCPLOG_H

#include "recorder/capturewriter.h"
#include "recorder/scancutter.h"

namespace capture {

enum class Side { Client, Server };

/// Writes one connection as it would have been on a wire between client and microscope.
class TcpLog {
public:
    /// `keptPixels`, as in ScanCutter, is for what the microscope sends.
    TcpLog(CaptureWriter *writer, const Endpoint &client, const Endpoint &server,
           qint64 keptPixels);

    void opening(); ///< the client asks for it
    void opened(); ///< the microscope accepts
    void sent(Side side, const QByteArray &bytes);
    void ended(Side side); ///< sends nothing more
    void reset(Side side);

private:
    struct End {
        Endpoint endpoint;
        quint32 next; // sequence number
        ScanCutter cutter;
    };

    End &end(Side side) { return side == Side::Client ? m_client : m_server; }
    void write(Side side, int flags, const Part &part = Part());
    void writeParts(Side side, const QVector<Part> &parts);

    CaptureWriter *m_writer;
    End m_client, m_server;
};

} // namespace capture

#endif
