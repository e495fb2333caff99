#include "matching/search.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace matching {
namespace {

const double apart = 3; // pixels between two candidates
const int peaksEach = 12; // of one turn and scale

// The design's side of the correlation, which is the same for all turns and scales.
class Terrain {
public:
    Terrain(const cv::Mat &field, cv::Size image);

    /// How well the image's field, its centre at the middle of the picture, lies with that centre
    /// at each pixel.
    cv::Mat correlate(const cv::Mat &turnedField, double imageEnergy) const;
    cv::Size size() const { return m_scale.size(); }

private:
    cv::Mat m_spectra[2]; // of the field's two parts
    cv::Mat m_scale;
};

Terrain::Terrain(const cv::Mat &field, cv::Size image)
{
    const cv::Size size(cv::getOptimalDFTSize(field.cols), cv::getOptimalDFTSize(field.rows));
    cv::Mat padded(size, CV_32FC2, cv::Scalar::all(0));
    field.copyTo(padded(cv::Rect({}, field.size())));
    cv::Mat parts[2], energy, around;
    cv::split(padded, parts);
    for (int n = 0; n < 2; ++n)
        cv::dft(parts[n], m_spectra[n]);
    energy = parts[0].mul(parts[0]) + parts[1].mul(parts[1]);
    cv::boxFilter(energy, around, CV_32F, image, { -1, -1 }, false, cv::BORDER_CONSTANT);
    // Where the design has next to nothing, noise would decide.
    const double floor = 0.05 * cv::mean(energy)[0] * image.area() + 1e-3;
    cv::sqrt(around + floor, around);
    m_scale = 1 / around;
}

cv::Mat Terrain::correlate(const cv::Mat &turnedField, double imageEnergy) const
{
    // The real part of the correlation is all that counts: that of both parts together.
    cv::Mat parts[2], spectrum, product, sum, real;
    cv::split(turnedField, parts);
    for (int n = 0; n < 2; ++n) {
        cv::dft(parts[n], spectrum);
        cv::mulSpectrums(m_spectra[n], spectrum, product, 0, true);
        sum = n == 0 ? product.clone() : cv::Mat(sum + product);
    }
    cv::dft(sum, real, cv::DFT_INVERSE | cv::DFT_SCALE | cv::DFT_REAL_OUTPUT);
    cv::Mat centred(real.size(), real.type());
    const int middle = real.cols / 2;
    for (int y = 0; y < real.rows; ++y) {
        const float *in = real.ptr<float>((y - real.rows / 2 + real.rows) % real.rows);
        float *out = centred.ptr<float>(y);
        std::copy(in + real.cols - middle, in + real.cols, out);
        std::copy(in, in + real.cols - middle, out + middle);
    }
    cv::multiply(centred, m_scale, centred, 1 / std::sqrt(imageEnergy + 1e-6));
    return centred;
}

// The image's field as the window would have it, its centre at the middle of the picture.
cv::Mat turned(const cv::Mat &field, const cv::Matx22d &axes, cv::Size size)
{
    const cv::Matx22d back = axes.inv();
    const double cx = size.width / 2, cy = size.height / 2;
    const double mx = (field.cols - 1) / 2.0, my = (field.rows - 1) / 2.0;
    const cv::Matx23d matrix(back(0, 0), back(0, 1), mx - back(0, 0) * cx - back(0, 1) * cy,
                             back(1, 0), back(1, 1), my - back(1, 0) * cx - back(1, 1) * cy);
    cv::Mat result;
    cv::warpAffine(field, result, matrix, size, cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    // Squaring doubles the angle by which the edges turn.
    const double angle = 2 * std::atan2(axes(1, 0), axes(0, 0));
    const float c = float(std::cos(angle)), s = float(std::sin(angle));
    for (int y = 0; y < result.rows; ++y) {
        float *row = result.ptr<float>(y);
        for (int x = 0; x < 2 * result.cols; x += 2) {
            const float re = row[x], im = row[x + 1];
            row[x] = re * c - im * s;
            row[x + 1] = re * s + im * c;
        }
    }
    return result;
}

class Collector {
public:
    explicit Collector(int count)
        : m_count(count)
    {
    }
    void add(const cv::Mat &scores, const cv::Rect &shifts, const cv::Matx22d &axes);
    std::vector<Candidate> take();

private:
    int m_count;
    std::vector<Candidate> m_found;
};

void Collector::add(const cv::Mat &scores, const cv::Rect &shifts, const cv::Matx22d &axes)
{
    cv::Mat area = scores(shifts).clone();
    for (int n = 0; n < std::min(peaksEach, m_count); ++n) {
        double best;
        cv::Point at;
        cv::minMaxLoc(area, nullptr, &best, nullptr, &at);
        if (best <= 0)
            return;
        const cv::Point2d centre = cv::Point2d(at + shifts.tl()) + cv::Point2d(0.5, 0.5);
        m_found.push_back({ { centre, axes }, best });
        cv::circle(area, at, int(apart), cv::Scalar(-1), cv::FILLED);
    }
}

std::vector<Candidate> Collector::take()
{
    std::stable_sort(m_found.begin(), m_found.end(),
                     [](const Candidate &a, const Candidate &b) { return a.score > b.score; });
    std::vector<Candidate> best;
    for (const Candidate &candidate : m_found) {
        const bool fresh = std::none_of(best.begin(), best.end(), [&](const Candidate &better) {
            return cv::norm(better.placing.centre - candidate.placing.centre) <= apart;
        });
        if (fresh)
            best.push_back(candidate);
        if (int(best.size()) == m_count)
            break;
    }
    return best;
}

} // namespace

std::vector<Candidate> search(const cv::Mat &imageField, const cv::Mat &designField,
                              const Placing &start, const Range &range, int count,
                              const std::function<bool()> &cancelled)
{
    const cv::Size footprint(int(imageField.cols * cv::norm(start.axes) / std::sqrt(2.)) | 1,
                             int(imageField.rows * cv::norm(start.axes) / std::sqrt(2.)) | 1);
    const Terrain terrain(designField, footprint);
    const cv::Point corner(int(std::floor(start.centre.x - range.shift)),
                           int(std::floor(start.centre.y - range.shift)));
    const int edge = int(std::ceil(2 * range.shift)) + 1;
    const cv::Rect shifts =
        cv::Rect(corner, cv::Size(edge, edge)) & cv::Rect({}, designField.size());
    if (shifts.empty())
        return {};

    Collector collector(count);
    const int turns = int(std::ceil(range.turn / range.turnStep - 1e-6));
    const int scales = int(std::ceil(range.scale / range.scaleStep - 1e-6));
    for (int t = -turns; t <= turns; ++t) {
        for (int s = -scales; s <= scales; ++s) {
            if (cancelled())
                return {};
            const double angle = t * range.turnStep, factor = 1 + s * range.scaleStep;
            const cv::Matx22d turn(std::cos(angle), -std::sin(angle), std::sin(angle),
                                   std::cos(angle));
            const cv::Matx22d axes = factor * turn * start.axes;
            const cv::Mat field = turned(imageField, axes, terrain.size());
            const double energy = cv::norm(field, cv::NORM_L2SQR);
            collector.add(terrain.correlate(field, energy), shifts, axes);
        }
    }
    return collector.take();
}

} // namespace matching
