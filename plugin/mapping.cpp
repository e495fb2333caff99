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
} // namespace

void backgroundSEM::createStageMap(QPointF stage, QPointF design)
{
    const QMatrix map = onePairMap(makePair(design, stage), databaseUnits);
    if (isUsable(map))
        stageMap = map;
}

void backgroundSEM::createStageMap(QPointF stage1, QPointF design1, QPointF stage2, QPointF design2)
{
    QMatrix map;
    const bool accepted =
        twoPairMap(makePair(design1, stage1), makePair(design2, stage2), databaseUnits, &map);
    finishStageMap(accepted, map, stage1, design1);
}

void backgroundSEM::createStageMap()
{
    const QPolygonF &points = alignPoints;
    if (points.size() == 2) {
        createStageMap(points.at(1), points.at(0));
    } else if (points.size() == 4) {
        createStageMap(points.at(1), points.at(0), points.at(3), points.at(2));
    } else if (points.size() == 6) {
        AlignmentPair pairs[pairCount];
        for (int i = 0; i < pairCount; ++i)
            pairs[i] = makePair(points.at(2 * i), points.at(2 * i + 1));
        QMatrix map;
        const bool accepted = threePairMap(pairs, databaseUnits, &map);
        finishStageMap(accepted, map, pairs[0].stage, pairs[0].design);
    }
}

/// Puts an accepted map into force and stores the alignment; a rejected one leaves the map through
/// the first pair.
void backgroundSEM::finishStageMap(bool accepted, const QMatrix &map, const QPointF &firstStage,
                                   const QPointF &firstDesign)
{
    if (accepted) {
        stageMap = map;
        if (alignState == StateAligned)
            alignMap.insert(designName, alignPoints);
        showStatus(tr("alignment complete"));
    } else {
        createStageMap(firstStage, firstDesign);
        showStatus(tr("alignment error"));
    }
}

void backgroundSEM::showStatus(const QString &text)
{
    if (panel)
        panel->setStatus(text);
}
