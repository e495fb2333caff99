// What the user sees of the alignment modes.
#include "host/alignmode.h"
#include "host/background.h"
#include "host/polygonclip.h"
#include "host/viewtransform.h"

#include <QColor>
#include <QPainter>

namespace viewer {

QString AlignMode::title() const
{
    return m_mode == Manual ? tr("Manual alignment") : tr("Assisted alignment");
}

QString AlignMode::instruction() const
{
    if (m_mode == Off)
        return QString();
    if (m_mode == Manual)
        return tr("Drag moves the image \u00b7 Ctrl+drag sideways turns it, up and down scales it "
                  "\u00b7 arrow keys nudge \u00b7 Esc leaves");
    if (m_missed)
        return tr("That point is not on the image. Click a point in the image \u00b7 Esc leaves");
    return m_havePixel ? tr("2 of 2: click the design point where it belongs \u00b7 Esc leaves")
                       : tr("1 of 2: click a point in the image \u00b7 Esc leaves");
}

QColor AlignMode::colour() const
{
    return m_mode == Manual ? QColor(255, 160, 0) : QColor(0, 190, 165);
}

void AlignMode::paint(QPainter *painter, const ViewTransform &view) const
{
    if (m_mode == Off || !m_background->isShown())
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    painter->setBrush(Qt::NoBrush);
    painter->setPen(QPen(colour(), 2));
    const QRectF nearby = QRectF(QPointF(), QSizeF(view.size())).adjusted(-20, -20, 20, 20);
    painter->drawPolygon(clipPolygon(view.toScreen().map(m_background->outline()), nearby));
    if (m_drag == Undecided || m_drag == Turning || m_drag == Scaling)
        paintMark(painter, view.toScreen(m_pivot));
    if (m_havePixel) {
        const QPointF chosen = view.toScreen(m_background->placement().toTransform().map(m_pixel));
        painter->setPen(QPen(colour(), 1.5, Qt::DashLine));
        painter->drawLine(chosen, view.toScreen(m_lastDesign));
        paintMark(painter, chosen);
    }
    painter->restore();
}

void AlignMode::paintMark(QPainter *painter, const QPointF &screen) const
{
    painter->setPen(QPen(colour(), 2));
    painter->drawEllipse(screen, 9, 9);
    painter->drawLine(screen - QPointF(14, 0), screen + QPointF(14, 0));
    painter->drawLine(screen - QPointF(0, 14), screen + QPointF(0, 14));
}

} // namespace viewer
