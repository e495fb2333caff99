#include "matching/find.h"

#include "matching/edgefield.h"
#include "matching/evidence.h"
#include "matching/search.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const int leastEdge = 32; // pixels of an image
const int workEdge = 256; // pixels at which places are compared
const int searchEdge = 192; // pixels at which they are searched at most
const int mostSearchEdge = 512; // pixels of the design's window in the search
const int candidates = 8;
const int rivalsAround = 6;
const int mostRefined = 3; // places that are worth a second round
const double otherPlace = 4; // pixels of the work image
const int shiftMargin = 36; // pixels around the winner by which it is shifted against itself
// What the spread between blocks does not tell, weights that err and shapes that are not there; found
// by comparing with images whose place is known.
const double spreadFactor = 2;
const double leastDeviation = 0.045; // pixels, along each axis
const int drawMargin = 8; // pixels around the image that refining needs

// The design's pictures of a window.
struct View {
    Window window;
    std::vector<cv::Mat> coverage;

    bool hasShapes() const
    {
        return std::any_of(coverage.begin(), coverage.end(), [](const cv::Mat &layer) {
            return layer.type() == CV_8UC1 && cv::countNonZero(layer) > 0;
        });
    }
};

View reduced(const View &view, double factor)
{
    View result;
    result.window = view.window;
    result.window.size = cv::Size(cvRound(view.window.size.width / factor),
                                  cvRound(view.window.size.height / factor));
    result.window.pixelSize *= double(view.window.size.width) / result.window.size.width;
    for (const cv::Mat &layer : view.coverage) {
        cv::Mat smaller;
        cv::resize(layer, smaller, result.window.size, 0, 0, cv::INTER_AREA);
        result.coverage.push_back(smaller);
    }
    return result;
}

// Half the width and height of what an image covers in a design or window, and a margin.
cv::Point2d halfExtent(const cv::Matx22d &axes, const cv::Size &image, double margin)
{
    const double w = image.width / 2., h = image.height / 2.;
    return { std::abs(axes(0, 0)) * w + std::abs(axes(0, 1)) * h + margin,
             std::abs(axes(1, 0)) * w + std::abs(axes(1, 1)) * h + margin };
}

cv::Rect around(const Placing &placing, const cv::Size &image, int margin)
{
    const cv::Point2d half = halfExtent(placing.axes, image, margin);
    return cv::Rect(cv::Point(placing.centre - half), cv::Point(placing.centre + half));
}

// An image at a resolution of its own.
struct Scaled {
    Scaled(const cv::Mat &image, double longestEdge);
    /// How it lies if the whole image lies like that.
    Pose lying(const Pose &pose) const { return { pose.centre, factor * pose.axes }; }

    double factor; ///< pixels of the original a pixel
    cv::Mat grey;
};

