#ifndef BENCH_MATCHING_PHOTOGRAPH_H
#define BENCH_MATCHING_PHOTOGRAPH_H

#include "bench/matching/chip.h"

#include <random>

/// How an image is made.
enum class Kind {
    Plain, ///< as the simulator shows it
    Hard ///< other greys, rims, blur, layers and shapes missing, rows of different brightness
};

struct Photograph {
    cv::Mat image; ///< 8 bits
    matching::Pose truth;
};

/// An image of `edge` x `edge` pixels at a point of the chip (database units).
Photograph photograph(const Chip &chip, Kind kind, const QPointF &point, double turnDegrees,
                      double scale, double viewFieldMm, int edge, double dwellNs,
                      std::mt19937_64 *generator);

#endif
