#ifndef SIMULATOR_POLYGONPAINTER_H
#define SIMULATOR_POLYGONPAINTER_H

#include <QPainter>
#include <QPolygon>

namespace simulator {

/// Paints polygons into an image of materials; a pixel shows what lies under its centre.
class PolygonPainter {
public:
    PolygonPainter(QImage *image, const QTransform &designToPixel);

    void paint(const QPolygon &polygon, const QRect &bounds, uchar material);

private:
    void fill(const QRect &pixels, uchar material);

    QImage *m_image;
    QTransform m_transform;
    bool m_upright;
    QPainter m_painter;
};

} // namespace simulator

#endif
