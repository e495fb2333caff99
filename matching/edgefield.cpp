#include "matching/edgefield.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>

namespace matching {
namespace {

const double smoothing = 1; // pixels
const float maskEdge = 0.02f; // squared gradient that counts half, of coverages

// Rows of the gradient of the smoothed picture.
template <typename Row> void forGradients(const cv::Mat &picture, Row row)
{
    cv::Mat smooth;
    cv::GaussianBlur(picture, smooth, {}, smoothing, smoothing, cv::BORDER_REPLICATE);
    for (int y = 1; y < smooth.rows - 1; ++y)
        row(y, smooth.ptr<float>(y - 1), smooth.ptr<float>(y), smooth.ptr<float>(y + 1));
}

void addField(const cv::Mat &picture, float half, cv::Mat *field)
{
    forGradients(picture, [&](int y, const float *above, const float *here, const float *below) {
        float *out = field->ptr<float>(y);
        for (int x = 1; x < picture.cols - 1; ++x) {
            const float gx = (here[x + 1] - here[x - 1]) / 2, gy = (below[x] - above[x]) / 2;
            const float weight = 1 / (gx * gx + gy * gy + half);
            out[2 * x] += (gx * gx - gy * gy) * weight;
            out[2 * x + 1] += 2 * gx * gy * weight;
        }
    });
}

float medianSquaredGradient(const cv::Mat &picture)
{
    std::vector<float> squares;
    squares.reserve(picture.total());
    forGradients(picture, [&](int, const float *above, const float *here, const float *below) {
        for (int x = 1; x < picture.cols - 1; ++x) {
            const float gx = (here[x + 1] - here[x - 1]) / 2, gy = (below[x] - above[x]) / 2;
            squares.push_back(gx * gx + gy * gy);
        }
    });
    if (squares.empty())
        return 1;
    const auto middle = squares.begin() + std::ptrdiff_t(squares.size() / 2);
    std::nth_element(squares.begin(), middle, squares.end());
    return std::max(*middle, 1e-6f);
}

} // namespace

cv::Mat edgeFieldOfImage(const cv::Mat &grey)
{
    cv::Mat field(grey.size(), CV_32FC2, cv::Scalar::all(0));
    addField(grey, medianSquaredGradient(grey), &field);
    return field;
}

cv::Mat edgeFieldOfLayers(const std::vector<cv::Mat> &coverage)
{
    cv::Mat field(coverage.front().size(), CV_32FC2, cv::Scalar::all(0));
    for (const cv::Mat &layer : coverage) {
        cv::Mat share;
        layer.convertTo(share, CV_32F, 1 / 255.);
        addField(share, maskEdge, &field);
    }
    return field;
}

} // namespace matching
