#include "host/viewtransform.h"

#include <cmath>

namespace viewer {

void ViewTransform::setCentre(const QPointF &centre)
{
    if (std::isfinite(centre.x()) && std::isfinite(centre.y()))
        m_centre = centre;
}

void ViewTransform::setZoom(double zoom)
{
    if (std::isfinite(zoom))
        m_zoom = qBound(1e-9, zoom, 1e4);
}

QTransform ViewTransform::toScreen() const
{
    return QTransform(m_zoom, 0, 0, -m_zoom, m_size.width() / 2.0 - m_centre.x() * m_zoom,
                      m_size.height() / 2.0 + m_centre.y() * m_zoom);
}

QPointF ViewTransform::toDesign(const QPointF &screen) const
{
    return QPointF(m_centre.x() + (screen.x() - m_size.width() / 2.0) / m_zoom,
                   m_centre.y() - (screen.y() - m_size.height() / 2.0) / m_zoom);
}

QRectF ViewTransform::visible() const
{
    const QSizeF size = QSizeF(m_size) / m_zoom;
    return QRectF(m_centre - QPointF(size.width() / 2, size.height() / 2), size);
}

void ViewTransform::zoomAbout(const QPointF &screen, double factor)
{
    const QPointF fixed = toDesign(screen);
    setZoom(m_zoom * factor);
    m_centre += fixed - toDesign(screen);
}

void ViewTransform::panBy(const QPointF &screenOffset)
{
    m_centre -= QPointF(screenOffset.x(), -screenOffset.y()) / m_zoom;
}

void ViewTransform::fit(const QRectF &area, double fraction)
{
    m_centre = area.center();
    const double width = qMax(area.width(), 1.0), height = qMax(area.height(), 1.0);
    setZoom(fraction * qMin(m_size.width() / width, m_size.height() / height));
}

bool ViewTransform::operator==(const ViewTransform &other) const
{
    return m_centre == other.m_centre && m_zoom == other.m_zoom && m_size == other.m_size;
}

} // namespace viewer
