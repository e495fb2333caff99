#ifndef MATCHING_PLACES_H
#define MATCHING_PLACES_H

#include "matching/find.h"
#include "matching/fit.h"
#include "matching/view.h"

namespace matching {

/// A place that might be the right one.
struct Place {
    View view;
    Refined refined; ///< in the view's window, of the image that is compared
    cv::Mat predicted; ///< each block from the other colour's weights
    double squares = 0; ///< what the prediction leaves unexplained
    int rounds = 0; ///< of refining that it has had

    Pose pose() const { return poseOf(refined.placing, view.window); }
};

/// Finds the places where an image may lie: by the edges, and then by what the greys may be made
/// of.
class PlaceFinder {
public:
    PlaceFinder(const cv::Mat &image, const Design &design, const Start &start,
                const Options &options);

    /// The best within the start's reach first, then worse ones and those out of reach. Empty if
    /// there is none, or when cancelled.
    std::vector<Place> find();

    const Scaled &work() const { return m_work; } ///< the image as it is compared
    bool hasShapes() const { return m_view.hasShapes(); } ///< where it was searched
    bool cancelled() const { return m_options.cancelled && m_options.cancelled(); }

private:
    bool isFineSearch() const { return m_coarse.factor < 2 * m_work.factor; }
    std::vector<Place> coarsePlaces();
    std::vector<Place> sharpened(const std::vector<Place> &coarse);
    std::vector<Place> placesAround(const Place &best) const;
    bool isWithinReach(const Place &place) const;
    bool refinePlace(Place *place) const;
    void refineAll(const std::vector<Place> &unrefined, std::vector<Place> *places) const;

    const Design &m_design;
    Start m_start;
    Options m_options;
    Scaled m_work, m_coarse;
    View m_view; ///< of all that is searched
};

} // namespace matching

#endif
