#include "host/imagepainter.h"
#include "host/placement.h"
#include "host/viewtransform.h"

#include <QImage>
#include <QPainter>

#include <cmath>

namespace viewer {

// The image pixels on the screen with a margin for interpolation; empty when there are none.
static QRect visiblePixels(const QImage &image, const QTransform &toScreen, const QSize &screen)
{
    bool invertible = false;
    const QTransform toImage = toScreen.inverted(&invertible);
    if (!invertible)
        return QRect();
    const QRectF window = toImage.mapRect(QRectF(QPointF(), QSizeF(screen)));
    const QRectF part = window.intersected(QRectF(image.rect()));
    return part.isEmpty() ? QRect()
                          : part.toAlignedRect().adjusted(-2, -2, 2, 2).intersected(image.rect());
}

// Interpolating reads four image pixels for each on the screen. That pays while the image is
// magnified moderately; far in, the user wants to see the microscope's pixels as they are.
static bool wantsInterpolation(double screenPerImagePixel)
{
    return screenPerImagePixel > 0.5 && screenPerImagePixel < 6;
}

void paintImage(QPainter *painter, const QImage &image, const Placement &placement,
                const ViewTransform &view, double opacity)
{
    if (image.isNull() || !placement.isDrawable() || opacity <= 0)
        return;
    const QTransform toScreen = placement.toTransform() * view.toScreen();
    const QRect pixels = visiblePixels(image, toScreen, view.size());
    if (pixels.isEmpty())
        return;
    painter->save();
    painter->setOpacity(opacity);
    painter->setRenderHint(QPainter::SmoothPixmapTransform,
                           wantsInterpolation(std::sqrt(std::abs(toScreen.determinant()))));
    painter->setTransform(toScreen, true);
    painter->drawImage(QRectF(pixels), image, QRectF(pixels));
    painter->restore();
}

} // namespace viewer
