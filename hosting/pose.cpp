#include "hosting/pose.h"

#include <cmath>

namespace hosting {

// Plugins drop a scale that is further off than this when the view field changes.
static const double largestDeviation = 0.1;

void NominalScale::start(double scale, int imageSize)
{
    m_scale = scale;
    m_imageSize = imageSize;
}

void NominalScale::follow(const Placement &before, const Placement &after, int imageSize)
{
    const double extentBefore = before.scaleX * m_imageSize, extent = after.scaleX * imageSize;
    if (std::abs(extent - extentBefore) <= 1e-9 * std::abs(extentBefore)) {
        m_scale *= double(m_imageSize) / imageSize;
    } else {
        const double ratio = before.scaleX / m_scale;
        m_scale = std::abs(ratio - 1) <= largestDeviation ? after.scaleX / ratio : after.scaleX;
    }
    m_imageSize = imageSize;
}

Pose NominalScale::poseOf(const Placement &p) const
{
    return { p.scaleX / m_scale, p.scaleY / m_scale, p.shearH, p.shearV, p.rotationDegrees };
}

Placement NominalScale::posed(const Placement &placement, const Pose &pose) const
{
    Placement result = placement;
    result.scaleX = pose.scaleX * m_scale;
    result.scaleY = pose.scaleY * m_scale;
    result.shearH = pose.shearH;
    result.shearV = pose.shearV;
    result.rotationDegrees = pose.rotationDegrees;
    if (!result.isDrawable())
        return placement; // what was stored is no pose
    return result.withCentre(placement.centre(m_imageSize), m_imageSize);
}

} // namespace hosting
