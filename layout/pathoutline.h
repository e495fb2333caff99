#ifndef LAYOUT_PATHOUTLINE_H
#define LAYOUT_PATHOUTLINE_H

#include <QPolygonF>

namespace layout {

/// The outline of a wire of `width` along `points`. `pathType` 0 ends flush with the end points,
/// 1 with half circles, 2 with half a width more. Sharp bends are cut off, all others mitred.
QPolygonF pathOutline(const QPolygonF &points, double width, int pathType);

/// The line with its ends moved outwards, or inwards where a length is negative, along its first
/// and last segment. A line that is one point stays.
QPolygonF lengthened(const QPolygonF &points, double atFirst, double atLast);

} // namespace layout

#endif
