#include "hosting/pairmarks.h"
#include "hosting/background.h"
#include "hosting/pluginsession.h"

#include <QPainter>
#include <QPainterPath>

namespace hosting {

static const QColor pairColour(0, 190, 90), rejectedColour(200, 40, 40), centreColour(255, 160, 0);
static const double markPixels = 9;

void strokeOnDark(QPainter *painter, const QPainterPath &path, const QColor &colour)
{
    painter->strokePath(path, QPen(QColor(0, 0, 0, 150), 4));
    painter->strokePath(path, QPen(colour, 2));
}

static void strokeDashed(QPainter *painter, const QPainterPath &path, const QColor &colour)
{
    QPen dashes(Qt::white, 2);
    dashes.setDashPattern({ 5, 4 });
    painter->strokePath(path, QPen(colour, 4));
    painter->strokePath(path, dashes);
}

// A frame that is far larger than the screen has coordinates beyond all painting.
QPainterPath frameOnScreen(const View &view, const Background &background)
{
    const QRectF nearby = QRectF(QPointF(), QSizeF(view.size)).adjusted(-20, -20, 20, 20);
    QPainterPath path;
    path.addPolygon(view.toScreen().map(background.outline()).intersected(QPolygonF(nearby)));
    path.closeSubpath();
    return path;
}

static void paintCentre(QPainter *painter, const QPointF &at)
{
    QPainterPath path;
    path.addEllipse(at, markPixels / 3, markPixels / 3);
    for (const QPointF &arm : { QPointF(1, 0), QPointF(-1, 0), QPointF(0, 1), QPointF(0, -1) }) {
        path.moveTo(at + arm * markPixels);
        path.lineTo(at + arm * 3 * markPixels);
    }
    strokeOnDark(painter, path, centreColour);
}

static void paintNumber(QPainter *painter, const QPointF &at, int number, const QColor &colour)
{
    const QRectF disc(at - QPointF(markPixels, markPixels), QSizeF(2, 2) * markPixels);
    painter->setPen(QPen(Qt::white, 1.5));
    painter->setBrush(colour);
    painter->drawEllipse(disc);
    painter->drawText(disc, Qt::AlignCenter, QString::number(number));
}

static void paintConfirmed(QPainter *painter, const PluginSession &session)
{
    const QTransform toScreen = session.view().toScreen();
    const double unit = session.design().micrometres();
    QPolygonF inForce;
    const QVector<ConfirmedPair> pairs = session.confirmedPairs();
    for (const ConfirmedPair &pair : pairs)
        if (pair.inForce)
            inForce << toScreen.map(pair.point / unit);
    QPainterPath lines;
    lines.addPolygon(inForce);
    if (inForce.size() > 2)
        lines.closeSubpath();
    strokeOnDark(painter, lines, pairColour);
    for (const ConfirmedPair &pair : pairs)
        paintNumber(painter, toScreen.map(pair.point / unit), pair.row,
                    pair.inForce ? pairColour : rejectedColour);
}

void paintPairs(QPainter *painter, const PluginSession &session, const Background &background)
{
    if (!background.isShown())
        return;
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    paintConfirmed(painter, session);
    if (session.alignment().inForce == 0)
        strokeDashed(painter, frameOnScreen(session.view(), background), rejectedColour);
    if (session.rowInWork())
        paintCentre(painter, session.view().toScreen().map(background.centre()));
    painter->restore();
}

} // namespace hosting
