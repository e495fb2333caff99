#ifndef LAYOUT_PATHOUTLINE_H
#define LAYOUT_PATHOUTLINE_H

#include <QPolygonF>

namespace layout {

/// The outline of a wire of `width` along `points`. `pathType` 0 ends flush with the end points,
/// 1 with half circles, 2 with half a width more. Sharp bends are cut off, all others mitred.
QPolygonF pathOutline(const QPolygonF &points, double width, int pathType);

} // namespace layout

#endif
