#ifndef HOST_VIEWTRANSFORM_H
#define HOST_VIEWTRANSFORM_H

#include <QPointF>
#include <QRectF>
#include <QSize>
#include <QTransform>

namespace viewer {

/// Which part of the design the screen shows. Design coordinates are database units with y upwards,
/// screen coordinates are widget pixels with y downwards.
class ViewTransform {
public:
    QPointF centre() const { return m_centre; }
    double zoom() const { return m_zoom; } ///< screen pixels per database unit
    QSize size() const { return m_size; } ///< screen pixels

    void setCentre(const QPointF &centre); ///< values that are no number are ignored
    void setZoom(double zoom); ///< bounded; values that are no number are ignored
    void setSize(const QSize &size) { m_size = size; }

    QTransform toScreen() const;
    QPointF toScreen(const QPointF &design) const { return toScreen().map(design); }
    QPointF toDesign(const QPointF &screen) const;
    QRectF visible() const; ///< the design rectangle on the screen

    /// Changes the zoom and keeps the design point under `screen` where it is.
    void zoomAbout(const QPointF &screen, double factor);
    void panBy(const QPointF &screenOffset);
    /// Shows `area` (design) so that it fills `fraction` of the view in its tighter direction.
    void fit(const QRectF &area, double fraction);

    bool operator==(const ViewTransform &other) const;
    bool operator!=(const ViewTransform &other) const { return !(*this == other); }

private:
    QPointF m_centre;
    double m_zoom = 0.01;
    QSize m_size = QSize(1, 1);
};

} // namespace viewer

#endif
