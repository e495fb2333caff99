#ifndef SIMULATOR_SCANNER_H
#define SIMULATOR_SCANNER_H

#include "simulator/microscope.h"
#include "simulator/noise.h"

#include <QElapsedTimer>
#include <QTimer>

namespace simulator {

class Channel;

/// How the scanner delivers.
struct ScanSettings {
    int rowsPerMessage = 0; ///< 0: as many as about 30 ms of scanning give
    bool fast = false; ///< as fast as the client reads instead of at the dwell time's pace
    quint64 seed = 1;
};

/// Moves the beam over the frame, row by row and frame after frame, and sends the pixels on the
/// data channel. When the client does not keep up, or what lies under it is not known yet, the beam
/// waits.
class Scanner : public QObject {
    Q_OBJECT
public:
    /// The pointers must outlive this object.
    Scanner(Channel *channel, const Microscope *microscope, SemImage *image,
            const ScanSettings &settings);

    void start(const ScanRequest &request);
    void stop();

private:
    void deliver();
    int nextRun() const;
    void sendRun(int rows);
    QByteArray scanRow(int row);
    int wantedRows() const;
    bool isExposed();

    Channel *m_channel;
    const Microscope *m_microscope;
    SemImage *m_image;
    ScanSettings m_settings;
    ShotNoise m_noise;
    QTimer m_timer;

    bool m_scanning = false;
    ScanRequest m_request;
    int m_row = 0; // within the window
    Exposure m_exposure;
    bool m_sent = true; // a run of that exposure
    quint64 m_frame = 0;
    QElapsedTimer m_clock;
    double m_beamNs = 0; // when, on the clock, the beam was at the start of m_row
};

} // namespace simulator

#endif
