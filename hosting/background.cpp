#include "hosting/background.h"

namespace hosting {

void Background::setImage(const QImage &image)
{
    m_image = image;
    emit changed();
}

void Background::setPlacement(const Placement &placement)
{
    m_placement = placement;
    emit movedByUser();
    emit changed();
}

void Background::takePlacement(const Placement &placement)
{
    m_placement = placement;
    emit changed();
}

void Background::setVisible(bool visible)
{
    if (visible == m_visible)
        return;
    m_visible = visible;
    emit changed();
}

void Background::clear()
{
    m_image = QImage();
    m_placement = Placement();
    emit changed();
}

bool Background::isShown() const
{
    return m_visible && !m_image.isNull() && m_placement.isDrawable();
}

QPolygonF Background::outline() const
{
    return m_placement.toTransform().map(QPolygonF(QRectF(m_image.rect())));
}

QPointF Background::centre() const
{
    return m_placement.centre(m_image.width());
}

} // namespace hosting
