#ifndef HOSTING_POSE_H
#define HOSTING_POSE_H

#include "hosting/placement.h"

#include <QMap>
#include <QSet>
#include <QString>

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

    Pose poseOf(const Placement &placement) const;
    /// `placement` in that pose; its centre stays where it is.
    Placement posed(const Placement &placement, const Pose &pose) const;

private:
    double m_scale = 0;
    int m_imageSize = 0;
};

/// The poses of the designs by name, kept in the application's settings beside what the plugin
/// keeps there.
QMap<QString, Pose> readPoses();
void writePoses(const QMap<QString, Pose> &poses);

/// Names of the designs whose stored alignment the user cleared, kept at the same place.
QSet<QString> readCleared();
void writeCleared(const QSet<QString> &designs);

} // namespace hosting

#endif
