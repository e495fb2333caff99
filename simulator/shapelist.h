#ifndef SIMULATOR_SHAPELIST_H
#define SIMULATOR_SHAPELIST_H

#include "simulator/scene.h"

#include <QPolygon>
#include <QVector>

namespace simulator {

/// Polygons of a design with their materials, the upper ones last.
class ShapeList {
public:
    ShapeList() = default;
    /// From 32-bit integers: for each polygon its material, its number of points, their
    /// coordinates. What is cut short at the end is left out.
    explicit ShapeList(const QByteArray &encoded);

    void paint(QImage *materials, const Place &place) const; ///< as Scene::paint

private:
    struct Shape {
        QPolygon polygon;
        QRect bounds;
        uchar material;
    };
    QVector<Shape> m_shapes;
};

} // namespace simulator

#endif
