#ifndef MATCHING_POSE_H
#define MATCHING_POSE_H

#include <opencv2/core.hpp>

#include <functional>
#include <vector>

namespace matching {

/// How an image lies in the design: what is u pixels (to the right, downwards) from the image's
/// centre shows the design point centre + axes * u. Design coordinates have y upwards, in any unit.
struct Pose {
    cv::Point2d centre;
    cv::Matx22d axes; ///< design units a pixel

    double turn() const; ///< radians, counter-clockwise in the design
    double pixelSize() const; ///< design units
    cv::Point2d map(const cv::Point2d &pixel) const; ///< from the image's centre
};

/// An image of square pixels that is neither sheared nor mirrored.
Pose makePose(const cv::Point2d &centre, double pixelSize, double turn);

/// Pixels of the design, upright, its first row at the top.
struct Window {
    cv::Point2d topLeft; ///< corner of the first pixel, design coordinates
    double pixelSize = 1; ///< design units
    cv::Size size;

    cv::Point2d toPixel(const cv::Point2d &design) const; ///< from the corner of the first pixel
    cv::Point2d toDesign(const cv::Point2d &pixel) const;
};

/// What share of each of the window's pixels each layer covers: 8 bits of one channel, 255 all of
/// it. Pictures of all layers from the lowest up, or none at all if they cannot be had.
using Design = std::function<std::vector<cv::Mat>(const Window &window)>;

/// How an image lies in a window: its pixel u from its centre is the window's pixel centre + axes *
/// u.
struct Placing {
    cv::Point2d centre;
    cv::Matx22d axes;
};
Placing placingOf(const Pose &pose, const Window &window);
Pose poseOf(const Placing &placing, const Window &window);

} // namespace matching

#endif
