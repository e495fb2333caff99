#include "matching/pose.h"

#include <cmath>

namespace matching {
namespace {

// Rows count downwards, the design's y upwards. No constant: poses may be made before main().
cv::Matx22d flip()
{
    return { 1, 0, 0, -1 };
}

cv::Point2d times(const cv::Matx22d &matrix, const cv::Point2d &point)
{
    return { matrix(0, 0) * point.x + matrix(0, 1) * point.y,
             matrix(1, 0) * point.x + matrix(1, 1) * point.y };
}

} // namespace

double Pose::turn() const
{
    return std::atan2(axes(1, 0) + axes(0, 1), axes(0, 0) - axes(1, 1));
}

double Pose::pixelSize() const
{
    return std::sqrt(std::abs(cv::determinant(axes)));
}

cv::Point2d Pose::map(const cv::Point2d &pixel) const
{
    return centre + times(axes, pixel);
}

Pose makePose(const cv::Point2d &centre, double pixelSize, double turn)
{
    const cv::Matx22d rotation(std::cos(turn), -std::sin(turn), std::sin(turn), std::cos(turn));
    return { centre, pixelSize * rotation * flip() };
}

cv::Point2d Window::toPixel(const cv::Point2d &design) const
{
    return times(flip(), design - topLeft) / pixelSize;
}

cv::Point2d Window::toDesign(const cv::Point2d &pixel) const
{
    return topLeft + times(flip(), pixel) * pixelSize;
}

Placing placingOf(const Pose &pose, const Window &window)
{
    return { window.toPixel(pose.centre), 1 / window.pixelSize * flip() * pose.axes };
}

Pose poseOf(const Placing &placing, const Window &window)
{
    return { window.toDesign(placing.centre), window.pixelSize * flip() * placing.axes };
}

} // namespace matching
