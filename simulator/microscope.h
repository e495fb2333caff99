#ifndef SIMULATOR_MICROSCOPE_H
#define SIMULATOR_MICROSCOPE_H

#include "simulator/commands.h"
#include "simulator/semimage.h"
#include "simulator/stage.h"

#include <QElapsedTimer>
#include <QObject>
#include <QRect>

#include <optional>

namespace simulator {

constexpr double narrowestViewMm = 0.001, widestViewMm = 50;

/// A scan as it was asked for: of a frame in pixels, only `window` is scanned.
struct ScanRequest {
    QSize frame;
    QRect window;
    double dwellNs = 0;
};

/// The instrument behind the protocol: stage, view field, detector and signal. It outlives the
/// clients' connections and keeps its state between them.
class Microscope : public QObject {
    Q_OBJECT
public:
    Microscope(const StagePosition &position, double stageSpeedMmPerSecond, double viewFieldMm);

    /// Carries out `command` and returns its reply, if it has one. What cannot be done is refused
    /// with a printed line.
    std::optional<Message> execute(const Command &command);

    /// What a frame of this size shows at this moment.
    Exposure exposure(const QSize &frame) const;
    bool stageMoves() const { return m_stage.isMoving(seconds()); }

signals:
    void scanStarted(const simulator::ScanRequest &request);
    void scanStopped();

private:
    using Arguments = QVector<double>;
    using Handler = QByteArray (Microscope::*)(const Arguments &);
    struct Entry {
        CommandId id;
        Handler handler;
        bool replies;
    };
    static const Entry entries[];

    QByteArray registerDataPort(const Arguments &);
    QByteArray version(const Arguments &);
    QByteArray softwareVersion(const Arguments &);
    QByteArray enumerateDetectors(const Arguments &);
    QByteArray selectDetector(const Arguments &arguments);
    QByteArray enableDetector(const Arguments &arguments);
    QByteArray adjustSignal(const Arguments &arguments);
    QByteArray gainAndBlack(const Arguments &);
    QByteArray workingDistance(const Arguments &);
    QByteArray viewField(const Arguments &);
    QByteArray setViewField(const Arguments &arguments);
    QByteArray startScan(const Arguments &arguments);
    QByteArray stopScan(const Arguments &);
    QByteArray stagePosition(const Arguments &);
    QByteArray moveStage(const Arguments &arguments);

    double seconds() const { return double(m_clock.nsecsElapsed()) / 1e9; }

    QElapsedTimer m_clock;
    Stage m_stage;
    double m_viewFieldMm;
    int m_detector = 0;
    bool m_enabled = false;
    bool m_settled = false;
};

} // namespace simulator

#endif
