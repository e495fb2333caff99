#ifndef MATCHING_SEARCH_H
#define MATCHING_SEARCH_H

#include "matching/pose.h"

namespace matching {

/// A place where the edges of the image lie as those of the design do.
struct Candidate {
    Placing placing;
    double score = 0; ///< 1 if they agree completely
};

/// What is tried out around a first guess.
struct Range {
    double shift = 0; ///< pixels of the window, to each side
    double turn = 0, turnStep = 1; ///< radians
    double scale = 0, scaleStep = 1; ///< factor less 1
};

/// Correlates edge fields at all turns and scales of the range, at every shift. The best `count`
/// candidates, the best one first, none of them closer than 3 pixels to a better one of the same
/// turn and scale or nearly so. Empty when `cancelled` returns true.
std::vector<Candidate> search(const cv::Mat &imageField, const cv::Mat &designField,
                              const Placing &start, const Range &range, int count,
                              const std::function<bool()> &cancelled);

} // namespace matching

#endif
