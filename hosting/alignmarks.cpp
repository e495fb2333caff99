// What the user sees of the alignment modes.
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/pairmarks.h"
#include "hosting/view.h"

#include <QColor>
#include <QPainter>
#include <QPainterPath>

#include <cmath>

namespace hosting {

QString AlignMode::title() const
{
    return m_mode == Manual ? tr("Manual alignment") : tr("Assisted alignment");
}

QString AlignMode::instruction() const
{
    if (m_mode == Off)
        return QString();
    if (m_readingOut)
        return readout();
    if (m_mode == Manual)
        return tr("Drag or arrows: move \u00b7 Ctrl: turn \u2194 scale \u2195 \u00b7 "
                  "Shift: finer \u00b7 F: find \u00b7 Esc: give up");
    if (m_missed)
        return tr("That point is not on the image. Click a point in the image \u00b7 Esc: give up");
    return m_havePixel
        ? tr("2 of 2: click the design point where it belongs \u00b7 C: bring the "
             "point to the centre first \u00b7 Esc: give up")
        : tr("1 of 2: click a point in the image \u00b7 F: find \u00b7 Esc: give up");
}

QString AlignMode::readout() const
{
    const bool isKnown = m_databaseUnitMetres > 0;
    const QPointF moved = isKnown ? m_moved * m_databaseUnitMetres * 1e6 : m_moved;
    const auto number = [](double value, int decimals) {
        return QString::number(value, 'f', decimals);
    };
    const int decimals = isKnown ? 4 : 1;
    return tr("moved %1 %2 (x %3, y %4) \u00b7 turned %5\u00b0 \u00b7 scaled by %6")
        .arg(number(std::hypot(moved.x(), moved.y()), decimals),
             isKnown ? tr("\u00b5m") : tr("database units"), number(moved.x(), decimals),
             number(moved.y(), decimals), number(m_degrees, 2), number(m_factor, 4));
}

QColor AlignMode::colour() const
{
    return m_mode == Manual ? QColor(255, 160, 0) : QColor(0, 190, 165);
}

static void addMark(QPainterPath *path, const QPointF &screen)
{
    path->addEllipse(screen, 9, 9);
    for (const QPointF &arm : { QPointF(14, 0), QPointF(0, 14) }) {
        path->moveTo(screen - arm);
        path->lineTo(screen + arm);
    }
}

void AlignMode::paint(QPainter *painter, const View &view) const
{
    if (m_mode == Off || !m_background->isShown())
        return;
    const QTransform toScreen = view.toScreen();
    QPainterPath path = frameOnScreen(view, *m_background);
    if (m_drag == Undecided || m_drag == Turning || m_drag == Scaling)
        addMark(&path, toScreen.map(m_pivot));
    if (m_havePixel) {
        const QPointF chosen = toScreen.map(m_background->placement().toTransform().map(m_pixel));
        addMark(&path, chosen);
        path.moveTo(chosen);
        path.lineTo(toScreen.map(m_lastDesign));
    }
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    strokeOnDark(painter, path, colour());
    painter->restore();
}

} // namespace hosting
