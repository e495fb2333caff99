#include "matching/usable.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const int leastEdge = 32; // pixels of an image
const int mostNarrow = 8; // times longer than wide

} // namespace

bool isUsable(const cv::Mat &image)
{
    if (image.dims > 2 || image.channels() != 1 || image.depth() > CV_32F)
        return false;
    const int least = std::min(image.cols, image.rows), most = std::max(image.cols, image.rows);
    return least >= leastEdge && most <= mostNarrow * least && cv::checkRange(image);
}

bool isUsable(const Pose &pose)
{
    for (double value : { pose.centre.x, pose.centre.y, pose.axes(0, 0), pose.axes(0, 1),
                          pose.axes(1, 0), pose.axes(1, 1) }) {
        if (!std::isfinite(value))
            return false;
    }
    return pose.pixelSize() > 0;
}

// Noise loses nearly all of its variance when it is blurred.
bool isEmpty(const cv::Mat &grey)
{
    cv::Mat fine, coarse, slow;
    cv::boxFilter(grey, slow, -1, { 55, 55 });
    cv::subtract(grey, slow, fine);
    cv::GaussianBlur(fine, coarse, {}, 2);
    const double all = cv::norm(fine, cv::NORM_L2SQR), kept = cv::norm(coarse, cv::NORM_L2SQR);
    return all < 1e-3 * double(grey.total()) || kept < 0.028 * all;
}

} // namespace matching
