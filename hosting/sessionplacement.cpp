// What is told to the plugin about design and view, and where it puts the image.
#include "hosting/background.h"
#include "hosting/pluginsession.h"
#include "plugin/backgroundplugin.h"

#include <cmath>
#include <limits>

namespace hosting {

static const int shortestName = 3;

void PluginSession::setDesign(const Design &design)
{
    const bool same = design == m_design;
    m_design = design;
    if (same)
        return;
    showOrHide();
    QMetaObject::invokeMethod(
        this, [this] { followPage(); }, Qt::QueuedConnection);
}

// A request that met a view which is none (it was turned, say) is answered by a new object.
void PluginSession::setView(const View &view)
{
    const bool opens = view.isValid() && !m_view.isValid();
    m_view = view;
    if (opens)
        QMetaObject::invokeMethod(
            this, [this] { followPage(); }, Qt::QueuedConnection);
}

bool PluginSession::servesAnotherDesign() const
{
    return m_asked && m_design.isOpen() && m_served != m_design;
}

// The panel turns to its operating page when the microscope is connected. Only then is a plugin
// object replaced, since it writes what it holds only while it is connected.
void PluginSession::followPage()
{
    if (m_panel.showsOperatingPage() != m_connected) {
        m_connected = !m_connected;
        m_lostSince = m_connected ? QDateTime() : QDateTime::currentDateTime();
        emit alignmentChanged();
    }
    if (m_plugin && m_panel.showsOperatingPage() && (m_outOfPlace || servesAnotherDesign()))
        renew();
}

void PluginSession::answerView()
{
    if (!m_clearing)
        emit viewRequested();
    if (!m_plugin)
        return;
    const bool answerable = m_design.isOpen() && m_view.isValid();
    if (!answerable) {
        // The request must not meet the view of another moment: the next design gets a new object.
        m_asked = true;
        m_served = Design();
        showOrHide();
    } else if (m_panel.showsConnectionPage() && !m_clearing) {
        answerWhileConnecting();
    } else {
        const bool inRow = m_pairInWork && m_placed;
        reportView();
        if (inRow && m_plugin)
            followStageToView(m_reportedCentre);
    }
}

// View and name go before the first position: with a stored alignment that position is where the
// stage shows the design. After the first placement the name would take hold with the next stage
// move only.
void PluginSession::answerWhileConnecting()
{
    if (m_pairInWork) {
        m_pairInWork = false;
        emit defaultModeRequested();
        if (!m_plugin)
            return;
    }
    const bool another = m_placed && servesAnotherDesign();
    m_asked = true;
    m_served = m_design;
    m_interface->setDatabaseUnits(m_design.databaseUnitMetres);
    m_holdingPositions = true;
    m_aligned = restoreAlignment();
    m_holdingPositions = false;
    m_awaitsFirst = !m_aligned;
    const auto pairs = m_memory.pairs.value(m_design.name);
    m_alignment = m_aligned ? Alignment{ pairs, qMax(2, pairs.size()), true } : Alignment();
    emit alignmentChanged();
    m_outOfPlace = m_outOfPlace || another || (m_aligned && m_placed && m_disturbed);
    showOrHide();
    takePosition();
}

/// Reports the view and the name; true if an alignment came back with it. One that the user cleared
/// is cleared again.
bool PluginSession::restoreAlignment()
{
    reportView();
    m_positionAsked = false;
    reportName();
    if (!m_positionAsked)
        return false;
    m_stored.insert(m_design.name);
    // An alignment whose scale does not fit the database unit leaves a map that nobody made.
    if (!m_memory.cleared.contains(m_design.name) && m_panel.saysAlignmentComplete())
        return true;
    m_clearing = true;
    invoke("alignClear");
    m_clearing = false;
    return false;
}

// A plugin separates names and numbers with semicolons when it stores an alignment, and takes short
// names for none.
void PluginSession::reportName()
{
    if (m_plugin && m_design.isOpen())
        m_interface->getDesignName(
            QString(m_design.name).replace(';', ':').leftJustified(shortestName, '_'));
}

static double wholeUnits(double coordinate)
{
    const double limit = std::numeric_limits<int>::max();
    return qRound(qBound(-limit, coordinate, limit));
}

void PluginSession::reportView()
{
    const View &view = m_special.isValid() ? m_special : m_view;
    m_reportedCentre = QPointF(wholeUnits(view.centre.x()), wholeUnits(view.centre.y()));
    m_interface->getView(view.zoom, int(m_reportedCentre.x()), int(m_reportedCentre.y()),
                         view.size.width(), view.size.height());
}

bool PluginSession::bringBackAlignment()
{
    if (m_pairInWork || !m_stored.contains(m_design.name))
        return false;
    m_memory.cleared.remove(m_design.name);
    m_memory.writeCleared();
    m_outOfPlace = true;
    followPage();
    return true;
}

void PluginSession::takePosition()
{
    m_positionAsked = true;
    if (!m_plugin || m_takingPosition || m_holdingPositions)
        return; // the call under way answers this one as well
    m_takingPosition = true;
    const Placement before = m_background->placement();
    Placement p = before;
    m_interface->getPos(&p.x, &p.y, &p.scaleX, &p.scaleY, &p.shearH, &p.shearV, &p.rotationDegrees);
    m_takingPosition = false;
    if (!m_plugin)
        return;
    // With the same scale: another view field or frame size makes a plugin ask, too.
    if (m_pairInWork && m_panel.rowInWork() && p.scaleX == before.scaleX)
        noteStageMove();
    if (p.isDrawable())
        settle(before, &p);
    m_background->takePlacement(p);
    if (m_confirming)
        finishPair(before.centre(m_nominal.imageSize()));
    showOrHide();
    if (m_imageTimer.isActive())
        fetchImage(); // the new values may be for an image of another size
    if (m_centreAfterPosition && !m_special.isValid())
        centre();
}

/// Completes what the plugin made of `before`: it knows places, and not how the user turned the
/// image; and a new object has no frame size yet when it restores an alignment, so that the image
/// is too small by the number of pixels.
void PluginSession::settle(const Placement &before, Placement *placement)
{
    const int imageSize = m_interface->getImage().width();
    const bool restored = !m_placed && m_aligned;
    m_placed = true;
    if (restored) {
        m_waitsForMove = placement->x == before.x && placement->y == before.y;
        *placement = placement->scaled(placement->centre(imageSize), imageSize);
        m_nominal.start(placement->scaleX, imageSize);
        *placement = m_nominal.posed(*placement, m_memory.poses.value(m_design.name));
        const QPolygonF outline =
            placement->toTransform().map(QPolygonF(QRectF(0, 0, imageSize, imageSize)));
        const QRectF seen = m_view.toScreen().inverted().mapRect(QRectF(QPointF(), m_view.size));
        m_centreAfterPosition = !m_waitsForMove && !outline.boundingRect().intersects(seen);
        m_mappedCentre = placement->centre(imageSize);
        if (m_tellRestored)
            emit told(tr("Row given up; the stored alignment is back, with a new connection: the "
                         "frame begins anew."));
        m_tellRestored = false;
        return;
    }
    if (m_centreAfterPosition) {
        m_nominal.start(placement->scaleX, imageSize);
        m_mappedCentre = placement->centre(imageSize);
        noteFirstPlacement();
        return;
    }
    const QPointF centre = placement->centre(imageSize);
    const QPointF moved = centre - before.centre(m_nominal.imageSize());
    if (std::hypot(moved.x(), moved.y()) > placement->scaleX / 1000) {
        m_mappedCentre = centre;
        if (!m_pairInWork)
            m_stageStands.start();
        m_disturbed = m_disturbed && m_pairInWork;
        m_waitsForMove = m_waitsForMove && m_pairInWork;
    }
    m_nominal.follow(before, *placement, imageSize);
}

// One that nobody connected for comes from "clear alignment".
void PluginSession::noteFirstPlacement()
{
    if (!m_awaitsFirst && m_stored.contains(m_design.name)) {
        m_memory.cleared.insert(m_design.name);
        m_memory.writeCleared();
    }
    m_awaitsFirst = m_aligned = m_disturbed = m_waitsForMove = m_pairInWork = false;
    m_alignment = Alignment();
    emit alignmentChanged();
}

// The first placement asks for this before it has handed back the values.
void PluginSession::centre()
{
    m_centreAfterPosition = m_takingPosition;
    if (!m_takingPosition)
        emit centreRequested();
}

void PluginSession::showOrHide()
{
    m_background->setVisible(m_design.isOpen() && m_served == m_design && !m_waitsForMove
                             && !m_outOfPlace);
    if (m_asked && !m_design.isOpen())
        setNotice(tr("No design is open: the image gets its place when one is."));
    else if (m_waitsForMove)
        setNotice(tr("The stored alignment takes hold with the next stage move."));
    else
        setNotice(QString());
}

} // namespace hosting
