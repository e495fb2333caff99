#include "hosting/imagepainter.h"

#include <QPainter>
#include <QTransform>

#include <cmath>

namespace hosting {

// The image pixels in the window with a margin; empty when there are none.
static QRect visiblePixels(const QImage &image, const QTransform &toWindow, const QRect &window,
                           int margin)
{
    bool invertible = false;
    const QTransform toImage = toWindow.inverted(&invertible);
    if (!invertible)
        return QRect();
    const QRectF part = toImage.mapRect(QRectF(window)).intersected(QRectF(image.rect()));
    return part.isEmpty()
        ? QRect()
        : part.toAlignedRect().adjusted(-margin, -margin, margin, margin).intersected(image.rect());
}

// Interpolating reads four image pixels for each on the screen. That pays while the image is
// magnified moderately; far in, the user wants to see the microscope's pixels as they are.
static bool wantsInterpolation(double screenPerImagePixel)
{
    return screenPerImagePixel > 0.5 && screenPerImagePixel < 6;
}

// Along the slanted lines of a turned image each pixel comes from another place in memory. Seen
// from afar that takes longer than all the rest, so that one of `step` x `step` pixels is taken
// first, row by row: the one in their middle, which is less than a screen pixel away.
static QImage thinnedOut(const QImage &image, const QRect &part, int step)
{
    QImage result(part.size() / step, QImage::Format_RGB32);
    for (int y = 0; y < result.height(); ++y) {
        const uchar *line = image.constScanLine(part.top() + y * step + step / 2);
        const auto *from = reinterpret_cast<const QRgb *>(line) + part.left() + step / 2;
        auto *to = reinterpret_cast<QRgb *>(result.scanLine(y));
        for (int x = 0; x < result.width(); ++x)
            to[x] = from[x * step];
    }
    return result;
}

static int thinningStep(const QImage &image, const QTransform &toWindow, double zoom)
{
    const int worthwhile = 4;
    const bool straight = toWindow.type() <= QTransform::TxScale;
    const int step =
        straight || image.format() != QImage::Format_RGB32 ? 1 : int(qMin(1 / zoom, 1e6));
    return step < worthwhile || step > image.width() ? 1 : step;
}

// Filling costs a tenth of all: what an opaque image covers anyway is left out.
static void clearAround(QImage *layer, const QImage &image, const QTransform &toLayer)
{
    const int rounding = 2;
    const bool covers =
        image.format() == QImage::Format_RGB32 && toLayer.type() <= QTransform::TxScale;
    const QRectF covered = covers ? toLayer.mapRect(QRectF(image.rect())) : QRectF();
    const QRectF seen = covered.intersected(QRectF(layer->rect()).adjusted(-9, -9, 9, 9));
    const QRegion around = QRegion(layer->rect())
        - seen.toAlignedRect().adjusted(rounding, rounding, -rounding, -rounding);
    QPainter painter(layer);
    painter.setCompositionMode(QPainter::CompositionMode_Source);
    for (const QRect &rect : around)
        painter.fillRect(rect, Qt::transparent);
}

void paintImage(QImage *layer, const QImage &image, const QTransform &toLayer, Quality quality)
{
    const double zoom = std::sqrt(std::abs(toLayer.determinant()));
    const int step = zoom > 0 ? thinningStep(image, toLayer, zoom) : 1;
    const QRect pixels = visiblePixels(image, toLayer, layer->rect(), qMax(2, step));
    if (pixels.width() < step || pixels.height() < step) {
        layer->fill(Qt::transparent);
        return;
    }
    clearAround(layer, image, toLayer);
    const QImage few = step > 1 ? thinnedOut(image, pixels, step) : image;
    const QRect fromFew = step > 1 ? few.rect() : pixels;
    QPainter painter(layer);
    painter.setRenderHint(QPainter::SmoothPixmapTransform,
                          quality == Quality::Smooth && wantsInterpolation(zoom));
    painter.setTransform(toLayer);
    painter.drawImage(QRectF(pixels.topLeft(), fromFew.size() * step), few, fromFew);
}

namespace {

/// `share` (0 to 256) of `top`, the rest of `bottom`.
QRgb mixed(QRgb top, QRgb bottom, uint share)
{
    const uint rest = 256 - share;
    const uint redBlue = ((top & 0xFF00FF) * share + (bottom & 0xFF00FF) * rest) >> 8 & 0xFF00FF;
    const uint green = ((top & 0x00FF00) * share + (bottom & 0x00FF00) * rest) >> 8 & 0x00FF00;
    return 0xFF000000 | redBlue | green;
}

/// A premultiplied pixel, as opaque as `share` says, over an opaque one.
QRgb over(QRgb pixel, QRgb below, uint share)
{
    const int alpha = qAlpha(pixel);
    if (alpha == 0)
        return below;
    return alpha == 255 ? mixed(pixel, below, share)
                        : mixed(qUnpremultiply(pixel), below, uint(alpha) * share / 255);
}

QRgb product(QRgb one, QRgb other, bool onDark)
{
    const auto channel = [onDark](int a, int b) {
        return onDark ? 255 - (255 - a) * (255 - b) / 255 : a * b / 255;
    };
    return qRgb(channel(qRed(one), qRed(other)), channel(qGreen(one), qGreen(other)),
                channel(qBlue(one), qBlue(other)));
}

/// One way of putting a row together; the ways differ in the order of image and design.
struct Blender {
    QRgb ground;
    uint imageShare, designShare; ///< of 256
    bool onDark;

