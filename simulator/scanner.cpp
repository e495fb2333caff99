#include "simulator/scanner.h"

#include "simulator/channel.h"

namespace simulator {
namespace {

const double messageNs = 30e6;
const int largestMessage = 4 << 20;
const qint64 largestQueue = 2 << 20;
const double largestLagNs = 200e6; // what the beam makes up for after the program was held up
const qint64 turnMs = 20; // then the control channel gets its turn
const int tickMs = 5;
const qint32 channelNumber = 0, bitsPerPixel = 8;

} // namespace

Scanner::Scanner(Channel *channel, const Microscope *microscope, SemImage *image,
                 const ScanSettings &settings)
    : m_channel(channel)
    , m_microscope(microscope)
    , m_image(image)
    , m_settings(settings)
    , m_noise(settings.seed)
{
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Scanner::deliver);
    connect(microscope, &Microscope::scanStarted, this, &Scanner::start);
    connect(microscope, &Microscope::scanStopped, this, &Scanner::stop);
    if (settings.fast)
        connect(channel, &Channel::drained, this, &Scanner::deliver);
}

void Scanner::start(const ScanRequest &request)
{
    m_request = request;
    m_noise.setDwellNs(request.dwellNs);
    m_row = 0;
    m_frame = 0;
    m_sent = true;
    m_scanning = true;
    m_clock.start();
    m_beamNs = 0;
    m_timer.start(tickMs);
}

void Scanner::stop()
{
    m_scanning = false;
    m_timer.stop();
}

int Scanner::wantedRows() const
{
    const QRect &window = m_request.window;
    if (window.width() < m_request.frame.width())
        return 1; // the pixels of a message follow each other in the frame
    const int byTime = int(qMin(messageNs / (m_request.dwellNs * window.width()), 1e6));
    const int rows = m_settings.rowsPerMessage > 0 ? m_settings.rowsPerMessage : byTime;
    return qBound(1, rows, qMax(1, largestMessage / window.width()));
}

int Scanner::nextRun() const
{
    return qMin(wantedRows(), m_request.window.height() - m_row);
}

// Of a moving stage, the place that was looked up is scanned, though it has moved on meanwhile.
bool Scanner::isExposed()
{
    if (m_sent || !m_microscope->stageMoves())
        m_exposure = m_microscope->exposure(m_request.frame);
    m_sent = false;
    const int row = m_request.window.top() + m_row;
    return m_image->expose(m_exposure, row, nextRun()) != Knowledge::Coming;
}

void Scanner::deliver()
{
    QElapsedTimer turn;
    turn.start();
    const double rowNs = m_request.dwellNs * m_request.window.width();
    while (m_scanning && turn.elapsed() < turnMs) {
        const double now = double(m_clock.nsecsElapsed());
        const bool held =
            !isExposed() || !m_channel->hasClient() || m_channel->queuedBytes() > largestQueue;
        m_beamNs = qMax(m_beamNs, now - nextRun() * rowNs - (held ? 0 : largestLagNs));
        const bool due = m_settings.fast || now - m_beamNs >= nextRun() * rowNs;
        if (held || !due)
            return;
        m_beamNs += nextRun() * rowNs;
        sendRun(nextRun());
    }
}

QByteArray Scanner::scanRow(int row)
{
    const QRect &window = m_request.window;
    const uchar *clean = m_image->row(row) + window.left();
    QByteArray pixels(window.width(), Qt::Uninitialized);
    m_noise.apply(clean, window.width(), m_frame, quint64(row),
                  reinterpret_cast<uchar *>(pixels.data()));
    return pixels;
}

void Scanner::sendRun(int rows)
{
    const QRect &window = m_request.window;
    const int firstRow = window.top() + m_row;
    const quint32 index =
        quint32(firstRow) * quint32(m_request.frame.width()) + quint32(window.left());
    Message message{ "ScData", 0,
                     encodeUint(quint32(m_frame)) + encodeInt(channelNumber) + encodeUint(index)
                         + encodeInt(bitsPerPixel) + encodeUint(quint32(rows * window.width())) };
    message.body.reserve(message.body.size() + rows * window.width());
    for (int row = 0; row < rows; ++row)
        message.body += scanRow(firstRow + row);
    m_row += rows;
    if (m_row == window.height()) {
        m_row = 0;
        ++m_frame;
    }
    m_sent = true;
    m_channel->send(message);
}

} // namespace simulator
