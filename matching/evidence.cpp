#include "matching/evidence.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const int halvings = 6; // 64 cells
const int grain = 4; // pixels; neighbouring ones are not independent
const double structureSigma = 2; // pixels
const int selfPeaks = 12;
const double unsure = 0.002; // of what is explained may be so by mistake

// Of each block what the other colour's weights say.
cv::Mat chequered(const cv::Mat &black, const cv::Mat &white)
{
    cv::Mat result = white.clone();
    auto edge = [](int n, int size) { return (n * size + blocksAcross - 1) / blocksAcross; };
    for (int block = 0; block < blocksAcross * blocksAcross; ++block) {
        if (colourOf(block) == 0)
            continue;
        const int bx = block % blocksAcross, by = block / blocksAcross;
        const cv::Rect part({ edge(bx, result.cols), edge(by, result.rows) },
                            cv::Point(edge(bx + 1, result.cols), edge(by + 1, result.rows)));
        black(part).copyTo(result(part));
    }
    return result;
}

// What the two pictures differ by, and how much better the first one fits, summed over grains.
struct Differences {
    Differences(const cv::Mat &image, const cv::Mat &mine, const cv::Mat &other);
    cv::Mat amount, gain; // integrals
    static double sum(const cv::Mat &integral, const cv::Rect &cell)
    {
        return integral.at<double>(cell.br()) + integral.at<double>(cell.tl())
            - integral.at<double>(cell.y, cell.br().x) - integral.at<double>(cell.br().y, cell.x);
    }
};

Differences::Differences(const cv::Mat &image, const cv::Mat &mine, const cv::Mat &other)
{
    const cv::Size grains((image.cols + grain - 1) / grain, (image.rows + grain - 1) / grain);
    cv::Mat amounts(grains, CV_32F, cv::Scalar(0)), gains(grains, CV_32F, cv::Scalar(0));
    for (int y = 0; y < image.rows; ++y) {
        const float *grey = image.ptr<float>(y);
        const float *a = mine.ptr<float>(y), *b = other.ptr<float>(y);
        float *amountRow = amounts.ptr<float>(y / grain), *gainRow = gains.ptr<float>(y / grain);
        for (int x = 0; x < image.cols; ++x) {
            const float difference = a[x] - b[x];
            amountRow[x / grain] += difference * difference;
            gainRow[x / grain] += difference * (2 * grey[x] - a[x] - b[x]);
        }
    }
    cv::integral(amounts, amount, CV_64F);
    cv::integral(gains, gain, CV_64F);
}

void halve(const Differences &differences, const cv::Rect &cell, int depth,
           std::vector<double> *gains)
{
    if (depth == 0 || cell.area() <= 1) {
        gains->push_back(Differences::sum(differences.gain, cell));
        return;
    }
    const bool wide = cell.width >= cell.height;
    const int length = wide ? cell.width : cell.height;
    auto part = [&](int from, int to) {
        return wide ? cv::Rect(cell.x + from, cell.y, to - from, cell.height)
                    : cv::Rect(cell.x, cell.y + from, cell.width, to - from);
    };
    const double half = Differences::sum(differences.amount, cell) / 2;
    int cut = 1;
    while (cut < length - 1 && Differences::sum(differences.amount, part(0, cut)) < half)
        ++cut;
    halve(differences, part(0, cut), depth - 1, gains);
    halve(differences, part(cut, length), depth - 1, gains);
}

std::vector<cv::Point> ringShifts(int most)
{
    std::vector<cv::Point> shifts;
    for (int radius : { 3, 7, 14 }) {
        if (radius > most)
            break;
        const int count = radius == 3 ? 8 : 16;
        for (int n = 0; n < count; ++n) {
            const double angle = 2 * CV_PI * n / count;
            shifts.emplace_back(cvRound(radius * std::cos(angle)),
                                cvRound(radius * std::sin(angle)));
        }
    }
    return shifts;
}

void addSelfPeaks(const cv::Mat &picture, int mostShift, std::vector<cv::Point> *shifts)
{
    const cv::Size size(cv::getOptimalDFTSize(picture.cols + mostShift),
                        cv::getOptimalDFTSize(picture.rows + mostShift));
    cv::Mat padded(size, CV_32F, cv::Scalar(0)), spectrum, product, correlation;
    cv::subtract(picture, cv::mean(picture), padded(cv::Rect({}, picture.size())));
    cv::dft(padded, spectrum);
    cv::mulSpectrums(spectrum, spectrum, product, 0, true);
    cv::dft(product, correlation, cv::DFT_INVERSE | cv::DFT_SCALE | cv::DFT_REAL_OUTPUT);
    // Half of the plane says it all.
    cv::Mat half(mostShift + 1, 2 * mostShift + 1, CV_32F);
    for (int y = 0; y <= mostShift; ++y) {
        for (int x = -mostShift; x <= mostShift; ++x) {
            const float overlap = float((picture.cols - std::abs(x)) * (picture.rows - y));
            half.at<float>(y, x + mostShift) =
                correlation.at<float>(y, (x + size.width) % size.width) / overlap;
        }
    }
    cv::circle(half, { mostShift, 0 }, 4, cv::Scalar(-1e30), cv::FILLED);
    for (int n = 0; n < selfPeaks; ++n) {
        cv::Point at;
        cv::minMaxLoc(half, nullptr, nullptr, nullptr, &at);
        cv::circle(half, at, 3, cv::Scalar(-1e30), cv::FILLED);
        const cv::Point shift(at.x - mostShift, at.y);
        shifts->push_back(shift);
        shifts->push_back(-shift);
    }
}

} // namespace

