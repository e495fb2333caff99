#ifndef SIMULATOR_STAGE_H
#define SIMULATOR_STAGE_H

#include <array>

namespace simulator {

/// The five axes in the protocol's order: x, y and z in mm, rotation and tilt in degrees.
using StagePosition = std::array<double, 5>;

/// The specimen stage: it travels to its target along a straight line at a constant speed. All
/// times are seconds on a clock of the caller's.
class Stage {
public:
    /// A speed of 0 mm/s takes it to its target at once.
    Stage(const StagePosition &position, double speedMmPerSecond);

    /// Sets off from where it is at `now`. Returns false, and changes nothing, when the target is
    /// not finite or beyond what the stage can reach.
    bool moveTo(const StagePosition &target, double now);

    StagePosition position(double now) const;
    bool isMoving(double now) const { return now - m_departure < m_travelSeconds; }

private:
    StagePosition m_start;
    StagePosition m_target;
    double m_speed;
    double m_departure = 0;
    double m_travelSeconds = 0;
};

} // namespace simulator

#endif
