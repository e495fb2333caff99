#include "alignment/stagemap.h"

#include <QLineF>
#include <QTransform>
#include <qnumeric.h>

#include <cmath>

namespace {
double length(const QPointF &vector)
{
    return std::sqrt(vector.x() * vector.x() + vector.y() * vector.y());
}

// Written so that a scale that is not a number fails, too.
bool scaleFits(double measured, double nominal)
{
    return nominal <= 1.2 * measured && 0.8 * measured <= nominal;
}

PairFit fit(PairFit::Flaw flaw, double scaleX = 1, double scaleY = 1)
{
    const PairFit result = { flaw, scaleX, scaleY };
    return result;
}

/// Takes a candidate whose scales, in database units per mm, fit; `degenerate` is what is wrong
/// with one that has no inverse.
PairFit judge(const QMatrix &candidate, double scaleX, double scaleY, double nominal,
              PairFit::Flaw degenerate, QMatrix *map)
{
    if (!scaleFits(scaleX, nominal) || !scaleFits(scaleY, nominal))
        return fit(PairFit::WrongScale, scaleX / nominal, scaleY / nominal);
    if (!isUsable(candidate))
        return fit(degenerate);
    *map = candidate;
    return fit(PairFit::NoFlaw);
}

/// Points as columns in homogeneous form.
QTransform columns(const QPointF &a, const QPointF &b, const QPointF &c)
{
    return QTransform(a.x(), b.x(), c.x(), a.y(), b.y(), c.y(), 1, 1, 1);
}
} // namespace

double nominalStageScale(double databaseUnits)
{
    return 0.001 / databaseUnits;
}

bool isUsable(const QMatrix &map)
{
    const double terms[] = { map.m11(), map.m12(), map.m21(),        map.m22(),
                             map.dx(),  map.dy(),  map.determinant() };
    for (size_t i = 0; i < sizeof terms / sizeof terms[0]; ++i)
        if (!qIsFinite(terms[i]))
            return false;
    // Rounding leaves a map that squeezes everything into a line a determinant that is not quite
    // zero.
    const double products = qAbs(map.m11() * map.m22()) + qAbs(map.m12() * map.m21());
    return qAbs(map.determinant()) > 1e-9 * products;
}

QMatrix onePairMap(const AlignmentPair &pair, double databaseUnits)
{
    const double scale = -nominalStageScale(databaseUnits);
    QMatrix map;
    map.translate(pair.design.x(), pair.design.y());
    map.scale(scale, scale);
    map.translate(-pair.stage.x(), -pair.stage.y());
    return map;
}

PairFit twoPairMap(const AlignmentPair &first, const AlignmentPair &second, double databaseUnits,
                   QMatrix *map)
{
    const QPointF stageSide = second.stage - first.stage;
    const QPointF designSide = second.design - first.design;
    if (stageSide.isNull() || designSide.isNull())
        return fit(PairFit::OnePlace);
    const double scale = length(designSide) / length(stageSide);
    QMatrix candidate;
    candidate.translate(first.design.x(), first.design.y());
    candidate.scale(-scale, -scale);
    // The line that runs back makes good for the negative scale: no mirroring remains.
    candidate.rotate(QLineF(stageSide, QPointF()).angle() - QLineF(QPointF(), designSide).angle());
    candidate.translate(-first.stage.x(), -first.stage.y());
    return judge(candidate, scale, scale, nominalStageScale(databaseUnits), PairFit::OnePlace, map);
}

PairFit threePairMap(const AlignmentPair pairs[3], double databaseUnits, QMatrix *map)
{
    bool invertible = false;
    const QTransform stage =
        columns(pairs[0].stage, pairs[1].stage, pairs[2].stage).inverted(&invertible);
    if (!invertible)
        return fit(PairFit::OneLine);
    const QTransform design = columns(pairs[0].design, pairs[1].design, pairs[2].design);
    const QMatrix candidate = (design * stage).transposed().toAffine();
    return judge(candidate, -candidate.m11(), -candidate.m22(), nominalStageScale(databaseUnits),
                 PairFit::OneLine, map);
}
