#ifndef SIMULATOR_DETECTOR_H
#define SIMULATOR_DETECTOR_H

#include "simulator/scene.h"

#include <array>

namespace simulator {

/// A detector's answer to the materials: grey levels on plain surfaces and at their edges.
struct Detector {
    const char *name;
    std::array<unsigned char, materialCount> surface;
    int edgeGain; ///< added where the material changes

    /// The grey level of a pixel; until the signal is settled the picture is pale and too bright.
    unsigned char level(int material, bool atEdge, bool settled) const;
};

constexpr int detectorCount = 2;
extern const Detector detectors[detectorCount]; ///< by the protocol's detector number

} // namespace simulator

#endif
