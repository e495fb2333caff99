#ifndef HOST_POLYGONCLIP_H
#define HOST_POLYGONCLIP_H

#include <QPolygonF>

namespace viewer {

/// The part of `polygon` inside `window`. Deep in a zoom the corners lie millions of pixels
/// outside, further than the raster engine counts.
QPolygonF clipPolygon(const QPolygonF &polygon, const QRectF &window);

/// True when all edges are horizontal or vertical.
bool isManhattan(const QPolygon &polygon);

/// About how wide the polygon is across, in its own units: a wire's width, a square's half side.
double meanWidth(const QPolygon &polygon);

} // namespace viewer

#endif
