// The user's side of the alignment: the panel's three rows, clearing, and the two buttons that
// bring stage and view together.

#include "panel/semcontrol.h"
#include "plugin/backgroundsem.h"
#include "sem/handover.h"
#include "sem/tescan.h"

#include <qnumeric.h>

namespace {
const int confirmingOffset = 20;
const int minimumNameLength = 3;
// Fewer than two pairs are no alignment worth coming back to.
const int minimumStoredPoints = 4;

QPushButton *rowButton(semControl *panel, int pair)
{
    QPushButton *const buttons[] = { panel->align1, panel->align2, panel->align3 };
    return buttons[pair - 1];
}

QLabel *rowStatus(semControl *panel, int pair)
{
    QLabel *const labels[] = { panel->align1status, panel->align2status, panel->align3status };
    return labels[pair - 1];
}
} // namespace

void backgroundSEM::align1()
{
    alignRow(1);
}

void backgroundSEM::align2()
{
    alignRow(2);
}

void backgroundSEM::align3()
{
    alignRow(3);
}

/// A click on a row whose pair is being positioned confirms it; in any other state it starts the
/// pair.
void backgroundSEM::alignRow(int pair)
{
    const Handover handling(&handler);
    if (!sem || !panel)
        return;
    const QPointer<backgroundSEM> alive(this);
    if (alignState == StatePositioning1 + pair - 1)
        confirmRow(pair);
    else
        startRow(pair);
    if (alive)
        emit posUpdate();
}

void backgroundSEM::startRow(int pair)
{
    const QPointer<backgroundSEM> alive(this);
    const bool recorded = alignPoints.size() >= 2 * pair;
    if (recorded)
        moveStage(alignPoints.at(2 * pair - 1));
    alignState = (recorded ? StateSeeking1 : StatePositioning1) + pair - 1;
    emit requestAlignManuel();
    if (!alive)
        return;
    showRow(pair, RowInWork);
    for (int other = 1; other <= pairCount; ++other)
        if (other != pair)
            enableRow(other, false);
    enableClear(false);
}

void backgroundSEM::confirmRow(int pair)
{
    const QPointer<backgroundSEM> alive(this);
    alignState += confirmingOffset;
    emit requestDefaultMode();
    if (!alive)
        return;
    showRow(pair, RowRecorded);
    for (int other = 1; other <= pairCount; ++other) {
        const bool missesPair2 = pair == 1 && other == 3 && alignPoints.size() <= 3;
        if (other != pair && !missesPair2)
            enableRow(other, true);
    }
    enableClear(true);
}

/// A rejected pair loses its tick. The next map that is accepted holds all pairs and gives back all
/// ticks.
void backgroundSEM::showVerdict(int pair)
{
    if (!mapFlaw.isEmpty())
        unticked.insert(pair);
    const QSet<int> rows = unticked;
    for (int row = 1; row <= pairCount; ++row)
        if (rows.contains(row))
            showRow(row, mapFlaw.isEmpty() ? RowRecorded : RowRejected);
}

void backgroundSEM::showRow(int pair, RowLook look)
{
    const struct {
        const char *icon; // null: none
        QString text;
    } looks[] = { { 0, tr("start alignment") },
                  { ":/icons/editicon.png", tr("align") },
                  { ":/icons/ok.png", tr("re-align") },
                  { 0, tr("re-align") } };
    if (look != RowRejected)
        unticked.remove(pair);
    if (!panel)
        return;
    const char *const icon = looks[look].icon;
    rowStatus(panel, pair)->setPixmap(icon ? QPixmap(QLatin1String(icon)) : QPixmap());
    rowButton(panel, pair)->setText(looks[look].text);
    explainRow(pair, look);
}

void backgroundSEM::explainRow(int pair, RowLook look)
{
    const QString texts[] = {
        tr("Starts pair %1. Then move the image until it lies on the design."),
        tr("Press once the image lies on the design: its centre and the stage position become "
           "pair %1."),
        tr("Pair %1 is recorded. Press to go there and align it anew."),
    };
    if (!panel)
        return;
    const QString toolTip = look == RowRejected ? mapFlaw : texts[look].arg(pair);
    rowButton(panel, pair)->setToolTip(toolTip);
    rowStatus(panel, pair)->setToolTip(toolTip);
}

/// The rows claim no pairs; row 1 is open if it was.
void backgroundSEM::resetRows()
{
    for (int pair = 1; pair <= pairCount; ++pair) {
        showRow(pair, RowIdle);
        if (pair > 1)
            enableRow(pair, false);
    }
    enableClear(false);
}

void backgroundSEM::enableRow(int pair, bool enabled)
{
    if (panel)
        rowButton(panel, pair)->setEnabled(enabled);
}

void backgroundSEM::enableClear(bool enabled)
{
    if (panel)
        panel->alignClear->setEnabled(enabled);
}

void backgroundSEM::alignClear()
{
    const Handover handling(&handler);
    if (!sem)
        return;
    resetRows();
    enableRow(1, true);
    alignState = StateAwaitView;
    emit requestView();
}

void backgroundSEM::getDesignName(QString name)
{
    designName = name;
    if (name.size() < minimumNameLength)
        return;
    const QPolygonF stored = alignMap.value(name);
    if (stored.size() < minimumStoredPoints)
        return;
    alignPoints = stored;
    createStageMap();
    alignState = StateAligned;
    unticked.clear(); // they were of other pairs
    for (int pair = 1; pair <= pairCount && 2 * pair <= stored.size(); ++pair)
        explainRow(pair, mapFlaw.isEmpty() ? RowRecorded : RowRejected);
    const QPointer<backgroundSEM> alive(this);
    emit posUpdate();
    if (!alive)
        return;
    for (int pair = 1; pair <= pairCount; ++pair)
        enableRow(pair, true);
    enableClear(true);
}

bool backgroundSEM::canMoveStage(const QPointF &stage) const
{
    if (!sem)
        return false;
    const double values[] = { stage.x(), stage.y(), sem->stageValue3, lastStageValue4,
                              sem->stageValue5 };
    for (size_t i = 0; i < sizeof values / sizeof values[0]; ++i)
        if (!qIsFinite(values[i]))
            return false;
    return true;
}

void backgroundSEM::moveStage(QPointF stage)
{
    if (canMoveStage(stage))
        sem->StgMoveTo(stage.x(), stage.y(), sem->stageValue3, lastStageValue4, sem->stageValue5);
}

void backgroundSEM::stageToView()
{
    const Handover handling(&handler);
    if (!sem)
        return;
    stageToViewPending = true;
    emit requestView();
}

void backgroundSEM::viewToStage()
{
    const Handover handling(&handler);
    emit centerImage();
}
