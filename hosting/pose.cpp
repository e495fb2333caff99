#include "hosting/pose.h"

#include <QSettings>

#include <cmath>

namespace hosting {

// Plugins drop a scale that is further off than this when the view field changes.
static const double largestDeviation = 0.1;
static const char posesKey[] = "background/poses";
static const char clearedKey[] = "background/cleared";

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
    return result.moved(placement.centre(m_imageSize) - result.centre(m_imageSize));
}

QMap<QString, Pose> readPoses()
{
    QMap<QString, Pose> poses;
    const QVariantMap stored = QSettings().value(posesKey).toMap();
    for (auto entry = stored.begin(); entry != stored.end(); ++entry) {
        const QVariantList v = entry.value().toList();
        if (v.size() == 5)
            poses[entry.key()] = { v[0].toDouble(), v[1].toDouble(), v[2].toDouble(),
                                   v[3].toDouble(), v[4].toDouble() };
    }
    return poses;
}

void writePoses(const QMap<QString, Pose> &poses)
{
    QVariantMap stored;
    for (auto entry = poses.begin(); entry != poses.end(); ++entry) {
        const Pose &p = entry.value();
        stored[entry.key()] =
            QVariantList{ p.scaleX, p.scaleY, p.shearH, p.shearV, p.rotationDegrees };
    }
    QSettings().setValue(posesKey, stored);
}

QSet<QString> readCleared()
{
    const QStringList designs = QSettings().value(clearedKey).toStringList();
    return QSet<QString>(designs.begin(), designs.end());
}

void writeCleared(const QSet<QString> &designs)
{
    QSettings().setValue(clearedKey, QStringList(designs.values()));
}

} // namespace hosting
