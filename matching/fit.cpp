#include "matching/fit.h"

#include <cmath>

namespace matching {
namespace {

const double ridge = 1e-3; // features that nearly depend on each other get small weights
const int parameters = 4;

void shadingAt(double x, double y, float *values)
{
    const float fx = float(x), fy = float(y);
    const float terms[shadings] = { 1, fx, fy, fx * fx, fx * fy, fy * fy };
    std::copy(terms, terms + shadings, values);
}

// The products of all pairs of `count` values, a multiple of 4; only the upper half is filled.
void addProducts(const float *__restrict values, int count, float *__restrict sums)
{
    for (int i = 0; i < count; ++i) {
        const float factor = values[i];
        float *__restrict sum = sums + i * count;
        for (int j = i & ~3; j < count; j += 4) {
            sum[j] += factor * values[j];
            sum[j + 1] += factor * values[j + 1];
            sum[j + 2] += factor * values[j + 2];
            sum[j + 3] += factor * values[j + 3];
        }
    }
}

// From the image's centre: pixels, and as -1 to 1 for the shading.
struct Grid {
    explicit Grid(const cv::Size &size)
        : halfX(size.width / 2.)
        , halfY(size.height / 2.)
        , radius(std::max(halfX, halfY))
    {
    }
    double u(int x) const { return x + 0.5 - halfX; }
    double v(int y) const { return y + 0.5 - halfY; }
    double halfX, halfY, radius;
};

} // namespace

WeightProblem::WeightProblem(const cv::Mat &image, const Features &features, const Placing &placing,
                             int stride)
    : m_unknowns(features.count() + shadings)
    , m_row((m_unknowns + 1 + 3) / 4 * 4)
    , m_blocks(blocksAcross * blocksAcross)
{
    const Grid grid(image.size());
    const cv::Matx22d &axes = placing.axes;
    std::vector<float> values(size_t(m_row), 0.f), sums(size_t(m_row * m_row));
    for (int block = 0; block < blocksAcross * blocksAcross; ++block) {
        const int bx = block % blocksAcross, by = block / blocksAcross;
        auto edge = [&](int n, int size) { return (n * size + blocksAcross - 1) / blocksAcross; };
        std::fill(sums.begin(), sums.end(), 0.f);
        for (int y = edge(by, image.rows); y < edge(by + 1, image.rows); y += stride) {
            const float *row = image.ptr<float>(y);
            for (int x = edge(bx, image.cols); x < edge(bx + 1, image.cols); x += stride) {
                const double u = grid.u(x), v = grid.v(y);
                ++m_pixels;
                if (!features.at(placing.centre.x + axes(0, 0) * u + axes(0, 1) * v,
                                 placing.centre.y + axes(1, 0) * u + axes(1, 1) * v,
                                 values.data())) {
                    ++m_missed;
                    continue;
                }
                shadingAt(u / grid.halfX, v / grid.halfY, values.data() + features.count());
                values[size_t(m_unknowns)] = row[x];
                addProducts(values.data(), m_row, sums.data());
            }
        }
        m_blocks[size_t(block)].assign(sums.begin(), sums.end());
    }
}

std::vector<double> WeightProblem::total(int colour) const
{
    std::vector<double> sums(size_t(m_row * m_row), 0.);
    for (int block = 0; block < int(m_blocks.size()); ++block) {
        if (colour >= 0 && colourOf(block) != colour)
            continue;
        const std::vector<double> &part = m_blocks[size_t(block)];
        for (size_t i = 0; i < sums.size(); ++i)
            sums[i] += part[i];
    }
    return sums;
}

Weights WeightProblem::solve(const std::vector<double> &sums, int first) const
{
    const int count = m_unknowns - first;
    cv::Mat_<double> matrix(count, count), right(count, 1), solution;
    for (int i = 0; i < count; ++i) {
        for (int j = i; j < count; ++j)
            matrix(i, j) = matrix(j, i) = sums[size_t((first + i) * m_row + first + j)];
        right(i) = sums[size_t((first + i) * m_row + m_unknowns)];
    }
    const double pixels = sums[size_t((m_unknowns - shadings) * (m_row + 1))];
    for (int i = 0; i < count; ++i)
        matrix(i, i) += ridge * matrix(i, i) + 1e-5 * pixels + 1e-9;
    cv::solve(matrix, right, solution, cv::DECOMP_CHOLESKY);
    Weights weights(size_t(m_unknowns), 0.);
    std::copy(solution.begin(), solution.end(), weights.begin() + first);
    return weights;
}

Weights WeightProblem::solve() const
{
    return solve(total(-1), 0);
}

Weights WeightProblem::solveColour(int colour) const
{
    return solve(total(colour), 0);
}

Weights WeightProblem::shadingOnly(int colour) const
{
    return solve(total(colour), m_unknowns - shadings);
}

Prediction::Prediction(const Features &features, const Weights &weights)
    : m_sum(features.sum(weights.data()))
    , m_topLeft(features.topLeft())
    , m_shading(weights.end() - shadings, weights.end())
{
}

cv::Mat Prediction::draw(const Placing &placing, const cv::Size &image, int margin) const
{
    const Grid grid(image);
    const cv::Matx22d &axes = placing.axes;
    const float mean = float(cv::mean(m_sum)[0]);
    cv::Mat result(image + cv::Size(2 * margin, 2 * margin), CV_32F);
    for (int y = 0; y < result.rows; ++y) {
        float *row = result.ptr<float>(y);
        const double u = grid.u(-margin), v = grid.v(y - margin);
        const double left = placing.centre.x + axes(0, 0) * u + axes(0, 1) * v - m_topLeft.x - 0.5;
        const double top = placing.centre.y + axes(1, 0) * u + axes(1, 1) * v - m_topLeft.y - 0.5;
        for (int x = 0; x < result.cols; ++x)
            row[x] = sample(m_sum, left + axes(0, 0) * x, top + axes(1, 0) * x, mean);
    }
    return result;
}

cv::Mat Prediction::picture(const Placing &placing, const cv::Size &image) const
{
    const Grid grid(image);
    cv::Mat result = draw(placing, image, 0);
    for (int y = 0; y < image.height; ++y) {
        float *row = result.ptr<float>(y);
        const double v = grid.v(y) / grid.halfY;
        const float constant = float(m_shading[0] + m_shading[2] * v + m_shading[5] * v * v);
        const float linear = float(m_shading[1] + m_shading[4] * v), square = float(m_shading[3]);
        const float first = float(grid.u(0) / grid.halfX), step = float(1 / grid.halfX);
        for (int x = 0; x < image.width; ++x) {
            const float u = first + step * float(x);
            row[x] += constant + u * (linear + square * u);
        }
    }
    return result;
}

namespace {

using Vector = cv::Vec<double, parameters>;
using Matrix = cv::Matx<double, parameters, parameters>;

// One Gauss-Newton problem: how the squared difference depends on shift, turn and scale.
struct Normals {
    Matrix curvature, spread; // the latter of the gradients of blocks
    Vector gradient;
    double squares = 0;
    int pixels = 0;
};

// Adds what the pixels from `first` to before `last` of a row say: products of the slopes, slopes
// times errors, squared errors.
void addRow(const float *grey, const float *above, const float *here, const float *below, int first,
            int last, float u, float uStep, float v, float (&sums)[15])
{
    float xx = 0, xy = 0, xt = 0, xs = 0, yy = 0, yt = 0, ys = 0, tt = 0, ts = 0, ss = 0;
    float ex = 0, ey = 0, et = 0, es = 0, ee = 0;
    for (int x = first; x < last; ++x) {
        const float across = u + uStep * float(x);
        const float gx = (here[x + 1] - here[x - 1]) / 2, gy = (below[x] - above[x]) / 2;
        const float turn = gy * across - gx * v, scale = gx * across + gy * v;
        const float error = grey[x] - here[x];
        xx += gx * gx, xy += gx * gy, xt += gx * turn, xs += gx * scale;
        yy += gy * gy, yt += gy * turn, ys += gy * scale;
        tt += turn * turn, ts += turn * scale, ss += scale * scale;
        ex += error * gx, ey += error * gy, et += error * turn, es += error * scale;
        ee += error * error;
    }
    const float row[15] = { xx, xy, xt, xs, yy, yt, ys, tt, ts, ss, ex, ey, et, es, ee };
    for (int n = 0; n < 15; ++n)
        sums[n] += row[n];
}

Normals normalsOf(const cv::Mat &image, const cv::Mat &predicted)
{
    const Grid grid(image.size());
    const float step = float(1 / grid.radius), left = float(grid.u(0) / grid.radius);
    Normals normals;
    normals.curvature = normals.spread = Matrix::zeros();
    auto edge = [](int n, int size) { return (n * size + blocksAcross - 1) / blocksAcross; };
    for (int block = 0; block < blocksAcross * blocksAcross; ++block) {
        const int bx = block % blocksAcross, by = block / blocksAcross;
        const int first = std::max(1, edge(bx, image.cols));
        const int last = std::min(image.cols - 1, edge(bx + 1, image.cols));
        float sums[15] = {};
        for (int y = std::max(1, edge(by, image.rows));
             y < std::min(image.rows - 1, edge(by + 1, image.rows)); ++y) {
            addRow(image.ptr<float>(y), predicted.ptr<float>(y - 1), predicted.ptr<float>(y),
                   predicted.ptr<float>(y + 1), first, last, left, step,
                   float(grid.v(y) / grid.radius), sums);
            normals.pixels += last - first;
        }
        const float *sum = sums;
        for (int i = 0; i < parameters; ++i) {
            for (int j = i; j < parameters; ++j)
                normals.curvature(i, j) += double(*sum++);
        }
        const Vector gradient(sum[0], sum[1], sum[2], sum[3]);
        normals.gradient += gradient;
        normals.spread += gradient * gradient.t();
        normals.squares += double(sum[4]);
    }
    for (int i = 0; i < parameters; ++i) {
        for (int j = 0; j < i; ++j)
            normals.curvature(i, j) = normals.curvature(j, i);
    }
    return normals;
}

// The image is at u in its own pixels what it was at u + step before.
Placing moved(const Placing &placing, const Vector &step, double radius)
{
    const double turn = step[2] / radius, scale = step[3] / radius;
    const cv::Matx22d &axes = placing.axes;
    const cv::Matx22d change((1 + scale) * std::cos(turn), -(1 + scale) * std::sin(turn),
                             (1 + scale) * std::sin(turn), (1 + scale) * std::cos(turn));
    return { placing.centre
                 + cv::Point2d(axes(0, 0) * step[0] + axes(0, 1) * step[1],
                               axes(1, 0) * step[0] + axes(1, 1) * step[1]),
             axes * change };
}

} // namespace

Refined refine(const cv::Mat &image, const Features &features, const Placing &placing,
               const Prior &prior, int rounds, int steps, int stride)
{
    const double radius = Grid(image.size()).radius;
    Refined result{ placing, cv::Matx44d::eye(), 0 };
    Vector away;
    for (int round = 0; round < rounds; ++round) {
        const WeightProblem problem(image, features, result.placing, stride);
        const Prediction prediction(features, problem.solve());
        for (int step = 0; step < steps; ++step) {
            const Normals normals =
                normalsOf(image, prediction.picture(result.placing, image.size()));
            const double variance = normals.squares / std::max(1, normals.pixels) + 1e-9;
            Matrix curvature = normals.curvature;
            Vector gradient = normals.gradient;
            for (int i = 0; i < parameters; ++i) {
                const double deviation = i < 2 ? prior.shift : prior.edge;
                const double stiffness = deviation > 0 ? variance / (deviation * deviation) : 0;
                curvature(i, i) += stiffness + 1e-6 * variance;
                gradient[i] -= stiffness * away[i];
            }
            const Matrix inverse = curvature.inv(cv::DECOMP_SVD);
            Vector change = inverse * gradient;
            const double length = cv::norm(change);
            if (length > 2)
                change *= 2 / length;
            away += change;
            result.placing = moved(result.placing, change, radius);
            result.moved = cv::norm(change);
            result.covariance = inverse * normals.spread * inverse;
            if (result.moved < 0.003)
                break;
        }
    }
    return result;
}

} // namespace matching