Scaled::Scaled(const cv::Mat &image, double longestEdge)
    : factor(std::max(1., std::max(image.cols, image.rows) / longestEdge))
{
    const cv::Size size(std::max(1, cvRound(image.cols / factor)),
                        std::max(1, cvRound(image.rows / factor)));
    if (size == image.size())
        image.convertTo(grey, CV_32F);
    else {
        cv::resize(image, grey, size, 0, 0, cv::INTER_AREA);
        grey.convertTo(grey, CV_32F);
    }
}

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
    for (double value : { pose.centre.x, pose.centre.y, pose.axes(0, 0), pose.axes(0, 1),
                          pose.axes(1, 0), pose.axes(1, 1), start.reach, start.turn, start.scale }) {
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

// A place that might be the right one.
struct Place {
    View view;
    Refined refined;
    cv::Mat predicted;
    double squares = 0; ///< what the prediction leaves unexplained

    Pose pose() const { return poseOf(refined.placing, view.window); }
};

class Finder {
public:
    Finder(const cv::Mat &image, const Design &design, const Start &start, const Options &options);
    Match find();

private:
    bool cancelled() const { return m_options.cancelled && m_options.cancelled(); }
    bool isFineSearch() const { return m_coarse.factor < 2 * m_work.factor; }
    View look(const cv::Point2d &centre, const cv::Point2d &half, double pixelSize) const;
    std::vector<Place> coarsePlaces();
    std::vector<Place> sharpened(const std::vector<Place> &coarse);
    std::vector<Place> placesAround(const Place &best) const;
    bool isWithinReach(const Place &place) const;
    bool refinePlace(Place *place, int rounds) const;
    void keepDifferent(std::vector<Place> *places) const;
    void decide(const std::vector<Place> &places, Match *match) const;
    void finish(const Place &best, Match *match) const;

    cv::Mat m_image;
    const Design &m_design;
    Start m_start;
    Options m_options;
    Scaled m_work, m_coarse;
    View m_view; ///< of all that is searched, as coarse as that is
};

double coarseEdge(const cv::Mat &image, const Start &start)
{
    const double pixels = std::max(image.cols, image.rows);
    const double searched = pixels * 1.1 + 2 * start.reach / start.pose.pixelSize();
    return std::clamp(mostSearchEdge * pixels / searched, double(leastEdge), double(searchEdge));
}

Finder::Finder(const cv::Mat &image, const Design &design, const Start &start,
               const Options &options)
    : m_image(image)
    , m_design(design)
    , m_start(start)
    , m_options(options)
    , m_work(image, workEdge)
    , m_coarse(image, coarseEdge(image, start))
{
}

View Finder::look(const cv::Point2d &centre, const cv::Point2d &half, double pixelSize) const
{
    View view;
    view.window.pixelSize = pixelSize;
    view.window.size = cv::Size(int(std::ceil(2 * half.x / pixelSize)),
                                int(std::ceil(2 * half.y / pixelSize)));
    view.window.topLeft = { centre.x - view.window.size.width * pixelSize / 2,
                            centre.y + view.window.size.height * pixelSize / 2 };
    view.coverage = m_design(view.window);
    for (const cv::Mat &layer : view.coverage) {
        if (layer.size() != view.window.size || layer.type() != CV_8UC1)
            return { view.window, {} };
    }
    return view;
}

std::vector<Place> Finder::coarsePlaces()
{
    const Pose lying = m_coarse.lying(m_start.pose);
    const double pixelSize = lying.pixelSize();
    const double imageWidth = std::max(m_coarse.grey.cols, m_coarse.grey.rows) * pixelSize;
    const double slack = m_start.reach + imageWidth / 2 * (m_start.turn + m_start.scale)
        + (drawMargin + 2) * pixelSize;
    const cv::Point2d searched = halfExtent(lying.axes, m_coarse.grey.size(), slack);
    const double beyond = m_options.lookAround * imageWidth;
    // One picture serves search and comparison if that does not make it large.
    const double finer = isFineSearch() ? m_coarse.factor / m_work.factor : 1;
    m_view = look(lying.centre, searched + cv::Point2d(beyond, beyond), pixelSize / finer);
    if (!m_view.hasShapes())
        return {};

    View searchView = reduced(m_view, finer);
    Placing placing = placingOf(lying, searchView.window);
    const cv::Point2d half = searched / searchView.window.pixelSize;
    const cv::Rect part = cv::Rect(cv::Point(placing.centre - half), cv::Point(placing.centre + half))
        & cv::Rect({}, searchView.window.size);
    for (cv::Mat &layer : searchView.coverage)
        layer = layer(part);
    placing.centre -= cv::Point2d(part.tl());

    const double radius = std::max(m_coarse.grey.cols, m_coarse.grey.rows) / 2.;
    const Range range { m_start.reach / pixelSize, m_start.turn, 1.12 / radius, m_start.scale,
                        1.28 / radius };
    const auto found = search(edgeFieldOfImage(m_coarse.grey), edgeFieldOfLayers(searchView.coverage), placing,
                              range, candidates, [this] { return cancelled(); });
    std::vector<Place> places;
    for (const Candidate &candidate : found) {
        Place place;
        place.view = m_view;
        Placing found = candidate.placing;
        found.centre += cv::Point2d(part.tl());
        place.refined.placing = placingOf(poseOf(found, searchView.window), m_view.window);
        place.refined.placing.axes *= 1 / finer;
        places.push_back(place);
    }
    return places;
}

// From the coarse search to the resolution at which places are compared.
std::vector<Place> Finder::sharpened(const std::vector<Place> &coarse)
{
    if (isFineSearch())
        return coarse;
    const double ratio = m_coarse.factor / m_work.factor;
    const cv::Mat field = edgeFieldOfImage(m_work.grey);
    const double radius = std::max(m_work.grey.cols, m_work.grey.rows) / 2.;
    const Range range { 2 * ratio, 0.56 * ratio / radius, 1.12 / radius, 0.64 * ratio / radius,
                        1.28 / radius };
    std::vector<Place> places;
    for (const Place &rough : coarse) {
        const Pose lying = m_work.lying({ rough.pose().centre,
                                          1 / m_coarse.factor * rough.pose().axes });
        const double pixelSize = m_work.factor * m_start.pose.pixelSize();
        const double margin = (2 * ratio + drawMargin) * pixelSize;
        Place place;
        place.view = look(lying.centre, halfExtent(lying.axes, m_work.grey.size(), margin), pixelSize);
        if (!place.view.hasShapes())
            continue;
        const auto found = search(field, edgeFieldOfLayers(place.view.coverage),
                                  placingOf(lying, place.view.window), range, 1,
                                  [this] { return cancelled(); });
        if (found.empty())
            continue;
        place.refined.placing = found.front().placing;
        places.push_back(place);
    }
    return places;
}

// Beyond the start's reach the image lies about as the best place says.
std::vector<Place> Finder::placesAround(const Place &best) const
{
    if (m_options.lookAround <= 0)
        return {};
    const View half = reduced(m_view, 2);
    const double ratio = half.window.pixelSize / best.pose().pixelSize();
    const Scaled image(m_work.grey, std::max(m_work.grey.cols, m_work.grey.rows) / ratio);
    const Pose lying = image.lying(best.pose());
    Placing placing = placingOf(lying, half.window);
    placing.centre = { half.window.size.width / 2., half.window.size.height / 2. };
    Range everywhere;
    const cv::Point2d extent = halfExtent(placing.axes, image.grey.size(), 0);
    everywhere.shift = std::max(0., std::min(placing.centre.x - extent.x, placing.centre.y - extent.y));
    const auto found = search(edgeFieldOfImage(image.grey), edgeFieldOfLayers(half.coverage), placing,
                              everywhere, rivalsAround, [this] { return cancelled(); });
    std::vector<Place> places;
    for (const Candidate &candidate : found) {
        const cv::Point2d centre = half.window.toDesign(candidate.placing.centre);
        const cv::Point2d off = (centre - best.pose().centre) / best.view.window.pixelSize;
        if (cv::norm(off) <= otherPlace)
            continue;
        Place place = best;
        if (best.view.window.pixelSize < m_view.window.pixelSize * 0.999) {
            const double margin = drawMargin * best.view.window.pixelSize;
            place.view = look(centre, halfExtent(best.pose().axes, m_work.grey.size(), margin),
                              best.view.window.pixelSize);
        }
        place.refined.placing.centre = place.view.window.toPixel(centre);
        places.push_back(place);
    }
    return places;
}

bool Finder::refinePlace(Place *place, int rounds) const
{
    if (place->view.coverage.empty())
        return false;
    const Features features(place->view.coverage,
                            around(place->refined.placing, m_work.grey.size(), drawMargin));
    if (features.isEmpty())
        return false;
    place->refined = refine(m_work.grey, features, place->refined.placing, { 1.5, 1 }, rounds, 3, 2);
    const WeightProblem problem(m_work.grey, features, place->refined.placing, 2);
    if (!problem.isCovered())
        return false;
    place->predicted = CrossPrediction(features, problem).picture(place->refined.placing,
                                                                   m_work.grey.size());
    place->squares = cv::norm(m_work.grey, place->predicted, cv::NORM_L2SQR);
    return true;
}

bool Finder::isWithinReach(const Place &place) const
{
    const double slack = otherPlace * place.view.window.pixelSize;
    const cv::Point2d off = place.pose().centre - m_start.pose.centre;
    return std::max(std::abs(off.x), std::abs(off.y)) <= m_start.reach + slack;
}

// The best first; of places that have become the same, the better one.
void Finder::keepDifferent(std::vector<Place> *places) const
{
    std::stable_sort(places->begin(), places->end(),
                     [](const Place &a, const Place &b) { return a.squares < b.squares; });
    std::vector<Place> kept;
    for (const Place &place : *places) {
        const bool other = std::all_of(kept.begin(), kept.end(), [&](const Place &better) {
            const cv::Point2d off = place.pose().centre - better.pose().centre;
            return cv::norm(off) > otherPlace * place.view.window.pixelSize;
        });
        if (other)
            kept.push_back(place);
    }
    places->swap(kept);
}

void Finder::decide(const std::vector<Place> &places, Match *match) const
{
    const Place &best = places.front();
    const Placing &placing = best.refined.placing;
    const cv::Mat &image = m_work.grey;
    const Features features(best.view.coverage, around(placing, image.size(), shiftMargin));
    const WeightProblem problem(image, features, placing, 1);
    const CrossPrediction prediction(features, problem);
    const cv::Mat mine = prediction.picture(placing, image.size());

    const cv::Mat shading = shadingPicture(features, problem, image.size());
    const double explained = cv::norm(image, shading, cv::NORM_L2SQR) - best.squares;
    const double overShading = advantage(image, mine, shading, 0);
    double overOthers = 1e9; // all of them predicted in the same way
    for (size_t i = 1; i < places.size(); ++i)
        overOthers = std::min(overOthers,
                              advantage(image, best.predicted, places[i].predicted, explained));
    const double overItself
        = advantageOverShifts(image, prediction, placing, shiftMargin - 4, explained);

    match->confidence = std::min({ overShading, overOthers, overItself });
    if (match->confidence >= m_options.leastConfidence)
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

void Finder::finish(const Place &best, Match *match) const
{
    const Scaled fine(m_image, m_options.finestPixels);
    const Pose lying = fine.lying({ best.pose().centre, 1 / m_work.factor * best.pose().axes });
    const double pixelSize = lying.pixelSize();
    const View view = look(lying.centre,
                           halfExtent(lying.axes, fine.grey.size(), drawMargin * pixelSize), pixelSize);
    match->pose = { lying.centre, 1 / fine.factor * lying.axes };
    if (!view.hasShapes())
        return;
    const Features features(view.coverage, cv::Rect({}, view.window.size));
    if (features.isEmpty())
        return;
    const Refined refined = refine(fine.grey, features, placingOf(lying, view.window), {}, 3, 2, 3);
    const Pose pose = poseOf(refined.placing, view.window);
    match->pose = { pose.centre, 1 / fine.factor * pose.axes };
    match->covariance = fine.factor * fine.factor
        * (spreadFactor * spreadFactor * refined.covariance
           + leastDeviation * leastDeviation * cv::Matx44d::eye());
    match->errorPixels = radius95(match->covariance);
}

Match Finder::find()
{
    Match match;
    match.pose = m_start.pose;
    auto refuse = [&match, this](Refusal refusal) {
        match.refusal = cancelled() ? Refusal::Cancelled : refusal;
        return match;
    };
    if (isEmpty(m_work.grey))
        return refuse(Refusal::Empty);
    const std::vector<Place> rough = coarsePlaces();
    if (rough.empty())
        return refuse(m_view.hasShapes() ? Refusal::NoFit : Refusal::NoShapes);
    std::vector<Place> places, all = sharpened(rough);
    const auto add = [&](Place place) {
        if (!cancelled() && refinePlace(&place, 1))
            places.push_back(place);
    };
    const auto refineBest = [&] {
        for (size_t n = 0; n < std::min(size_t(mostRefined), places.size()); ++n)
            refinePlace(&places[n], 1);
        keepDifferent(&places);
    };
    for (const Place &place : all)
        add(place);
    keepDifferent(&places);
    refineBest();
    if (places.empty() || cancelled())
        return refuse(Refusal::NoFit);
    for (const Place &place : placesAround(places.front()))
        add(place);
    keepDifferent(&places);
    refineBest();
    // What lies out of reach can only tell against the best place within.
    std::stable_partition(places.begin(), places.end(),
                          [this](const Place &place) { return isWithinReach(place); });
    if (cancelled())
        return refuse(Refusal::Cancelled);
    decide(places, &match);
    if (cancelled())
        return refuse(Refusal::Cancelled);
    finish(places.front(), &match);
    return match;
}

} // namespace

const char *word(Refusal refusal)
{
    const char *const words[] = { "", "cancelled", "bad start", "bad image", "no shapes", "empty",
                                  "repetitive", "two places alike", "does not fit" };
    return words[int(refusal)];
}

Match find(const cv::Mat &image, const Design &design, const Start &start, const Options &options)
{
    cv::setNumThreads(1);
    Match match;
    match.pose = start.pose;
    match.refusal = !isUsable(image) ? Refusal::BadImage
        : !isUsable(start)           ? Refusal::BadStart
                                     : Refusal::None;
    if (!match.accepted())
        return match;
    return Finder(image, design, start, options).find();
}

} // namespace matching
