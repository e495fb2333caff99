#include "simulator/detector.h"

#include <algorithm>

namespace simulator {

// Substrate, diffusion, poly, contact, metal 1, via, metal 2, and one more. Secondary electrons
// come from edges; backscattered ones tell heavy materials (tungsten contacts) from light ones.
const Detector detectors[detectorCount] = {
    { "SE", { 52, 84, 104, 150, 128, 168, 152, 118 }, 68 },
    { "BSE", { 36, 54, 70, 224, 112, 214, 148, 182 }, 6 },
};

unsigned char Detector::level(int material, bool atEdge, bool settled) const
{
    const int grey = surface[size_t(material) % materialCount] + (atEdge ? edgeGain : 0);
    return static_cast<unsigned char>(std::clamp(settled ? grey : 110 + grey / 3, 0, 255));
}

} // namespace simulator
