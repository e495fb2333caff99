#include "host/background.h"
#include "host/imagepainter.h"

namespace viewer {

void Background::setImage(const QImage &image)
{
    m_image = image;
    emit changed();
}

void Background::setPlacement(const Placement &placement)
{
    m_placement = placement;
    emit changed();
}

void Background::takePlacement(const Placement &placement)
{
    m_placed = m_placed || placement.toTransform() != m_placement.toTransform();
    setPlacement(placement);
}

void Background::setOpacity(double opacity)
{
    m_opacity = qBound(0.0, opacity, 1.0);
    emit changed();
}

void Background::rescale(double factor)
{
    m_placement = m_placement.scaled(QPointF(), factor);
    for (Still &still : m_stills)
        still.placement = still.placement.scaled(QPointF(), factor);
    emit changed();
}

bool Background::cloneLive()
{
    if (!isShown())
        return false;
    m_stills.append({ tr("still %1").arg(++m_clones), m_image, m_placement, true });
    emit stillsChanged();
    emit changed();
    return true;
}

void Background::removeStill(int index)
{
    m_stills.removeAt(index);
    emit stillsChanged();
    emit changed();
}

void Background::setStillVisible(int index, bool visible)
{
    m_stills[index].visible = visible;
    emit changed();
}

bool Background::isShown() const
{
    return m_placed && !m_image.isNull() && m_placement.isDrawable();
}

QPolygonF Background::outline() const
{
    return m_placement.toTransform().map(QPolygonF(QRectF(m_image.rect())));
}

// Whole pixels, as the plugin halves the image size.
QPointF Background::centre() const
{
    return m_placement.toTransform().map(QPointF(m_image.width() / 2, m_image.height() / 2));
}

void Background::paint(QPainter *painter, const ViewTransform &view) const
{
    if (isShown())
        paintImage(painter, m_image, m_placement, view, m_opacity);
    for (const Still &still : m_stills)
        if (still.visible)
            paintImage(painter, still.image, still.placement, view, m_opacity);
}

} // namespace viewer
