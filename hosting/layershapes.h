#ifndef HOSTING_LAYERSHAPES_H
#define HOSTING_LAYERSHAPES_H

#include "matching/pose.h"

#include <QPolygonF>
#include <QRectF>
#include <QVector>

namespace hosting {

/// The shapes that a part of the design has in its layers, as a host collects them for the
/// matching.
class LayerShapes {
public:
    /// `numbers`: for each polygon its layer (from 0 on, the lowest first), the number of its
    /// points, and their coordinates in database units. Layers from 64 on, and what comes behind a
    /// polygon that is cut short, are left out.
    void take(const qint32 *numbers, qsizetype count);
    bool isEmpty() const { return m_shapes.isEmpty(); }

    /// What share of each of the window's pixels each layer covers, as matching::Design wants it.
    /// Any thread may ask.
    std::vector<cv::Mat> coverage(const matching::Window &window) const;

private:
    struct Shape {
        int layer;
        QPolygonF polygon;
        QRectF bounds;
    };
    QVector<Shape> m_shapes;
    int m_layers = 0;
};

} // namespace hosting

#endif
