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

const char editIcon[] = ":/icons/editicon.png";
const char okIcon[] = ":/icons/ok.png";

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
    showRow(pair, QLatin1String(editIcon), tr("align"));
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
    showRow(pair, QLatin1String(okIcon), tr("re-align"));
    for (int other = 1; other <= pairCount; ++other) {
        const bool missesPair2 = pair == 1 && other == 3 && alignPoints.size() <= 3;
        if (other != pair && !missesPair2)
            enableRow(other, true);
    }
    enableClear(true);
}

void backgroundSEM::showRow(int pair, const QString &icon, const QString &text)
{
    if (!panel)
        return;
    rowStatus(panel, pair)->setPixmap(icon.isEmpty() ? QPixmap() : QPixmap(icon));
    rowButton(panel, pair)->setText(text);
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
    for (int pair = 1; pair <= pairCount; ++pair) {
        showRow(pair, QString(), tr("start alignment"));
        enableRow(pair, pair == 1);
    }
    enableClear(false);
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
