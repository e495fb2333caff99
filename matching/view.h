#ifndef MATCHING_VIEW_H
#define MATCHING_VIEW_H

#include "matching/pose.h"

namespace matching {

/// The design's pictures of a window; none if they cannot be had.
struct View {
    Window window;
    std::vector<cv::Mat> coverage;

    bool hasShapes() const;
    View reduced(double factor) const; ///< the same part with fewer pixels
};

/// What lies `half` around `centre` (design units).
View look(const Design &design, const cv::Point2d &centre, const cv::Point2d &half,
          double pixelSize);

/// Half the width and height of what an image covers in a design or window, and a margin.
cv::Point2d halfExtent(const cv::Matx22d &axes, const cv::Size &image, double margin);

/// The pixels of a window that an image covers, and a margin.
cv::Rect around(const Placing &placing, const cv::Size &image, int margin);

/// An image, as floats, with fewer pixels if its longer edge has more than `longestEdge`.
struct Scaled {
    Scaled(const cv::Mat &image, double longestEdge);
    /// How it lies if the whole image lies like that.
    Pose lying(const Pose &pose) const { return { pose.centre, factor * pose.axes }; }
    /// How the whole image lies if this one does like that.
    Pose whole(const Pose &pose) const { return { pose.centre, 1 / factor * pose.axes }; }

    double factor; ///< pixels of the original a pixel
    cv::Mat grey;
};

} // namespace matching

#endif
