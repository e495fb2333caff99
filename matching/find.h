#ifndef MATCHING_FIND_H
#define MATCHING_FIND_H

#include "matching/pose.h"

namespace matching {

/// Where the image is believed to lie, and how far from there it may be.
struct Start {
    Pose pose;
    double reach = 0; ///< of the centre, along each design axis, design units
    double turn = 0; ///< radians, to each side
    double scale = 0; ///< factor less 1, to each side
};

enum class Refusal {
    None,
    Cancelled,
    BadStart, ///< not finite, or without size
    BadImage, ///< too small, too narrow, or not of one channel of finite numbers
    NoShapes, ///< the design has none there, or no pictures of it can be had
    Empty, ///< the image shows nothing but noise and shading
    Repetitive, ///< the design repeats itself there, or has edges of one direction only
    Alike, ///< another place of the design explains the image nearly as well
    NoFit ///< the design does not explain the image
};
const char *word(Refusal refusal); ///< for a message: "repetitive" and so on

struct Options {
    double leastConfidence = 6;
    /// Is enough where the design leaves next to nothing of the image unexplained.
    double leastConfidenceIfClear = 4;
    /// How far beyond the start's reach is made sure that nothing looks the same, in image widths.
    /// What wrong starts and look-alikes next to them would cost is seen only there.
    double lookAround = 1.5;
    int finestPixels = 1024; ///< along the image's longer edge, that the last step uses
    std::function<bool()> cancelled; ///< asked between the steps, of 0.1 s at most
};

/// Where an image lies in the design. Also after a refusal `pose` is the best guess, if any.
struct Match {
    Refusal refusal = Refusal::None;
    Pose pose;
    /// Of shift right, shift down, turn and scale, the last two by what they move at the image's
    /// longer edges: squared pixels of the image.
    cv::Matx44d covariance;
    double errorPixels = 0; ///< 95 of 100 centres are no farther off, if it is the right place
    /// Student's t of how much better this place explains the image than the strongest rival does.
    double confidence = 0;
    /// Of the image's structure that the design does not explain, where it is most: 0 if all is.
    double unexplained = 0;

    bool accepted() const { return refusal == Refusal::None; }
};

/// Finds where a grey image (8 or 16 bits or floats, of one channel, any size from 32 pixels) lies
/// in the design. The greys of layers need not be known: they may be inverted, and layers may be
/// missing. The same input gives the same result. Runs in the calling thread and, as OpenCV's own
/// threads would count against that, sets their number to one.
Match find(const cv::Mat &image, const Design &design, const Start &start,
           const Options &options = Options());

} // namespace matching

#endif
