#ifndef MATCHING_FIT_H
#define MATCHING_FIT_H

#include "matching/features.h"

namespace matching {

constexpr int shadings = 6; ///< 1, x, y, x^2, xy, y^2
constexpr int blocksAcross = 8; ///< an image is judged in 8 x 8 blocks
using Weights = std::vector<double>; ///< of the features, then of the shadings

inline int blockAt(int x, int y, const cv::Size &image)
{
    return y * blocksAcross / image.height * blocksAcross + x * blocksAcross / image.width;
}

/// The fields of a chessboard of blocks: what is fitted on one colour is tested on the other.
inline int colourOf(int block)
{
    return (block + block / blocksAcross) % 2;
}

/// The least-squares problem "which weights make this image of the features", lying as `placing`,
/// block by block.
class WeightProblem {
public:
    /// Looks at every `stride`-th pixel of every `stride`-th row of a picture of floats.
    WeightProblem(const cv::Mat &image, const Features &features, const Placing &placing,
                  int stride);

    Weights solve() const; ///< of the whole image
    Weights solveColour(int colour) const; ///< of half of its blocks
    Weights shadingOnly(int colour) const; ///< weights 0 for all features
    bool isCovered() const { return m_missed * 20 < m_pixels; } ///< by the design's pictures

private:
    Weights solve(const std::vector<double> &sums, int first) const;
    std::vector<double> total(int colour) const;

    int m_unknowns, m_row; // the grey is the last of a row
    std::vector<std::vector<double>> m_blocks;
    int m_pixels = 0, m_missed = 0;
};

/// What the image should look like: the features with these weights, and the shading.
class Prediction {
public:
    Prediction(const Features &features, const Weights &weights);

    /// Writes the picture of an image that lies as `placing`.
    cv::Mat picture(const Placing &placing, const cv::Size &image) const;
    /// Without the shading, and with so many pixels more on each side.
    cv::Mat draw(const Placing &placing, const cv::Size &image, int margin) const;

private:
    cv::Mat m_sum;
    cv::Point m_topLeft;
    Weights m_shading;
};

/// How far a placing may be moved, in pixels of the image: standard deviations of shift, and of
/// turn and scale by what they move at the image's edge. 0: as far as need be.
struct Prior {
    double shift = 0, edge = 0;
};

/// A placing, and how well it is known.
struct Refined {
    Placing placing;
    /// Of shift right, shift down, turn and scale, the last two by what they move at the middle of
    /// the image's longer edges: squared pixels of the image.
    cv::Matx44d covariance;
    double moved = 0; ///< pixels, by the last step
};

/// Moves, turns and scales `placing` until the prediction lies best: Gauss-Newton, with weights
/// found anew `rounds` times.
Refined refine(const cv::Mat &image, const Features &features, const Placing &placing,
               const Prior &prior, int rounds, int steps, int stride);

} // namespace matching

#endif
