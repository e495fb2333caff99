#ifndef MATCHING_EDGEFIELD_H
#define MATCHING_EDGEFIELD_H

#include <opencv2/core.hpp>

#include <vector>

namespace matching {

/// The orientation of edges as the square of the complex gradient (two channels), between 0 and
/// nearly 1 in size: the same whether an edge goes up or down, opposite for horizontal and vertical
/// ones.
cv::Mat edgeFieldOfImage(const cv::Mat &grey); ///< float, one channel
cv::Mat edgeFieldOfLayers(const std::vector<cv::Mat> &coverage); ///< summed over the layers

} // namespace matching

#endif
