#include "matching/uncertainty.h"

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

// What the spread between blocks does not tell, found by comparing with images whose place is
// known: the image's own rounding and the steps of the pictures it is compared with, ...
const double spreadFactor = 1.8;
const double leastDeviation = 0.05; // pixels, along each axis
// ... and greys that are known the worse, and shapes that miss the more, the less the place stands
// out: at this confidence that counts as much as all else.
const double halfTrusted = 6;
// Structure that is there and not in the design, or the other way round, pulls at what fits.
const double pull = 0.3, mostPull = 5;

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
    const double doubt = halfTrusted / std::max(1., match->confidence);
    const double deviation =
        leastDeviation * std::sqrt(1 + pull * std::min(mostPull, match->unexplained));
    match->covariance = (1 + doubt * doubt) * scaled.factor * scaled.factor
        * (spreadFactor * spreadFactor * refined.covariance
           + deviation * deviation * cv::Matx44d::eye());
    match->errorPixels = radius95(match->covariance);
}

} // namespace matching
