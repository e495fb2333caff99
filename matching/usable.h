#ifndef MATCHING_USABLE_H
#define MATCHING_USABLE_H

#include "matching/pose.h"

namespace matching {

bool isUsable(const cv::Mat &image); ///< of one channel of finite numbers, neither small nor narrow
bool isUsable(const Pose &pose); ///< finite, and of a size
bool isEmpty(const cv::Mat &grey); ///< floats: nothing but noise and slow shading

} // namespace matching

#endif
