#ifndef SIMULATOR_SIMULATOR_H
#define SIMULATOR_SIMULATOR_H

#include "simulator/wafer.h"

#include <QHostAddress>
#include <QString>

#include <memory>

namespace simulator {

struct Options;

/// A microscope with a specimen in it, reachable over TCP.
class Simulator {
public:
    Simulator();
    ~Simulator();

    /// Loads the specimen and listens. Returns false with the reason in `error`.
    bool start(const Options &options, QString *error);

    quint16 controlPort() const;
    quint16 dataPort() const;
    const Wafer &wafer() const; ///< the true relation of stage and design

    /// What a frame taken at this moment shows: its pixel corners to design points.
    QTransform frameToDesign(const QSize &frame) const;
    /// Ends a replay. Returns false, and prints the difference, if clients differed from it.
    bool finishReplay();
    int commandsServed() const; ///< since the start, on all connections

private:
    struct Parts;
    std::unique_ptr<Parts> m_parts;
};

} // namespace simulator

#endif
