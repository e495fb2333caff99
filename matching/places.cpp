#include "matching/places.h"

#include "matching/edgefield.h"
#include "matching/evidence.h"
#include "matching/search.h"

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const int leastSearchEdge = 32; // pixels of an image
const int workEdge = 256; // pixels at which places are compared
const int searchEdge = 192; // pixels at which they are searched at most
const int mostSearchEdge = 400; // pixels of the design's window in the search
// Between poses that are tried out, pixels that the middle of the longer edges moves.
const double turnStep = 1.7, scaleStep = 2;
const int candidates = 8;
const int rivalsAround = 6;
const int mostRefined = 3; // places that are worth a second round
const double worthRefining = 1.3; // times as much unexplained as the best leaves
const double otherPlace = 4; // pixels of the work image
const int drawMargin = 8; // pixels around the image that refining needs

double coarseEdge(const cv::Mat &image, const Start &start)
{
    const double pixels = std::max(image.cols, image.rows);
    const double searched = pixels * 1.1 + 2 * start.reach / start.pose.pixelSize();
    return std::clamp(mostSearchEdge * pixels / searched, double(leastSearchEdge),
                      double(searchEdge));
}

// The best first; of places that have become the same, the better one.
void keepDifferent(std::vector<Place> *places)
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

} // namespace

PlaceFinder::PlaceFinder(const cv::Mat &image, const Design &design, const Start &start,
                         const Options &options)
    : m_design(design)
    , m_start(start)
    , m_options(options)
    , m_work(image, workEdge)
    , m_coarse(image, coarseEdge(image, start))
{
}

