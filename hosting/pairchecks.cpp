#include "hosting/pairchecks.h"

#include "hosting/pose.h"

#include <QLineF>

#include <algorithm>
#include <cmath>

namespace hosting {

namespace {
// 95 % of what is left open times this: 3.9 to 4.9 standard deviations, as the error has one
// direction or two.
const double surprise = 2;

double pickError(const ConfirmedPair &pair)
{
    return radius95(pair.deviation, pair.deviation);
}
} // namespace

// Image rows run downwards: a positive rotation of the placement turns the image clockwise.
Correction Correction::between(const QPointF &from, const Pose &before, const QPointF &to,
                               const Pose &after)
{
    Correction result;
    result.offset = to - from;
    result.turnDegrees = std::remainder(before.rotationDegrees - after.rotationDegrees, 360);
    result.scale =
        std::sqrt(std::abs(after.scaleX * after.scaleY / (before.scaleX * before.scaleY)));
    return result;
}

double Correction::distance() const
{
    return std::hypot(offset.x(), offset.y());
}

QString Correction::text() const
{
    return PairToConfirm::tr("moved by %1, turned by %2\u00b0, scaled by %3")
        .arg(lengthText(distance()))
        .arg(turnDegrees, 0, 'f', 2)
        .arg(scale, 0, 'f', 3);
}

QString PairToConfirm::stillMoving() const
{
    return stageMoves ? tr("The stage is still moving: the pair would be recorded where it is now.")
                      : QString();
}

QString PairToConfirm::notMoved() const
{
    // The view field may have changed there and back, which leaves rounding.
    const bool moved = correction.distance() > pair.deviation / 1000
        || std::abs(correction.turnDegrees) > 1e-6 || std::abs(correction.scale - 1) > 1e-6;
    return moved ? QString() : tr("The image was not moved since this row was started.");
}

QString PairToConfirm::tooClose() const
{
    const double limit = std::hypot(design.width(), design.height()) / 10;
    for (const ConfirmedPair &other : others) {
        const double distance = QLineF(pair.point, other.point).length();
        if (!(distance >= limit))
            return tr("Pair %1 is only %2 away, less than a tenth of the design's extent (%3).")
                .arg(other.row)
                .arg(lengthText(distance), lengthText(limit));
    }
    return QString();
}

QString PairToConfirm::nearlyOnLine() const
{
    QVector<ConfirmedPair> all = others;
    all.append(pair);
    if (all.size() != 3)
        return QString();
    double atPair = 0;
    for (ConfirmedPair &each : all) {
        each.inForce = true; // all three will make the map
        atPair = std::max(atPair, pickError(each));
    }
    const AlignError error(all);
    double atCorner = 0;
    for (const QPointF &corner :
         { design.topLeft(), design.topRight(), design.bottomLeft(), design.bottomRight() })
        atCorner = std::max(atCorner, error.at(corner));
    if (atCorner <= 5 * atPair)
        return QString();
    return tr("The three pairs lie nearly on a line: the predicted error is %1 at the design's "
              "farthest corner, %2 at a pair.")
        .arg(lengthText(atCorner), lengthText(atPair));
}

/// Micrometres by which 95 % of the corrections stay within, at the place where the map put the
/// image. All that two pairs do not see of a wafer grows with the distance from their line.
double PairToConfirm::leftOpen() const
{
    const AlignError error(others, assumption);
    const QPointF from = pair.point - correction.offset;
    double unseen = 0;
    if (error.pairsInForce() == 2) {
        const QLineF line(others.first().point, others.last().point);
        const double along = line.length();
        const QPointF side = from - line.p1();
        unseen = std::abs(line.dx() * side.y() - line.dy() * side.x()) / along
            * assumption.shearPercent / 100;
    }
    return std::hypot(std::hypot(error.at(from), pickError(pair)), unseen);
}

/// Turn and scale that 95 % of the corrections stay within. Two pairs know both, up to the errors
/// of their picks over their distance; a sheared wafer turns and stretches each direction
/// differently.
WaferAssumption PairToConfirm::poseLeftOpen() const
{
    if (AlignError(others).pairsInForce() < 2)
        return assumption;
    const ConfirmedPair &a = others.first(), &b = others.last();
    const double picks = share95 * std::hypot(a.deviation, b.deviation);
    const double open =
        std::hypot(picks / QLineF(a.point, b.point).length(), assumption.shearPercent / 100);
    WaferAssumption result = assumption;
    result.turnDegrees = std::min(result.turnDegrees, open * 180 / M_PI);
    result.scalePercent = std::min(result.scalePercent, open * 100);
    return result;
}

QString PairToConfirm::tooFar() const
{
    if (!placeKnown || AlignError(others).pairsInForce() == 0)
        return QString();
    const double open = leftOpen();
    if (correction.distance() > surprise * open)
        return tr("The image was moved by %1; the earlier pairs leave about %2 open here.")
            .arg(lengthText(correction.distance()), lengthText(open));
    const WaferAssumption pose = poseLeftOpen();
    const bool turned = std::abs(correction.turnDegrees) > surprise * pose.turnDegrees;
    const bool scaled = std::abs(correction.scale - 1) > surprise * pose.scalePercent / 100;
    if (!turned && !scaled)
        return QString();
    return tr("The image was turned by %1\u00b0 and scaled by %2; the earlier pairs leave about "
              "%3\u00b0 and %4 % open.")
        .arg(correction.turnDegrees, 0, 'f', 1)
        .arg(correction.scale, 0, 'f', 3)
        .arg(pose.turnDegrees, 0, 'g', 2)
        .arg(pose.scalePercent, 0, 'g', 2);
}

QStringList PairToConfirm::questions() const
{
    QStringList result{ stillMoving(), notMoved(), tooClose(), nearlyOnLine(), tooFar() };
    result.removeAll(QString());
    return result;
}

} // namespace hosting
