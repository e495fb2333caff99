#ifndef HOSTING_ALIGNERROR_H
#define HOSTING_ALIGNERROR_H

#include <QPointF>
#include <QString>
#include <QVector>

namespace hosting {

const double share95 = 1.959964; ///< deviations that hold 95 % of a normal distribution

/// An alignment pair as far as the host knows it: not the stage position.
struct ConfirmedPair {
    int row = 1; ///< 1 to 3, as on the panel
    QPointF point; ///< recorded design point, micrometres
    double deviation = 0; ///< standard deviation of the pick, in x as in y, micrometres
    bool inForce = true; ///< false: the map was rejected and does without this pair
};

/// How far wafers lie from the nominal turn, scale and shape: each bound is kept by 95 % of them,
/// normally distributed about nominal. The user knows "within 2 degrees", not a deviation.
struct WaferAssumption {
    double turnDegrees = 2;
    double scalePercent = 2;
    /// By how much the scales differ along two axes at right angles, or the angle between them from
    /// a right one: what two pairs cannot see. Only a question about a third pair makes use of it;
    /// predicted errors do not.
    double shearPercent = 0.5;
};

/// The predicted error of the live image's place: how far off the image's centre lies when the
/// stage brings a design point under the beam.
///
/// One pair leaves turn and scale to the assumption. Two make a similarity and three an affine map,
/// taken for what the wafer is, so that only the errors of the picks remain.
class AlignError {
public:
    /// Pairs beyond the third in force are ignored.
    explicit AlignError(const QVector<ConfirmedPair> &pairs,
                        const WaferAssumption &assumption = {});

    /// Micrometres that the true error at `point` (micrometres) exceeds in 5 % of the cases.
    /// Infinite where nothing can be said: without a pair in force, with two at one place or three
    /// on one line, and for values that are not finite.
    double at(const QPointF &point) const;

    int pairsInForce() const { return m_pairs.size(); }

private:
    double atOne(const QPointF &point) const;
    double atTwo(const QPointF &point) const;
    double atThree(const QPointF &point) const;

    QVector<ConfirmedPair> m_pairs; ///< in force only
    double m_turnDeviation; ///< radians
    double m_scaleDeviation;
};

/// Radius of the circle that holds 95 % of the points scattered normally about its centre, with
/// these standard deviations along two axes at right angles.
double radius95(double deviation, double acrossDeviation);

/// "0.35 µm", "12 µm", "1.6 mm" for a length of 0 or more; "unknown" if it is infinite, and from a
/// metre on, which no stage has.
QString lengthText(double micrometres);

} // namespace hosting

#endif
