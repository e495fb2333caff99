#include "matching/find.h"

#include "matching/evidence.h"
#include "matching/places.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const int leastEdge = 32; // pixels of an image
const int shiftMargin = 36; // pixels around the winner by which it is shifted against itself
const int drawMargin = 8; // pixels around the image that the last step needs
// What the spread between blocks does not tell, weights that err and shapes that are not there;
// found by comparing with images whose place is known.
const double spreadFactor = 2;
const double leastDeviation = 0.045; // pixels, along each axis

bool isUsable(const cv::Mat &image)
{
    if (image.channels() != 1 || image.depth() > CV_32F || image.dims > 2)
        return false;
    const int least = std::min(image.cols, image.rows), most = std::max(image.cols, image.rows);
    return least >= leastEdge && most <= 8 * least && cv::checkRange(image);
}

bool isUsable(const Start &start)
{
    const Pose &pose = start.pose;
    for (double value :
         { pose.centre.x, pose.centre.y, pose.axes(0, 0), pose.axes(0, 1), pose.axes(1, 0),
           pose.axes(1, 1), start.reach, start.turn, start.scale }) {
        if (!std::isfinite(value))
            return false;
    }
    return pose.pixelSize() > 0 && start.reach >= 0 && start.turn >= 0 && start.scale >= 0
        && start.scale < 0.5;
}

// Noise loses nearly all of its variance when it is blurred.
bool isEmpty(const cv::Mat &grey)
{
    cv::Mat fine, coarse, slow;
    cv::GaussianBlur(grey, slow, {}, 16);
    cv::subtract(grey, slow, fine);
    cv::GaussianBlur(fine, coarse, {}, 2);
    const double all = cv::norm(fine, cv::NORM_L2SQR), kept = cv::norm(coarse, cv::NORM_L2SQR);
    return all < 1e-3 * double(grey.total()) || kept < 0.028 * all;
}

void decide(const cv::Mat &image, const std::vector<Place> &places, double leastConfidence,
            Match *match)
{
    const Place &best = places.front();
    const Placing &placing = best.refined.placing;
    const Features features(best.view.coverage, around(placing, image.size(), shiftMargin));
    const WeightProblem problem(image, features, placing, 1);
    const CrossPrediction prediction(features, problem);
    const cv::Mat mine = prediction.picture(placing, image.size());

    const cv::Mat shading = shadingPicture(features, problem, image.size());
    const double explained = cv::norm(image, shading, cv::NORM_L2SQR) - best.squares;
    const double overShading = advantage(image, mine, shading, 0);
    double overOthers = 1e9; // all of them predicted in the same way
    for (size_t i = 1; i < places.size(); ++i)
        overOthers =
            std::min(overOthers, advantage(image, best.predicted, places[i].predicted, explained));
    const double overItself =
        advantageOverShifts(image, prediction, placing, shiftMargin - 4, explained);

    match->confidence = std::min({ overShading, overOthers, overItself });
    if (match->confidence >= leastConfidence)
        return;
    match->refusal = match->confidence == overShading ? Refusal::NoFit
        : match->confidence == overItself             ? Refusal::Repetitive
                                                      : Refusal::Alike;
}

// 95 % of a normal distribution of two components with this covariance.
double radius95(const cv::Matx44d &covariance)
{
    const double a = covariance(0, 0), b = covariance(1, 1), c = covariance(0, 1);
    const double trace = a + b, squares = a * a + b * b + 2 * c * c;
    const double components = squares > 0 ? trace * trace / squares : 2; // 1 if all in one line
    return std::sqrt((3.84 - (components - 1) * (3.84 - 3.0)) * trace);
}

void finish(const cv::Mat &image, const Design &design, const Pose &found, int finestPixels,
            Match *match)
{
    const Scaled fine(image, finestPixels);
    const Pose lying = fine.lying(found);
    const double pixelSize = lying.pixelSize();
    const View view =
        look(design, lying.centre, halfExtent(lying.axes, fine.grey.size(), drawMargin * pixelSize),
             pixelSize);
    match->pose = found;
    if (!view.hasShapes())
        return;
    const Features features(view.coverage, cv::Rect({}, view.window.size));
    if (features.isEmpty())
        return;
    const Refined refined = refine(fine.grey, features, placingOf(lying, view.window), {}, 3, 2, 3);
    match->pose = fine.whole(poseOf(refined.placing, view.window));
    match->covariance = fine.factor * fine.factor
        * (spreadFactor * spreadFactor * refined.covariance
           + leastDeviation * leastDeviation * cv::Matx44d::eye());
    match->errorPixels = radius95(match->covariance);
}

} // namespace

const char *word(Refusal refusal)
{
    const char *const words[] = { "",           "cancelled",        "bad start",
                                  "bad image",  "no shapes",        "empty",
                                  "repetitive", "two places alike", "does not fit" };
    return words[int(refusal)];
}

Match find(const cv::Mat &image, const Design &design, const Start &start, const Options &options)
{
    cv::setNumThreads(1);
    Match match;
    match.pose = start.pose;
    auto refuse = [&match](Refusal refusal) {
        match.refusal = refusal;
        return match;
    };
    if (!isUsable(image))
        return refuse(Refusal::BadImage);
    if (!isUsable(start))
        return refuse(Refusal::BadStart);
    PlaceFinder finder(image, design, start, options);
    const Scaled &work = finder.work();
    if (isEmpty(work.grey))
        return refuse(Refusal::Empty);
    const std::vector<Place> places = finder.find();
    if (finder.cancelled())
        return refuse(Refusal::Cancelled);
    if (places.empty())
        return refuse(finder.hasShapes() ? Refusal::NoFit : Refusal::NoShapes);
    decide(work.grey, places, options.leastConfidence, &match);
    if (finder.cancelled())
        return refuse(Refusal::Cancelled);
    finish(image, design, work.whole(places.front().pose()), options.finestPixels, &match);
    return match;
}

} // namespace matching
