#include "matching/find.h"

#include "matching/evidence.h"
#include "matching/places.h"
#include "matching/uncertainty.h"
#include "matching/usable.h"

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const int shiftMargin = 36; // pixels around the winner by which it is shifted against itself
const int drawMargin = 8; // pixels around the image that the last step needs
const double leastUnexplained = 0.05; // of the structure, that tells against a place

bool isUsable(const Start &start)
{
    return isUsable(start.pose) && std::isfinite(start.reach) && std::isfinite(start.turn)
        && std::isfinite(start.scale) && start.reach >= 0 && start.turn >= 0 && start.scale >= 0
        && start.scale < 0.5;
}

void decide(const cv::Mat &image, const std::vector<Place> &places, const Options &options,
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

    match->unexplained = unexplained(image, mine, shading);
    match->confidence = std::min({ overShading, overOthers, overItself });
    const bool clear = match->unexplained < leastUnexplained;
    if (match->confidence >= (clear ? options.leastConfidenceIfClear : options.leastConfidence))
        return;
    match->refusal = match->confidence == overShading ? Refusal::NoFit
        : match->confidence == overItself             ? Refusal::Repetitive
                                                      : Refusal::Alike;
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
    const Refined refined = refine(fine.grey, features, placingOf(lying, view.window), {}, 2, 2, 3);
    setPose(refined, view.window, fine, match);
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
    decide(work.grey, places, options, &match);
    if (finder.cancelled())
        return refuse(Refusal::Cancelled);
    finish(image, design, work.whole(places.front().pose()), options.finestPixels, &match);
    return match;
}

} // namespace matching
