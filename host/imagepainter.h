#ifndef HOST_IMAGEPAINTER_H
#define HOST_IMAGEPAINTER_H

class QImage;
class QPainter;

namespace viewer {

struct Placement;
class ViewTransform;

/// Draws `image` at `placement`, as opaque as `opacity` (0 to 1) says. The time it takes depends on
/// the part on the screen, not on the size of the image. Placements that cannot be drawn are
/// skipped.
void paintImage(QPainter *painter, const QImage &image, const Placement &placement,
                const ViewTransform &view, double opacity);

} // namespace viewer

#endif
