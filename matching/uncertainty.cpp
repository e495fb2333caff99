#include "matching/uncertainty.h"

#include <cmath>

namespace matching {
namespace {

// What the spread between blocks does not tell, weights that err and shapes that are not there;
// found by comparing with images whose place is known.
const double spreadFactor = 2;
const double leastDeviation = 0.045; // pixels, along each axis

// 95 % of a normal distribution of two components with this covariance.
double radius95(const cv::Matx44d &covariance)
{
    const double a = covariance(0, 0), b = covariance(1, 1), c = covariance(0, 1);
    const double trace = a + b, squares = a * a + b * b + 2 * c * c;
    const double components = squares > 0 ? trace * trace / squares : 2; // 1 if all in one line
    return std::sqrt((3.84 - (components - 1) * (3.84 - 3.0)) * trace);
}

} // namespace

void setPose(const Refined &refined, const Window &window, const Scaled &scaled, Match *match)
{
    match->pose = scaled.whole(poseOf(refined.placing, window));
    match->covariance = scaled.factor * scaled.factor
        * (spreadFactor * spreadFactor * refined.covariance
           + leastDeviation * leastDeviation * cv::Matx44d::eye());
    match->errorPixels = radius95(match->covariance);
}

} // namespace matching