    QRgb design(QRgb canvas, QRgb below) const
    {
        return (canvas | 0xFF000000) == ground ? below : mixed(canvas, below, designShare);
    }
    QRgb behind(QRgb canvas, QRgb image) const
    {
        return design(canvas, over(image, ground, imageShare));
    }
    QRgb above(QRgb canvas, QRgb image) const
    {
        return over(image, design(canvas, ground), imageShare);
    }
    QRgb multiplied(QRgb canvas, QRgb image) const
    {
        const QRgb below = design(canvas, ground);
        if (qAlpha(image) == 0)
            return below;
        const QRgb opaque = qUnpremultiply(image);
        return mixed(product(opaque, below, onDark), below, uint(qAlpha(image)) * imageShare / 255);
    }
};

template <typename Row> void forEachRow(const QImage &canvas, QImage *layer, Row row)
{
    for (int y = 0; y < layer->height(); ++y)
        row(reinterpret_cast<const QRgb *>(canvas.constScanLine(y)),
            reinterpret_cast<QRgb *>(layer->scanLine(y)), layer->width());
}

template <typename Pixel> void forEachPixel(const QImage &canvas, QImage *layer, Pixel pixel)
{
    forEachRow(canvas, layer, [&pixel](const QRgb *below, QRgb *image, int width) {
        for (int x = 0; x < width; ++x)
            image[x] = pixel(below[x], image[x]);
    });
}

// What is on the screen most of the time, thirty times a second: the first loop has no branch, so
// that the compiler takes several pixels at once. The edges of a turned image are left to the
// second.
void putBehind(const QImage &canvas, QImage *layer, const Blender &blender)
{
    forEachRow(canvas, layer, [&blender](const QRgb *design, QRgb *image, int width) {
        const QRgb ground = blender.ground, opaque = 0xFF000000;
        QRgb all = opaque;
        for (int x = 0; x < width; ++x) {
            const QRgb canvasPixel = design[x] | opaque;
            image[x] = (canvasPixel == ground) & (image[x] != 0) ? image[x] : canvasPixel;
            all &= image[x];
        }
        for (int x = 0; (all & opaque) != opaque && x < width; ++x)
            if (image[x] < opaque)
                image[x] = blender.behind(ground, image[x]);
    });
}

} // namespace

void blend(const QImage &canvas, QImage *layer, const QColor &ground, const DrawingStyle &style)
{
    const Blender blender = { ground.rgb(), uint(qRound(256 * style.imageOpacity)),
                              uint(qRound(256 * style.designOpacity)), ground.lightness() < 128 };
    const auto behind = [&](QRgb c, QRgb i) { return blender.behind(c, i); };
    const auto above = [&](QRgb c, QRgb i) { return blender.above(c, i); };
    const auto multiplied = [&](QRgb c, QRgb i) { return blender.multiplied(c, i); };
    if (style.order == DrawingStyle::Behind && style.imageOpacity == 1 && style.designOpacity == 1)
        putBehind(canvas, layer, blender);
    else if (style.order == DrawingStyle::Behind)
        forEachPixel(canvas, layer, behind);
    else if (style.order == DrawingStyle::Above)
        forEachPixel(canvas, layer, above);
    else
        forEachPixel(canvas, layer, multiplied);
}

} // namespace hosting
