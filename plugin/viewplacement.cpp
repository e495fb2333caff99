// Where the host draws the image, and where the stage goes to show what the host's view shows.

#include "alignment/imageplacement.h"
#include "alignment/stagemap.h"
#include "panel/semcontrol.h"
#include "plugin/backgroundsem.h"
#include "sem/tescan.h"

#include <qnumeric.h>

struct backgroundSEM::HostValues {
    double *values[7];

    ImagePlacement read() const
    {
        const ImagePlacement placement = { *values[0], *values[1], *values[2], *values[3],
                                           *values[4], *values[5], *values[6] };
        return placement;
    }

    // As a whole and only if all are finite: a host cannot draw anything else.
    bool write(const ImagePlacement &placement) const
    {
        if (!placement.isFinite())
            return false;
        const double corrected[] = { placement.x,       placement.y,      placement.scaleX,
                                     placement.scaleY,  placement.shearH, placement.shearV,
                                     placement.rotation };
        for (int i = 0; i < 7; ++i)
            *values[i] = corrected[i];
        return true;
    }
};

double backgroundSEM::nominalPixelSize() const
{
    return pixelSize(sem->viewField, databaseUnits, sem->scanSize);
}

QPointF backgroundSEM::designUnderStage() const
{
    return stageMap.map(QPointF(sem->stageX, sem->stageY));
}

bool backgroundSEM::canPlace() const
{
    if (!sem)
        return false;
    const QPointF design = designUnderStage();
    const double values[] = { sem->stageX,        sem->stageY, sem->stageValue4,
                              nominalPixelSize(), design.x(),  design.y() };
    for (size_t i = 0; i < sizeof values / sizeof values[0]; ++i)
        if (!qIsFinite(values[i]))
            return false;
    return true;
}

void backgroundSEM::takeOverMicroscope()
{
    lastImageSize = sem->scanSize;
    lastStageX = sem->stageX;
    lastStageY = sem->stageY;
    lastStageValue4 = sem->stageValue4;
    lastViewField = sem->viewField;
}

void backgroundSEM::getPos(double *x, double *y, double *scaleX, double *scaleY, double *shearH,
                           double *shearV, double *rotation)
{
    if (!canPlace())
        return;
    const HostValues host = { { x, y, scaleX, scaleY, shearH, shearV, rotation } };
    if (lastViewField == 0) {
        if (sem->viewField == 0)
            return;
        startPlacement(host);
    }
    if (alignState == StateViewNoted) {
        placeFirst(host);
        return;
    }
    const QPointer<backgroundSEM> alive(this);
    if (lastImageSize != sem->scanSize)
        followImageSize(host);
    if (alive)
        track(host, alignStep(host));
}

void backgroundSEM::startPlacement(const HostValues &host)
{
    ImagePlacement placement = host.read();
    placement.scaleX = placement.scaleY = nominalPixelSize();
    placement.shearH = placement.shearV = placement.rotation = 0;
    host.write(placement);
    lastViewField = sem->viewField;
}

/// Puts the image centre on the view centre that the host reported.
void backgroundSEM::placeFirst(const HostValues &host)
{
    const QPointF centre = alignPoints.isEmpty() ? QPointF() : alignPoints.first();
    ImagePlacement placement = host.read();
    placement.scaleX = placement.scaleY = nominalPixelSize();
    placement.moveCentreTo(centre, sem->scanSize);
    if (!host.write(placement))
        return;
    takeOverMicroscope();
    createStageMap(QPointF(lastStageX, lastStageY), centre);
    alignState = StatePlaced;
    prepareImage();
    const QPointer<backgroundSEM> alive(this);
    emit imageUpdate();
    if (alive)
        emit centerImage();
    if (alive)
        enableRow(1, true);
}

/// Keeps the image's extent in the design when its number of pixels changes.
void backgroundSEM::followImageSize(const HostValues &host)
{
    ImagePlacement placement = host.read();
    const double ratio = double(lastImageSize) / sem->scanSize;
    placement.scaleX *= ratio;
    placement.scaleY *= ratio;
    host.write(placement);
    lastImageSize = sem->scanSize;
    prepareImage();
    if (displayMode != DisplayLive)
        emit imageUpdate();
}

/// Carries out what the alignment state asks of this position request; returns whether the image
/// stays where the user put it.
bool backgroundSEM::alignStep(const HostValues &host)
{
    ImagePlacement placement = host.read();
    if (alignState >= StatePositioning1 && alignState <= StatePositioning3)
        return true;
    if (alignState >= StateSeeking1 && alignState <= StateSeeking3) {
        const int pair = alignState - StateSeeking1 + 1;
        placement.moveCentreTo(alignPoints.at(2 * pair - 2), lastImageSize);
        host.write(placement);
        alignState -= StateSeeking1 - StatePositioning1;
        return true;
    }
    if (alignState >= StateConfirming1 && alignState <= StateConfirming3)
        recordPair(alignState - StateConfirming1 + 1, placement.centre(lastImageSize));
    return false;
}

void backgroundSEM::recordPair(int pair, const QPointF &design)
{
    alignState = StateAligned;
    while (alignPoints.size() < 2 * pair)
        alignPoints.append(QPointF());
    alignPoints[2 * pair - 2] = design;
    alignPoints[2 * pair - 1] = QPointF(sem->stageX, sem->stageY);
    createStageMap();
    showVerdict(pair);
}

/// Follows zoom and stage moves. A kept image zooms about its own centre and ignores the stage.
void backgroundSEM::track(const HostValues &host, bool keepPlacement)
{
    ImagePlacement placement = host.read();
    const QPointF underStage = designUnderStage();
    if (lastViewField != sem->viewField) {
        const QPointF centre = placement.centre(lastImageSize);
        placement.zoom(lastViewField, sem->viewField, nominalPixelSize());
        placement.moveCentreTo(keepPlacement ? centre : underStage, lastImageSize);
    }
    const bool moved = sem->stageX != lastStageX || sem->stageY != lastStageY;
    if (moved && !keepPlacement)
        placement.moveCentreTo(underStage, lastImageSize);
    host.write(placement);
    takeOverMicroscope();
}

void backgroundSEM::getView(double zoom, int centreX, int centreY, int width, int height)
{
    const QPointF centre(centreX, centreY);
    const QPointer<backgroundSEM> alive(this);
    if (alignState == StateAwaitView || alignState == StateViewNoted) {
        alignPoints = QPolygonF(QVector<QPointF>(1, centre));
        alignState = StateViewNoted;
        emit posUpdate();
    }
    if (!alive || !stageToViewPending)
        return;
    stageToViewPending = false;
    if (isPlaced() && lastViewField != 0 && !stageMap.isIdentity())
        moveStageToView(centre, qMax(width, height) / zoom * databaseUnits * 1000);
    else
        showStatus(tr("the image has not been placed yet"));
}

/// Shows `centre` (design) under the beam, with the view field in mm; nothing if either is not
/// finite.
void backgroundSEM::moveStageToView(const QPointF &centre, double viewFieldMm)
{
    const float viewField = float(viewFieldMm);
    const QPointF stage = stageMap.inverted().map(centre);
    if (!isUsable(stageMap) || !qIsFinite(viewField) || !canMoveStage(stage))
        return;
    moveStage(stage);
    sem->SetViewField(viewField);
}

void backgroundSEM::updatePos()
{
    const QPointer<backgroundSEM> alive(this);
    emit posUpdate();
    if (alive && displayMode != DisplayLive && isPlaced())
        emit imageUpdate();
}
