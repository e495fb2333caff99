#ifndef HOSTING_IMAGEPAINTER_H
#define HOSTING_IMAGEPAINTER_H

#include <QColor>
#include <QImage>

class QTransform;

namespace hosting {

/// How image and design are put together.
struct DrawingStyle {
    enum Order {
        Behind, ///< where the canvas shows its own colour
        Above, ///< over everything
        Multiplied ///< both darken; on a dark canvas both lighten, or nothing would be seen
    };
    Order order = Behind;
    double imageOpacity = 1; ///< 0 to 1, like the next
    double designOpacity = 1;
};

enum class Quality {
    Fast, ///< while the view changes; up to half an image pixel off
    Smooth
};

/// Makes `layer` (premultiplied) show the image where it lies and be transparent elsewhere; the time
/// it takes depends on the size of the layer, not on that of the image. `toLayer` maps image pixels;
/// one that cannot be inverted shows nothing.
void paintImage(QImage *layer, const QImage &image, const QTransform &toLayer, Quality quality);

/// Puts `layer` (premultiplied, what was painted of the image) and `canvas` (what the host's canvas
/// painted, with the colour `ground` where it shows no design) together, into `layer`, which
/// becomes opaque. Both have 32 bits a pixel and the same size.
void blend(const QImage &canvas, QImage *layer, const QColor &ground, const DrawingStyle &style);

} // namespace hosting

#endif
