// The map from stage to design, computed from the alignment pairs at hand and stored with the
// design.

#include "alignment/stagemap.h"
#include "panel/semcontrol.h"
#include "plugin/backgroundsem.h"

namespace {
AlignmentPair makePair(const QPointF &design, const QPointF &stage)
{
    const AlignmentPair pair = { design, stage };
    return pair;
}

QString number(double value)
{
    return QString::number(value, 'f', 2);
}
} // namespace

/// What is wrong with pairs that give no map, and what holds instead, for the user.
QString backgroundSEM::explain(const PairFit &fit, int pairs)
{
    QString why;
    if (fit.flaw == PairFit::OnePlace)
        why = tr("Pairs 1 and 2 lie at the same place.");
    else if (fit.flaw == PairFit::OneLine)
        why = tr("The three pairs lie on one line.");
    else if (pairs == 2)
        why = tr("From pair 1 to pair 2 the design is %1 times as long as the stage's way.")
                  .arg(number(fit.scaleX));
    else
        why = tr("By the three pairs the design is %1 times as wide and %2 times as high as the "
                 "stage's way.")
                  .arg(number(fit.scaleX), number(fit.scaleY));
    if (fit.flaw == PairFit::WrongScale)
        why += QLatin1Char('\n') + tr("From 0.83 to 1.25 times is accepted.");
    if (fit.flaw == PairFit::WrongScale && pairs == pairCount)
        why += QLatin1Char('\n') + tr("Less also means turned, and less than 0 mirrored.");
    return tr("The pairs do not fit each other.") + QLatin1Char('\n') + why + QLatin1Char('\n')
        + tr("The image follows pair 1 alone, as if the wafer lay straight and had its nominal "
             "size.");
}

void backgroundSEM::createStageMap(QPointF stage, QPointF design)
{
    const QMatrix map = onePairMap(makePair(design, stage), databaseUnits);
    if (isUsable(map))
        stageMap = map;
}

void backgroundSEM::createStageMap(QPointF stage1, QPointF design1, QPointF stage2, QPointF design2)
{
    QMatrix map;
    const PairFit fit =
        twoPairMap(makePair(design1, stage1), makePair(design2, stage2), databaseUnits, &map);
    finishStageMap(fit, map, stage1, design1);
}

void backgroundSEM::createStageMap()
{
    const QPolygonF &points = alignPoints;
    mapFlaw.clear();
    if (points.size() == 2) {
        createStageMap(points.at(1), points.at(0));
    } else if (points.size() == 4) {
        createStageMap(points.at(1), points.at(0), points.at(3), points.at(2));
    } else if (points.size() == 6) {
        AlignmentPair pairs[pairCount];
        for (int i = 0; i < pairCount; ++i)
            pairs[i] = makePair(points.at(2 * i), points.at(2 * i + 1));
        QMatrix map;
        const PairFit fit = threePairMap(pairs, databaseUnits, &map);
        finishStageMap(fit, map, pairs[0].stage, pairs[0].design);
    }
}

/// Puts an accepted map into force and stores the alignment; a rejected one leaves the map through
/// the first pair.
void backgroundSEM::finishStageMap(const PairFit &fit, const QMatrix &map,
                                   const QPointF &firstStage, const QPointF &firstDesign)
{
    if (fit.flaw == PairFit::NoFlaw) {
        stageMap = map;
        if (alignState == StateAligned)
            alignMap.insert(designName, alignPoints);
        showStatus(tr("alignment complete"));
    } else {
        createStageMap(firstStage, firstDesign);
        mapFlaw = explain(fit, alignPoints.size() / 2);
        showStatus(tr("alignment error"));
    }
}

void backgroundSEM::showStatus(const QString &text)
{
    if (panel)
        panel->setStatus(text);
}
