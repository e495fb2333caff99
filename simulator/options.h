#ifndef SIMULATOR_OPTIONS_H
#define SIMULATOR_OPTIONS_H

#include "simulator/faults.h"
#include "simulator/scanner.h"

#include <QHostAddress>

#include <optional>

namespace simulator {

/// What the command line asks for.
struct Options {
    QHostAddress address = QHostAddress::LocalHost;
    int port = 8300; ///< of the control channel; 0: any free pair
    QString replayFile; ///< a capture to answer from; empty: none
    bool strict = false; ///< refuse what the capture does not hold
    QString designFile; ///< empty: a test pattern
    QPointF offsetMm; ///< how the wafer really lies, see Wafer
    double rotationDegrees = 0;
    double scale = 1;
    std::optional<QPointF> stageMm; ///< none: the design's centre, if the wafer lay nominally
    double stageSpeedMmPerSecond = 2; ///< 0: at its target at once
    double viewFieldMm = 0.5;
    ScanSettings scan;
    FaultPlan faults;
    bool verbose = false;
};

/// Reads the command line, the program's name first. Returns false with the reason in `error`.
/// --help and --version print their text and end the program.
bool parseOptions(const QStringList &arguments, Options *options, QString *error);

} // namespace simulator

#endif