CrossPrediction::CrossPrediction(const Features &features, const WeightProblem &problem)
    : m_fromBlack(features, problem.solveColour(0))
    , m_fromWhite(features, problem.solveColour(1))
{
}

cv::Mat CrossPrediction::picture(const Placing &placing, const cv::Size &image) const
{
    return chequered(m_fromBlack.picture(placing, image), m_fromWhite.picture(placing, image));
}

CrossPrediction::Drawn CrossPrediction::draw(const Placing &placing, const cv::Size &image,
                                             int margin) const
{
    return { m_fromBlack.draw(placing, image, margin), m_fromWhite.draw(placing, image, margin),
             margin };
}

cv::Mat CrossPrediction::Drawn::shifted(const cv::Point &shift) const
{
    const cv::Rect part(margin + shift.x, margin + shift.y, black.cols - 2 * margin,
                        black.rows - 2 * margin);
    return chequered(black(part), white(part));
}

cv::Mat shadingPicture(const Features &features, const WeightProblem &problem,
                       const cv::Size &image)
{
    const Placing anywhere{ {}, cv::Matx22d::eye() };
    const Prediction fromBlack(features, problem.shadingOnly(0));
    const Prediction fromWhite(features, problem.shadingOnly(1));
    return chequered(fromBlack.picture(anywhere, image), fromWhite.picture(anywhere, image));
}

double advantage(const cv::Mat &image, const cv::Mat &mine, const cv::Mat &other, double explained)
{
    const Differences differences(image, mine, other);
    const cv::Rect all({}, cv::Size(differences.gain.cols - 1, differences.gain.rows - 1));
    if (Differences::sum(differences.amount, all) < 1e-6 * double(image.total()))
        return 0;
    std::vector<double> gains;
    halve(differences, all, halvings, &gains);
    cv::Scalar mean, deviation;
    cv::meanStdDev(gains, mean, deviation);
    const double count = double(gains.size());
    const double byChance = deviation[0] / std::sqrt(count - 1);
    return mean[0] / (std::hypot(byChance, unsure * std::max(0., explained) / count) + 1e-9);
}

double unexplained(const cv::Mat &image, const cv::Mat &predicted, const cv::Mat &shading)
{
    auto smoothSquares = [](const cv::Mat &picture, cv::Mat *blocks) {
        cv::Mat smooth;
        cv::GaussianBlur(picture, smooth, {}, structureSigma);
        cv::resize(smooth.mul(smooth), *blocks, { blocksAcross, blocksAcross }, 0, 0,
                   cv::INTER_AREA);
    };
    const cv::Mat residual = image - predicted, explained = predicted - shading;
    cv::Mat left, seen;
    smoothSquares(residual, &left);
    smoothSquares(explained, &seen);
    // White noise loses all but this of its squares. The difference of neighbours is noise mostly.
    const cv::Mat steps =
        residual.colRange(1, residual.cols) - residual.colRange(0, residual.cols - 1);
    const double noise = cv::norm(steps, cv::NORM_L2SQR) / 2 / double(steps.total());
    const double kept = noise / (4 * CV_PI * structureSigma * structureSigma);
    double most;
    cv::minMaxLoc(left, nullptr, &most);
    return std::max(0., most - kept) / (cv::mean(seen)[0] + 1e-9);
}

double leastAdvantage(const cv::Mat &image, const CrossPrediction &prediction,
                      const Placing &placing, const cv::Mat &mine,
                      const std::vector<cv::Point> &shifts, double explained)
{
    int margin = 0;
    for (const cv::Point &shift : shifts)
        margin = std::max({ margin, std::abs(shift.x), std::abs(shift.y) });
    const CrossPrediction::Drawn drawn = prediction.draw(placing, image.size(), margin);
    const cv::Mat shading = mine - drawn.shifted({});
    double least = 1e9;
    for (const cv::Point &shift : shifts)
        least = std::min(least, advantage(image, mine, drawn.shifted(shift) + shading, explained));
    return least;
}

double advantageOverShifts(const cv::Mat &image, const CrossPrediction &prediction,
                           const Placing &placing, int mostShift, double explained)
{
    const int margin = std::min({ mostShift, image.cols / 2, image.rows / 2 });
    const cv::Mat mine = prediction.picture(placing, image.size());
    std::vector<cv::Point> shifts = ringShifts(margin);
    addSelfPeaks(mine, margin, &shifts);
    return leastAdvantage(image, prediction, placing, mine, shifts, explained);
}

} // namespace matching
