#ifndef MATCHING_EVIDENCE_H
#define MATCHING_EVIDENCE_H

#include "matching/fit.h"

namespace matching {

/// What an image at this place should look like, each block predicted from the other colour's
/// weights: the greys that an explanation of noise has learned do not help it there.
class CrossPrediction {
public:
    CrossPrediction(const Features &features, const WeightProblem &problem);

    cv::Mat picture(const Placing &placing, const cv::Size &image) const;

    /// The picture without its shading, and what lies around it.
    struct Drawn {
        cv::Mat black, white;
        int margin; ///< pixels on each side

        cv::Mat shifted(const cv::Point &shift) const; ///< by no more than the margin
    };
    Drawn draw(const Placing &placing, const cv::Size &image, int margin) const;

private:
    Prediction m_fromBlack, m_fromWhite;
};

cv::Mat shadingPicture(const Features &features, const WeightProblem &problem,
                       const cv::Size &image);

/// How much better `mine` explains the image than `other` does: Student's t over up to 64 cells,
/// which are made such that the two pictures differ by equal amounts in each. 0 if they do not
/// differ. As no prediction is perfect, a small part of what is `explained` at all (squared greys)
/// counts as error.
double advantage(const cv::Mat &image, const cv::Mat &mine, const cv::Mat &other, double explained);

/// The smallest advantage of `mine`, the prediction's picture, over the same shifted in these ways.
double leastAdvantage(const cv::Mat &image, const CrossPrediction &prediction,
                      const Placing &placing, const cv::Mat &mine,
                      const std::vector<cv::Point> &shifts, double explained);

/// The smallest advantage over the same picture shifted: to the peaks of its autocorrelation, and
/// by 3, 7 and 14 pixels in all directions. Low where the design repeats or has edges of one
/// direction.
double advantageOverShifts(const cv::Mat &image, const CrossPrediction &prediction,
                           const Placing &placing, int mostShift, double explained);

/// The part of an image's structure that the prediction leaves: squares of the
/// smoothed residual, less what noise alone would leave, against those of what is explained. In the
/// block where it is most, against the mean of all blocks.
double unexplained(const cv::Mat &image, const cv::Mat &predicted, const cv::Mat &shading);

} // namespace matching

#endif
