#ifndef LAYOUT_FLATTEN_H
#define LAYOUT_FLATTEN_H

#include "layout/design.h"

#include <map>

namespace layout {

struct GdsiiStream;

/// A layout without hierarchy, database units throughout.
struct FlatLayout {
    double databaseUnitMetres = 0;
    QString topCell;
    std::map<int, QVector<QPolygon>> polygons; ///< by layer number
    QVector<Label> labels;
};

/// Reads a checked stream and flattens its top cells. Returns false with the reason in `error`.
bool flatten(const GdsiiStream &stream, FlatLayout *layout, QString *error);

} // namespace layout

#endif
