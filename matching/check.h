#ifndef MATCHING_CHECK_H
#define MATCHING_CHECK_H

#include "matching/find.h"

namespace matching {

/// How far an image lies from where it is expected: for images of a field whose place is known
/// within a few pixels, and much quicker than find(). Turn and scale may be wrong by what moves the
/// image's edges by a pixel or two.
///
/// `reachPixels`: how far the centre may be off along each axis, pixels of the image. Refuses with
/// Refusal::NoFit where the design does not explain the image or the best place lies farther off,
/// and with Refusal::Repetitive where a shift along one direction would change next to nothing.
/// That nothing else looks the same farther off is not made sure: the confidence is that the image
/// fits here rather than a few pixels beside.
Match check(const cv::Mat &image, const Design &design, const Pose &expected, double reachPixels);

} // namespace matching

#endif
