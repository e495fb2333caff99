#include "tests/crossfinder.h"

#include <QtMath>

#include <algorithm>
#include <vector>

namespace {
double grey(const QImage &image, int x, int y)
{
    return image.valid(x, y) ? qGray(image.pixel(x, y)) : 0;
}

// Sums over rectangles in constant time.
class BoxSums {
public:
    explicit BoxSums(const QImage &image)
        : m_stride(image.width() + 1)
        , m_sums(size_t(m_stride) * (image.height() + 1))
    {
        for (int y = 0; y < image.height(); ++y)
            for (int x = 0; x < image.width(); ++x)
                at(x + 1, y + 1) = grey(image, x, y) + at(x, y + 1) + at(x + 1, y) - at(x, y);
    }

    double mean(double x, double y, double width, double height)
    {
        const int left = qRound(x - width / 2), right = qMax(left + 1, qRound(x + width / 2));
        const int top = qRound(y - height / 2), bottom = qMax(top + 1, qRound(y + height / 2));
        return (at(right, bottom) - at(left, bottom) - at(right, top) + at(left, top))
            / ((right - left) * (bottom - top));
    }

private:
    double &at(int x, int y) { return m_sums[size_t(y) * m_stride + x]; }

    int m_stride;
    std::vector<double> m_sums;
};

struct Line {
    double at0 = 0, slope = 0;
};

// The line through the centroids of the arm, across which `profile(along, across)` gives the grey.
template <typename Profile> Line fitArm(const Profile &profile, double armLength, double armWidth)
{
    const int reach = qRound(armLength / 2 * std::sin(qDegreesToRadians(10.0)) + armWidth);
    double n = 0, sumA = 0, sumC = 0, sumAA = 0, sumAC = 0;
    for (int along = -qRound(armLength * 0.42); along <= armLength * 0.42; ++along) {
        if (std::abs(along) < armWidth * 1.5)
            continue; // the other arm
        std::vector<double> values;
        for (int across = -reach; across <= reach; ++across)
            values.push_back(profile(along, across));
        const double top = *std::max_element(values.begin(), values.end());
        const double bottom = *std::min_element(values.begin(), values.end());
        double weight = 0, centroid = 0;
        for (int across = -reach; across <= reach; ++across) {
            const double value = values[size_t(across + reach)];
            if (value < (top + bottom) / 2)
                continue;
            weight += 1;
            centroid += across;
        }
        const double c = centroid / weight;
        n += 1, sumA += along, sumC += c, sumAA += double(along) * along, sumAC += along * c;
    }
    Line line;
    line.slope = (n * sumAC - sumA * sumC) / (n * sumAA - sumA * sumA);
    line.at0 = (sumC - line.slope * sumA) / n;
    return line;
}

// How far from the centre the arm ends in the direction of the unit vector, pixels.
double armEnd(const QImage &image, const QPointF &centre, const QPointF &direction,
              double armLength, double armWidth)
{
    const QPointF aside(-direction.y(), direction.x());
    const auto across = [&](double distance) {
        double sum = 0;
        const int half = qRound(armWidth * 0.3);
        for (int i = -half; i <= half; ++i) {
            const QPointF point = centre + direction * distance + aside * i;
            sum += grey(image, qFloor(point.x()), qFloor(point.y()));
        }
        return sum / (2 * half + 1);
    };
    const auto mean = [&](double from, double to) {
        double sum = 0;
        for (double distance = from; distance < to; ++distance)
            sum += across(distance);
        return sum / qCeil(to - from);
    };
    const double inside = mean(armLength * 0.3, armLength * 0.42);
    const double outside = mean(armLength * 0.54, armLength * 0.58);
    double near = armLength * 0.42;
    while (near < armLength * 0.54 && mean(near, near + 4) > (inside + outside) / 2)
        ++near;
    // Only pixels about the end itself: every further one adds its noise.
    near -= 4;
    double end = near;
    for (double distance = near; distance < near + 12; distance += 0.25)
        end += 0.25 * (across(distance) - outside) / (inside - outside);
    return end;
}
} // namespace

Cross findCross(const QImage &image, double armLength, double armWidth)
{
    BoxSums sums(image);
    const double reach = armLength / 2;
    const QPointF sides[] = { { 1, 0 }, { -1, 0 }, { 0, 1 }, { 0, -1 } };
    Cross best;
    double bestContrast = 30; // grey levels: noise and bare ground stay below
    for (int y = qCeil(reach); y < image.height() - reach; ++y)
        for (int x = qCeil(reach); x < image.width() - reach; ++x) {
            double darkestArm = 255, brightestGround = 0;
            for (const QPointF &side : sides) {
                // one bar of the inner half of each arm, one box of ground between two arms
                const double length = reach * 0.5;
                const bool level = side.y() == 0;
                darkestArm =
                    qMin(darkestArm,
                         sums.mean(x + 0.5 + side.x() * length, y + 0.5 + side.y() * length,
                                   level ? length : armWidth, level ? armWidth : length));
                const QPointF corner(side.x() - side.y(), side.y() + side.x());
                brightestGround =
                    qMax(brightestGround,
                         sums.mean(x + 0.5 + corner.x() * length, y + 0.5 + corner.y() * length,
                                   length * 0.8, length * 0.8));
            }
            if (darkestArm - brightestGround > bestContrast) {
                bestContrast = darkestArm - brightestGround;
                best.found = true;
                best.centre = QPointF(x + 0.5, y + 0.5);
            }
        }
    return best;
}

Cross measureCross(const QImage &image, const Cross &guess, double armLength, double armWidth)
{
    Cross cross = guess;
    for (int pass = 0; pass < 2 && cross.found; ++pass) {
        const int x = qFloor(cross.centre.x()), y = qFloor(cross.centre.y());
        const Line level =
            fitArm([&](int a, int c) { return grey(image, x + a, y + c); }, armLength, armWidth);
        const Line upright =
            fitArm([&](int a, int c) { return grey(image, x + c, y + a); }, armLength, armWidth);
        // row = level(column) and column = upright(row)
        const double row =
            (level.at0 + level.slope * upright.at0) / (1 - level.slope * upright.slope);
        cross.centre = QPointF(x + 0.5 + upright.at0 + upright.slope * row, y + 0.5 + row);
        cross.degrees = qRadiansToDegrees((std::atan(upright.slope) - std::atan(level.slope)) / 2);
    }
    const double angle = qDegreesToRadians(cross.degrees);
    const QPointF direction(std::cos(angle), -std::sin(angle));
    cross.armLength = armEnd(image, cross.centre, direction, armLength, armWidth)
        + armEnd(image, cross.centre, -direction, armLength, armWidth);
    return cross;
}
