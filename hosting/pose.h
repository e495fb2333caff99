#ifndef HOSTING_POSE_H
#define HOSTING_POSE_H

#include "hosting/placement.h"

namespace hosting {

/// How the user turned, scaled and sheared the image, whatever the view field and the frame size.
/// Plugins store which design point lies at which stage position, and not this.
struct Pose {
    double scaleX = 1, scaleY = 1; ///< the image's scales over the nominal one
    double shearH = 0, shearV = 0;
    double rotationDegrees = 0;
};

/// Follows the nominal pixel size, which a plugin never tells: what a first placement scales the
/// image to, and what it becomes when the view field or the frame size changes.
class NominalScale {
public:
    /// After a first placement, which is nominal.
    void start(double scale, int imageSize);
    /// After the plugin changed `before` into `after` (frame sizes in pixels a side).
    void follow(const Placement &before, const Placement &after, int imageSize);
    /// False before the first placement.
    bool isKnown() const { return m_scale > 0; }
    int imageSize() const { return m_imageSize; } ///< pixels a side, last followed
    double pixelSize() const { return m_scale; } ///< nominal, database units

    Pose poseOf(const Placement &placement) const;
    /// `placement` in that pose; its centre stays where it is.
    Placement posed(const Placement &placement, const Pose &pose) const;

private:
    double m_scale = 0;
    int m_imageSize = 0;
};

} // namespace hosting

#endif
