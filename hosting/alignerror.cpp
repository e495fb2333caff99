#include "hosting/alignerror.h"

#include <QCoreApplication>

#include <algorithm>
#include <cmath>
#include <limits>

namespace hosting {

namespace {
double squared(const QPointF &vector)
{
    return QPointF::dotProduct(vector, vector);
}

double cross(const QPointF &a, const QPointF &b)
{
    return a.x() * b.y() - a.y() * b.x();
}

double variance(const ConfirmedPair &pair)
{
    return pair.deviation * pair.deviation;
}
} // namespace

// With r and psi the polar coordinates of the two deviates in units of their deviations, the share
// beyond a circle is the mean of exp(-radius^2 / 2s^2) over psi, where s^2 = a^2 cos^2 + b^2 sin^2.
// The mean of a smooth periodic function over evenly spread angles converges at once; and from the
// lower bound of the radius on, where the share falls ever more slowly, Newton's steps do not
// overshoot.
double radius95(double deviation, double acrossDeviation)
{
    const double a = std::max(deviation, acrossDeviation);
    const double b = std::min(deviation, acrossDeviation);
    if (a == 0)
        return 0;
    const int angles = 8; // of a quarter, none on an axis, where s may be 0
    double ratios[angles];
    for (int i = 0; i < angles; ++i) {
        const double psi = (i + 0.5) * M_PI / 2 / angles;
        ratios[i] = std::pow(std::cos(psi), 2) + std::pow(b / a * std::sin(psi), 2);
    }
    double radius = share95;
    for (int step = 0; step < 5; ++step) {
        double beyond = 0;
        double slope = 0;
        for (const double ratio : ratios) {
            const double part = std::exp(-radius * radius / 2 / ratio) / angles;
            beyond += part;
            slope += part * radius / ratio;
        }
        radius += (beyond - 0.05) / slope;
    }
    return radius * a;
}

AlignError::AlignError(const QVector<ConfirmedPair> &pairs, const WaferAssumption &assumption)
    : m_turnDeviation(assumption.turnDegrees * M_PI / 180 / share95)
    , m_scaleDeviation(assumption.scalePercent / 100 / share95)
{
    for (const ConfirmedPair &pair : pairs)
        if (pair.inForce && m_pairs.size() < 3)
            m_pairs.append(pair);
}

double AlignError::at(const QPointF &point) const
{
    const int count = m_pairs.size();
    const double error = count == 1 ? atOne(point)
        : count == 2                ? atTwo(point)
        : count == 3                ? atThree(point)
                                    : std::numeric_limits<double>::infinity();
    return std::isfinite(error) ? error : std::numeric_limits<double>::infinity();
}

// A turn displaces across the line to the pair, a scale along it.
double AlignError::atOne(const QPointF &point) const
{
    const double distance = std::sqrt(squared(point - m_pairs[0].point));
    return radius95(std::hypot(m_pairs[0].deviation, distance * m_scaleDeviation),
                    std::hypot(m_pairs[0].deviation, distance * m_turnDeviation));
}

// In complex numbers the error is (1 - w) e1 + w e2 with w = (x - x1) / (x2 - x1): turned and
// scaled errors of picks, whose scatter has no direction.
double AlignError::atTwo(const QPointF &point) const
{
    const ConfirmedPair &first = m_pairs[0];
    const ConfirmedPair &second = m_pairs[1];
    const double sum = squared(point - second.point) * variance(first)
        + squared(point - first.point) * variance(second);
    const double deviation = std::sqrt(sum / squared(second.point - first.point));
    return radius95(deviation, deviation);
}

// The error is the sum of the picks' errors with the point's barycentric coordinates as weights.
double AlignError::atThree(const QPointF &point) const
{
    double sum = 0;
    for (int i = 0; i < 3; ++i) {
        const QPointF next = m_pairs[(i + 1) % 3].point;
        const QPointF last = m_pairs[(i + 2) % 3].point;
        const double weight = cross(next - point, last - point)
            / cross(next - m_pairs[i].point, last - m_pairs[i].point);
        sum += weight * weight * variance(m_pairs[i]);
    }
    return radius95(std::sqrt(sum), std::sqrt(sum));
}

QString lengthText(double micrometres)
{
    if (!(micrometres < 1e6))
        return QCoreApplication::translate("hosting::AlignError", "unknown");
    const bool millimetres = micrometres >= 999.5;
    const double value = millimetres ? micrometres / 1000 : micrometres;
    const int decimals = value < 0.995 ? 2 : value < 9.95 ? 1 : 0;
    return QStringLiteral("%1 %2").arg(value, 0, 'f', decimals).arg(millimetres ? "mm" : "\u00b5m");
}

} // namespace hosting
