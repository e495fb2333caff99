// The pairs that the user makes with the panel's rows: what the host knows of them, and what it does
// beyond the panel while one is in work.
#include "hosting/background.h"
#include "hosting/pluginsession.h"

namespace hosting {

// The user's own wish to move the image by hand comes the same way, and is no pair.
void PluginSession::startMoving()
{
    if (!m_invoking && !m_pairInWork) {
        m_pairInWork = true;
        m_poseBefore = m_nominal.poseOf(m_background->placement());
        m_rowStarts = true;
        m_ownMove = m_strayed = m_givingUp = false;
        emit alignmentChanged();
    }
    m_disturbed = m_disturbed || m_pairInWork; // the stage may move without the image now
    emit manualAlignmentRequested();
}

// The row says what it is doing until this is over.
void PluginSession::stopMoving()
{
    m_confirmingRow = rowInWork();
    m_correction = pairToConfirm().correction;
    m_confirmedDeviation = pickDeviation();
    m_confirming = m_pairInWork;
    m_pairInWork = false;
    emit defaultModeRequested();
}

/// `centre` is what the plugin recorded, as the image's centre, for the row.
void PluginSession::finishPair(const QPointF &centre)
{
    m_confirming = false;
    bool rejected = false;
    if (m_confirmingRow > 0) {
        m_alignment.pairs.resize(qMax(m_confirmingRow, m_alignment.pairs.size()));
        m_alignment.pairs[m_confirmingRow - 1] = { centre, m_confirmedDeviation };
        rejected = m_alignment.pairs.size() > 1 && m_panel.saysAlignmentError();
        m_alignment.inForce = rejected ? 1 : m_alignment.pairs.size();
        m_alignment.restored = false;
    }
    const bool complete = m_panel.saysAlignmentComplete();
    m_disturbed = !complete;
    m_aligned = m_aligned || complete;
    if (complete) {
        m_stored.insert(m_design.name);
        m_memory.cleared.remove(m_design.name);
        m_memory.poses[m_design.name] = m_nominal.poseOf(m_background->placement());
        m_memory.pairs[m_design.name] = m_alignment.pairs;
    }
    m_mappedCentre = m_background->placement().centre(m_nominal.imageSize());
    if (m_confirmingRow > 0)
        emit told(reportOf(rejected));
    emit alignmentChanged();
}

QString PluginSession::reportOf(bool rejected) const
{
    const QString correction =
        m_strayed ? tr("the stage was moved meanwhile, so that the correction is not known")
                  : m_correction.text();
    if (!rejected)
        return tr("Pair %1: %2.").arg(m_confirmingRow).arg(correction);
    return tr("Pair %1 does not fit the others: %2.").arg(m_confirmingRow).arg(correction) + ' '
        + (m_stored.contains(m_design.name) ? tr("The stored alignment can be brought back.")
                                            : QString());
}

QVector<ConfirmedPair> PluginSession::confirmedPairs() const
{
    const double unit = m_design.micrometres();
    QVector<ConfirmedPair> result;
    for (int i = 0; i < m_alignment.pairs.size(); ++i) {
        const PickedPair &pair = m_alignment.pairs[i];
        if (pair.deviation > 0)
            result.append({ i + 1, pair.design * unit, pair.deviation * unit,
                            i < m_alignment.inForce });
    }
    return result;
}

PairToConfirm PluginSession::pairToConfirm() const
{
    const double unit = m_design.micrometres();
    const Placement &now = m_background->placement();
    const QPointF centre = now.centre(m_nominal.imageSize()) * unit;
    const int row = rowInWork();
    PairToConfirm result;
    result.pair = { row, centre, pickDeviation() * unit, true };
    for (const ConfirmedPair &other : confirmedPairs())
        if (other.row != row)
            result.others.append(other);
    result.correction =
        Correction::between(m_mappedCentre * unit, m_poseBefore, centre, m_nominal.poseOf(now));
    result.assumption = assumption();
    result.placeKnown = !m_strayed;
    result.stageMoves = isStageMoving();
    result.design = QRectF(m_design.extent.topLeft() * unit, m_design.extent.size() * unit);
    return result;
}

void PluginSession::notePick(double deviationPixels)
{
    m_pickedPlacement = m_background->placement();
    m_pickedPixels = deviationPixels;
}

double PluginSession::pickDeviation() const
{
    const bool isNoted = m_background->placement() == m_pickedPlacement;
    return m_nominal.pixelSize() * (isNoted ? m_pickedPixels : 1);
}

QPointF PluginSession::movedByHand() const
{
    return m_placed ? m_background->placement().centre(m_nominal.imageSize()) - m_mappedCentre
                    : QPointF();
}

void PluginSession::noteEdit()
{
    m_disturbed = true;
    if (m_aligned && !m_pairInWork && m_nominal.isKnown())
        m_memory.poses[m_design.name] = m_nominal.poseOf(m_background->placement());
}

int PluginSession::rowInWork() const
{
    return m_pairInWork ? m_panel.rowInWork() : 0;
}

// The image stays where it is while a row is in work, wherever the stage goes. The user who sends
// it to the view looks for the place there, though.
void PluginSession::followStageToView(const QPointF &centre)
{
    m_mappedCentre = centre;
    m_ownMove = true;
    m_stageStands.start();
    emit alignmentChanged();
    if (m_background->placement().isDrawable())
        m_background->takePlacement(m_background->placement().withCentre(
            m_restingCentre ? *m_restingCentre : centre, m_nominal.imageSize()));
}

bool PluginSession::bringToCentre(const QPointF &point)
{
    const Placement &now = m_background->placement();
    const int size = m_nominal.imageSize();
    QPointF offset = point - now.centre(size);
    if (m_alignment.inForce < 2) { // the map knows nothing of how the user turned the image
        const QPointF pixels = now.toTransform().inverted().map(point) - QPointF(size / 2, size / 2);
        offset = QPointF(pixels.x(), -pixels.y()) * m_nominal.pixelSize();
    }
    m_special = m_view;
    m_special.centre = m_mappedCentre + offset;
    m_special.zoom = m_view.size.width() / (m_nominal.pixelSize() * m_nominal.imageSize());
    m_special.size.setHeight(m_view.size.width());
    m_restingCentre = point;
    const bool pressed = m_special.isValid() && m_panel.press("stageToView");
    m_special = View();
    m_restingCentre.reset();
    return pressed;
}

// Nothing in the plugin's interface takes a started row back but clearing all of them. A stored
// alignment then comes back with a new plugin object.
bool PluginSession::giveUpPair()
{
    if (!m_pairInWork || !m_plugin)
        return false;
    if (m_aligned && m_stored.contains(m_design.name)) {
        m_pairInWork = false;
        m_outOfPlace = m_tellRestored = true;
        emit defaultModeRequested();
        showOrHide();
        if (!isConnected())
            emit told(tr("Row given up; the stored alignment comes back with the connection."));
        followPage();
    } else {
        m_givingUp = true;
        emit told(tr("The row is given up when the stage stands."));
        if (!isStageMoving())
            startAgain();
    }
    return true;
}

// The first request of a row comes with the press. A row that was recorded has sent the stage there.
void PluginSession::noteStageMove()
{
    if (m_rowStarts) {
        m_rowStarts = false;
        m_ownMove = m_alignment.pairs.size() >= rowInWork();
        if (!m_ownMove)
            return;
    }
    m_strayed = m_strayed || !m_ownMove;
    m_stageStands.start();
    emit alignmentChanged();
}

void PluginSession::noteStanding()
{
    m_ownMove = false;
    if (m_givingUp && m_pairInWork) // the row may have been confirmed meanwhile
        startAgain();
    m_givingUp = false;
    emit alignmentChanged();
}

void PluginSession::startAgain()
{
    const int lost = m_alignment.pairs.size();
    m_givingUp = m_pairInWork = false;
    emit defaultModeRequested();
    startAgainAt(m_mappedCentre, m_poseBefore);
    QString message = m_strayed ? tr("Row given up. The stage was moved meanwhile: where the image "
                                     "belongs is not known.")
                                : tr("Row given up; the image is back in its place.");
    if (lost > 0)
        message += ' ' + tr("What was confirmed is lost: start with row 1.");
    emit told(message);
}

// The plugin takes this for a first placement, which makes a map like that of the pair that was
// there: unturned, through the stage position at hand.
void PluginSession::startAgainAt(const QPointF &centre, const Pose &pose)
{
    m_special = m_view;
    m_special.centre = centre;
    m_clearing = m_awaitsFirst = true; // nothing that is stored counts as cleared
    invoke("alignClear");
    m_clearing = false;
    m_special = View();
    if (m_plugin)
        m_background->takePlacement(m_nominal.posed(m_background->placement(), pose));
}

} // namespace hosting
