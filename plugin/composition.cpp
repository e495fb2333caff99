// The background image: the live frame, or an overlay that marks the microscope's field of view.

#include "panel/semcontrol.h"
#include "plugin/backgroundsem.h"
#include "sem/handover.h"
#include "sem/tescan.h"

namespace {
const QRgb transparentGrey = 0x00646464;
const QRgb boxGrey = 0x80646464;
const QRgb crossGround = 0x32646464;
const QRgb white = 0xFFFFFFFF;
const QRgb black = 0xFF000000;

QImage filled(int side, QRgb colour)
{
    QImage image(side, side, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

void setPixel(QImage *image, int x, int y, int half)
{
    // White and black change sides at the centre, so that the cross shows on any ground.
    if (image->valid(x, y))
        image->setPixel(x, y, (x < half) == (y < half) ? white : black);
}

QImage cross(int side)
{
    QImage image = filled(side, crossGround);
    const int half = side / 2;
    for (int along = 0; along < side; ++along)
        for (int across = half - 2; across <= half + 1; ++across) {
            setPixel(&image, across, along, half);
            setPixel(&image, along, across, half);
        }
    return image;
}
} // namespace

QImage backgroundSEM::getImage()
{
    refreshTimer.start(refreshMs);
    return displayMode == DisplayLive && sem ? sem->image : composedImage;
}

void backgroundSEM::triggerTimer()
{
    emit imageUpdate();
}

void backgroundSEM::newImageData()
{
    // The live image is not handed out from here, and holding it would make the link copy a frame.
    if (displayMode == DisplayLive)
        composedImage = QImage();
    emit imageUpdate();
}

void backgroundSEM::prepareImage()
{
    if (!isPlaced())
        composedImage = filled(lastImageSize, transparentGrey);
    else if (displayMode == DisplayLive)
        composedImage = sem ? sem->image : QImage();
    else if (displayMode == DisplayBox)
        composedImage = filled(lastImageSize, boxGrey);
    else if (displayMode == DisplayCross)
        composedImage = cross(lastImageSize);
    else if (displayMode == DisplayNone)
        composedImage = filled(lastImageSize, transparentGrey);
}

int backgroundSEM::selectedDisplayMode() const
{
    if (panel->displayBox->isChecked())
        return DisplayBox;
    if (panel->displayNone->isChecked())
        return DisplayNone;
    return panel->displayCross->isChecked() ? DisplayCross : DisplayLive;
}

void backgroundSEM::displayChanged()
{
    const Handover handling(&handler);
    if (!sem || !panel)
        return;
    const int mode = selectedDisplayMode();
    if (mode == displayMode)
        return;
    const QPointer<backgroundSEM> alive(this);
    if (displayMode == DisplayLive) {
        if (sem->scanning)
            sem->stopScan();
        if (!alive)
            return;
        enableLiveWidgets(false);
    }
    if (mode == DisplayLive) {
        if (!sem->scanning)
            sem->startScan();
        if (!alive)
            return;
        displayMode = mode;
        enableLiveWidgets(true);
    } else {
        displayMode = mode;
        prepareImage();
    }
    emit imageUpdate();
}

void backgroundSEM::enableLiveWidgets(bool enabled)
{
    if (!panel)
        return;
    QWidget *const widgets[] = { panel->detector, panel->dwellTime, panel->imageSize,
                                 panel->freezeButton };
    for (size_t i = 0; i < sizeof widgets / sizeof widgets[0]; ++i)
        widgets[i]->setEnabled(enabled);
}