std::vector<Place> PlaceFinder::coarsePlaces()
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
    m_view =
        look(m_design, lying.centre, searched + cv::Point2d(beyond, beyond), pixelSize / finer);
    if (!m_view.hasShapes())
        return {};

    View searchView = m_view.reduced(finer);
    Placing placing = placingOf(lying, searchView.window);
    const cv::Point2d half = searched / searchView.window.pixelSize;
    const cv::Rect part =
        cv::Rect(cv::Point(placing.centre - half), cv::Point(placing.centre + half))
        & cv::Rect({}, searchView.window.size);
    for (cv::Mat &layer : searchView.coverage)
        layer = layer(part);
    placing.centre -= cv::Point2d(part.tl());

    const double radius = std::max(m_coarse.grey.cols, m_coarse.grey.rows) / 2.;
    const Range range{ m_start.reach / pixelSize, m_start.turn, turnStep / radius, m_start.scale,
                       scaleStep / radius };
    const auto found =
        search(edgeFieldOfImage(m_coarse.grey), edgeFieldOfLayers(searchView.coverage), placing,
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
std::vector<Place> PlaceFinder::sharpened(const std::vector<Place> &coarse)
{
    if (isFineSearch())
        return coarse;
    const double ratio = m_coarse.factor / m_work.factor;
    const cv::Mat field = edgeFieldOfImage(m_work.grey);
    const double radius = std::max(m_work.grey.cols, m_work.grey.rows) / 2.;
    const Range range{ 2 * ratio, turnStep / 2 * ratio / radius, turnStep / radius,
                       scaleStep / 2 * ratio / radius, scaleStep / radius };
    std::vector<Place> places;
    for (const Place &rough : coarse) {
        const Pose lying = m_work.lying(m_coarse.whole(rough.pose()));
        const double pixelSize = m_work.factor * m_start.pose.pixelSize();
        const double margin = (2 * ratio + drawMargin) * pixelSize;
        Place place;
        place.view = look(m_design, lying.centre,
                          halfExtent(lying.axes, m_work.grey.size(), margin), pixelSize);
        if (!place.view.hasShapes())
            continue;
        const auto found =
            search(field, edgeFieldOfLayers(place.view.coverage),
                   placingOf(lying, place.view.window), range, 1, [this] { return cancelled(); });
        if (found.empty())
            continue;
        place.refined.placing = found.front().placing;
        places.push_back(place);
    }
    return places;
}

// Beyond the start's reach the image lies about as the best place says.
std::vector<Place> PlaceFinder::placesAround(const Place &best) const
{
    if (m_options.lookAround <= 0)
        return {};
    const View half = m_view.reduced(2);
    const double ratio = half.window.pixelSize / best.pose().pixelSize();
    const Scaled image(m_work.grey, std::max(m_work.grey.cols, m_work.grey.rows) / ratio);
    const Pose lying = image.lying(best.pose());
    Placing placing = placingOf(lying, half.window);
    placing.centre = { half.window.size.width / 2., half.window.size.height / 2. };
    Range everywhere;
    const cv::Point2d extent = halfExtent(placing.axes, image.grey.size(), 0);
    everywhere.shift =
        std::max(0., std::min(placing.centre.x - extent.x, placing.centre.y - extent.y));
    const auto found = search(edgeFieldOfImage(image.grey), edgeFieldOfLayers(half.coverage),
                              placing, everywhere, rivalsAround, [this] { return cancelled(); });
    std::vector<Place> places;
    for (const Candidate &candidate : found) {
        const cv::Point2d centre = half.window.toDesign(candidate.placing.centre);
        const cv::Point2d off = (centre - best.pose().centre) / best.view.window.pixelSize;
        if (cv::norm(off) <= otherPlace)
            continue;
        Place place = best;
        place.rounds = 0;
        if (best.view.window.pixelSize < m_view.window.pixelSize * 0.999) {
            const double margin = drawMargin * best.view.window.pixelSize;
            place.view =
                look(m_design, centre, halfExtent(best.pose().axes, m_work.grey.size(), margin),
                     best.view.window.pixelSize);
        }
        place.refined.placing.centre = place.view.window.toPixel(centre);
        places.push_back(place);
    }
    return places;
}

bool PlaceFinder::refinePlace(Place *place) const
{
    if (place->view.coverage.empty())
        return false;
    const Features features(place->view.coverage,
                            around(place->refined.placing, m_work.grey.size(), drawMargin));
    if (features.isEmpty())
        return false;
    place->refined = refine(m_work.grey, features, place->refined.placing, { 1.5, 1 }, 1, 3, 3);
    ++place->rounds;
    const WeightProblem problem(m_work.grey, features, place->refined.placing, 2);
    if (!problem.isCovered())
        return false;
    place->predicted =
        CrossPrediction(features, problem).picture(place->refined.placing, m_work.grey.size());
    place->squares = cv::norm(m_work.grey, place->predicted, cv::NORM_L2SQR);
    return true;
}

bool PlaceFinder::isWithinReach(const Place &place) const
{
    const double slack = otherPlace * place.view.window.pixelSize;
    const Pose pose = place.pose(), start = m_work.lying(m_start.pose);
    const cv::Point2d off = pose.centre - start.centre;
    const double pixel = 2. / std::max(m_work.grey.cols, m_work.grey.rows); // at the image's edge
    const double turn = std::remainder(pose.turn() - start.turn(), 2 * CV_PI);
    const double scale = pose.pixelSize() / start.pixelSize() - 1;
    return std::max(std::abs(off.x), std::abs(off.y)) <= m_start.reach + slack
        && std::abs(turn) <= m_start.turn + otherPlace / 2 * pixel
        && std::abs(scale) <= m_start.scale + otherPlace / 2 * pixel;
}

void PlaceFinder::refineAll(const std::vector<Place> &unrefined, std::vector<Place> *places) const
{
    for (Place place : unrefined) {
        if (cancelled())
            return places->clear();
        if (refinePlace(&place))
            places->push_back(place);
    }
    keepDifferent(places);
    for (size_t n = 0; n < std::min(size_t(mostRefined), places->size()); ++n) {
        Place &place = (*places)[n];
        if (place.rounds < 2 && place.squares < worthRefining * places->front().squares)
            refinePlace(&place);
    }
    keepDifferent(places);
}

std::vector<Place> PlaceFinder::find()
{
    std::vector<Place> places;
    refineAll(sharpened(coarsePlaces()), &places);
    if (places.empty())
        return {};
    refineAll(placesAround(places.front()), &places);
    if (places.empty())
        return {};
    // What lies out of reach can only tell against the best place within.
    std::stable_partition(places.begin(), places.end(),
                          [this](const Place &place) { return isWithinReach(place); });
    if (!isWithinReach(places.front()))
        return {};
    return places;
}

} // namespace matching
