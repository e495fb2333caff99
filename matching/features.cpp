#include "matching/features.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <numeric>

namespace matching {
namespace {

const double leastVariance = 1e-5; // of a coverage from 0 to 1

std::vector<cv::Mat> layersWithStructure(const std::vector<cv::Mat> &coverage, const cv::Rect &part)
{
    std::vector<cv::Mat> layers;
    std::vector<double> variance;
    for (const cv::Mat &layer : coverage) {
        cv::Scalar mean, deviation;
        cv::meanStdDev(layer(part), mean, deviation);
        const double spread = deviation[0] / 255;
        if (spread * spread < leastVariance)
            continue;
        layers.emplace_back();
        layer(part).convertTo(layers.back(), CV_32F, 1 / 255.);
        variance.push_back(spread);
    }
    while (int(layers.size()) > Features::mostLayers) {
        const auto least = std::min_element(variance.begin(), variance.end()) - variance.begin();
        layers.erase(layers.begin() + least);
        variance.erase(variance.begin() + least);
    }
    return layers;
}

cv::Mat edges(const cv::Mat &layer)
{
    cv::Mat smooth, gx, gy, size;
    cv::GaussianBlur(layer, smooth, {}, 0.7);
    cv::Sobel(smooth, gx, CV_32F, 1, 0, 1);
    cv::Sobel(smooth, gy, CV_32F, 0, 1, 1);
    cv::magnitude(gx, gy, size);
    return size;
}

} // namespace

Features::Features(const std::vector<cv::Mat> &coverage, const cv::Rect &part)
    : m_part(part & cv::Rect({}, coverage.front().size()))
{
    if (m_part.empty())
        return;
    std::vector<cv::Mat> layers = layersWithStructure(coverage, m_part);
    std::vector<cv::Mat> channels;
    cv::Mat open(m_part.size(), CV_32F, cv::Scalar(1)); // what no upper layer hides
    for (auto layer = layers.rbegin(); layer != layers.rend(); ++layer) {
        channels.push_back(layer->mul(open));
        open = open.mul(1 - *layer);
        channels.push_back(*layer);
        channels.push_back(edges(*layer));
    }
    if (!channels.empty())
        cv::merge(channels, m_pixels);
}

cv::Mat Features::sum(const double *weights) const
{
    const int channels = count();
    const std::vector<float> factors(weights, weights + channels);
    cv::Mat result(m_pixels.size(), CV_32F);
    for (int y = 0; y < result.rows; ++y) {
        const float *in = m_pixels.ptr<float>(y);
        float *out = result.ptr<float>(y);
        for (int x = 0; x < result.cols; ++x, in += channels)
            out[x] = std::inner_product(in, in + channels, factors.data(), 0.f);
    }
    return result;
}

bool Features::at(double x, double y, float *values) const
{
    x -= m_part.x + 0.5;
    y -= m_part.y + 0.5;
    const int column = int(x), row = int(y), channels = count();
    if (x < 0 || y < 0 || column >= m_pixels.cols - 1 || row >= m_pixels.rows - 1)
        return false;
    const float fx = float(x - column), fy = float(y - row);
    const float *upper = m_pixels.ptr<float>(row) + column * channels;
    const float *lower = m_pixels.ptr<float>(row + 1) + column * channels;
    const float a = (1 - fx) * (1 - fy), b = fx * (1 - fy), c = (1 - fx) * fy, d = fx * fy;
    for (int n = 0; n < channels; ++n)
        values[n] = a * upper[n] + b * upper[n + channels] + c * lower[n] + d * lower[n + channels];
    return true;
}

} // namespace matching
