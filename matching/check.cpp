#include "matching/check.h"

#include "matching/edgefield.h"
#include "matching/evidence.h"
#include "matching/search.h"
#include "matching/uncertainty.h"
#include "matching/usable.h"

#include <cmath>

namespace matching {
namespace {

const double workEdge = 256; // pixels at which the image is compared
const double searchReduction = 2; // how much coarser its edges are searched
const int drawMargin = 8; // pixels around the image that refining needs
const int besideShift = 3; // pixels beside which the image must fit less well
const double leastConfidence = 4;
const double slack = 1.5; // pixels beyond the reach that are still believed

// By its edges, to about a pixel. Where it is expected if there are none.
Placing roughPlacing(const Scaled &work, const View &view, const Placing &expected, double reach)
{
    const View coarse = view.reduced(searchReduction);
    const double ratio = coarse.window.pixelSize / view.window.pixelSize;
    const Scaled image(work.grey, std::max(work.grey.cols, work.grey.rows) / ratio);
    Placing start = expected;
    start.centre /= ratio;
    start.axes *= image.factor / ratio;
    const auto found = search(edgeFieldOfImage(image.grey), edgeFieldOfLayers(coarse.coverage),
                              start, { reach / ratio + 1 }, 1, [] { return false; });
    if (found.empty())
        return expected;
    return { found.front().placing.centre * ratio, expected.axes };
}

std::vector<cv::Point> shiftsBeside()
{
    std::vector<cv::Point> shifts;
    for (int y = -besideShift; y <= besideShift; y += besideShift) {
        for (int x = -besideShift; x <= besideShift; x += besideShift) {
            if (x || y)
                shifts.emplace_back(x, y);
        }
    }
    return shifts;
}

void judge(const cv::Mat &image, const Features &features, const Placing &placing, Match *match)
{
    const WeightProblem problem(image, features, placing, 2);
    const CrossPrediction prediction(features, problem);
    const cv::Mat shading = shadingPicture(features, problem, image.size());
    const cv::Mat mine = prediction.picture(placing, image.size());
    const double explained =
        cv::norm(image, shading, cv::NORM_L2SQR) - cv::norm(image, mine, cv::NORM_L2SQR);
    match->unexplained = unexplained(image, mine, shading);
    const double overShading = advantage(image, mine, shading, 0);
    const double beside =
        leastAdvantage(image, prediction, placing, mine, shiftsBeside(), explained);
    match->confidence = std::min(overShading, beside);
    if (!problem.isCovered() || match->confidence < leastConfidence)
        match->refusal = overShading < leastConfidence ? Refusal::NoFit : Refusal::Repetitive;
}

} // namespace

Match check(const cv::Mat &image, const Design &design, const Pose &expected, double reachPixels)
{
    cv::setNumThreads(1);
    Match match;
    match.pose = expected;
    auto refuse = [&match](Refusal refusal) {
        match.refusal = refusal;
        return match;
    };
    if (!isUsable(image))
        return refuse(Refusal::BadImage);
    if (!isUsable(expected) || !std::isfinite(reachPixels) || reachPixels < 0
        || reachPixels > std::max(image.cols, image.rows))
        return refuse(Refusal::BadStart);
    const Scaled work(image, workEdge);
    if (isEmpty(work.grey))
        return refuse(Refusal::Empty);
    const Pose lying = work.lying(expected);
    const double reach = reachPixels / work.factor, pixelSize = lying.pixelSize();
    const View view =
        look(design, lying.centre,
             halfExtent(lying.axes, work.grey.size(), (reach + drawMargin) * pixelSize), pixelSize);
    if (!view.hasShapes())
        return refuse(Refusal::NoShapes);
    const Placing rough = roughPlacing(work, view, placingOf(lying, view.window), reach);
    const Features features(view.coverage, around(rough, work.grey.size(), drawMargin));
    if (features.isEmpty())
        return refuse(Refusal::NoShapes);
    const Refined refined = refine(work.grey, features, rough, {}, 3, 3, 3);
    judge(work.grey, features, refined.placing, &match);
    setPose(refined, view.window, work, &match);
    const cv::Point2d off = refined.placing.centre - placingOf(lying, view.window).centre;
    if (match.accepted() && std::max(std::abs(off.x), std::abs(off.y)) > reach + slack)
        match.refusal = Refusal::NoFit;
    if (match.accepted() && match.errorPixels > std::max(reachPixels, 2.))
        match.refusal = Refusal::Repetitive;
    return match;
}

} // namespace matching
