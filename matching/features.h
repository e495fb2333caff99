#ifndef MATCHING_FEATURES_H
#define MATCHING_FEATURES_H

#include "matching/pose.h"

namespace matching {

/// What the greys of an image may be made of, at the pixels of a part of a window: how much of each
/// layer is seen from above, how much of it is there, and its edges. Of more than `mostLayers`
/// layers those with most structure are taken.
class Features {
public:
    static constexpr int mostLayers = 8;

    /// `part` is cut to the pictures.
    Features(const std::vector<cv::Mat> &coverage, const cv::Rect &part);

    int count() const { return m_pixels.channels(); }
    bool isEmpty() const { return m_pixels.empty(); }
    /// Their sum with these weights, one channel of floats, and where its first pixel lies.
    cv::Mat sum(const double *weights) const;
    cv::Point topLeft() const { return m_part.tl(); }

    /// Writes count() values at a point (pixels of the window, from its corner); false outside.
    bool at(double x, double y, float *values) const;

private:
    cv::Rect m_part;
    cv::Mat m_pixels; ///< a channel for each
};

/// The value of a one-channel picture of floats between its pixels; `outside` beyond them.
inline float sample(const cv::Mat &picture, double x, double y, float outside)
{
    const int column = int(x), row = int(y);
    if (x < 0 || y < 0 || column >= picture.cols - 1 || row >= picture.rows - 1)
        return outside;
    const float fx = float(x - column), fy = float(y - row);
    const float *upper = picture.ptr<float>(row) + column;
    const float *lower = picture.ptr<float>(row + 1) + column;
    return (upper[0] * (1 - fx) + upper[1] * fx) * (1 - fy)
        + (lower[0] * (1 - fx) + lower[1] * fx) * fy;
}

} // namespace matching

#endif
