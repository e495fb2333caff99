#include "simulator/stage.h"

#include <algorithm>
#include <cmath>

namespace simulator {
namespace {

const StagePosition reach = { 150, 150, 150, 360, 90 };

} // namespace

Stage::Stage(const StagePosition &position, double speedMmPerSecond)
    : m_start(position)
    , m_target(position)
    , m_speed(speedMmPerSecond)
{
}

bool Stage::moveTo(const StagePosition &target, double now)
{
    for (size_t axis = 0; axis < target.size(); ++axis) {
        if (!(std::fabs(target[axis]) <= reach[axis])) // refuses what is not a number, too
            return false;
    }
    m_start = position(now);
    m_target = target;
    m_departure = now;
    const double wayMm =
        std::hypot(target[0] - m_start[0], target[1] - m_start[1], target[2] - m_start[2]);
    m_travelSeconds = m_speed > 0 ? wayMm / m_speed : 0;
    return true;
}

StagePosition Stage::position(double now) const
{
    if (!isMoving(now))
        return m_target;
    const double done = std::max(0.0, now - m_departure) / m_travelSeconds;
    StagePosition position;
    for (size_t axis = 0; axis < position.size(); ++axis)
        position[axis] = m_start[axis] + done * (m_target[axis] - m_start[axis]);
    return position;
}

} // namespace simulator
