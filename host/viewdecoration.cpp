#include "host/viewdecoration.h"

#include <QPainter>

#include <cmath>

namespace viewer {

QString lengthText(double metres)
{
    const struct {
        double from, unit;
        QString name;
    } units[] = { { 0.9995e-3, 1e-3, QStringLiteral("mm") },
                  { 0.9995e-6, 1e-6, QStringLiteral("\u00b5m") },
                  { 0, 1e-9, QStringLiteral("nm") } };
    for (const auto &unit : units)
        if (metres >= unit.from)
            return QStringLiteral("%1 %2").arg(metres / unit.unit, 0, 'g', 4).arg(unit.name);
    return QString();
}

// The largest of 1, 2, 5 times a power of ten that is not longer than `metres`.
static double roundLength(double metres)
{
    const double power = std::pow(10, std::floor(std::log10(metres)));
    for (const double step : { 5.0, 2.0 })
        if (step * power <= metres)
            return step * power;
    return power;
}

void paintScaleBar(QPainter *painter, const QRect &area, double screenPixelsPerMetre)
{
    const double metres = roundLength(qMin(180.0, area.width() / 3.0) / screenPixelsPerMetre);
    const int length = qRound(metres * screenPixelsPerMetre);
    const QRect box(area.left() + 12, area.bottom() - 48, length + 24, 36);
    painter->setPen(Qt::NoPen);
    painter->setBrush(QColor(10, 12, 16, 190));
    painter->drawRoundedRect(box, 5, 5);
    painter->setPen(Qt::white);
    painter->drawText(box.adjusted(-40, 3, 40, -14), Qt::AlignCenter, lengthText(metres));
    painter->fillRect(box.left() + 12, box.bottom() - 10, length, 3, Qt::white);
}

void paintBanner(QPainter *painter, const QRect &area, const QColor &colour, const QString &title,
                 const QString &instruction)
{
    QFont bold = painter->font();
    bold.setBold(true);
    const QFontMetrics boldMetrics(bold), metrics(painter->font());
    const QRect band(area.left(), area.top(), area.width(), metrics.height() + 14);
    const QRect text = band.adjusted(12, 0, -12, 0);
    const int titleWidth = boldMetrics.horizontalAdvance(title) + 14;
    const QRect rest = text.adjusted(titleWidth, 0, 0, 0);
    painter->fillRect(band, colour);
    painter->setPen(QColor(20, 20, 20));
    painter->drawText(rest, Qt::AlignVCenter,
                      metrics.elidedText(instruction, Qt::ElideRight, rest.width()));
    painter->save();
    painter->setFont(bold);
    painter->drawText(text, Qt::AlignVCenter, title);
    painter->restore();
    painter->setPen(QPen(colour, 3));
    painter->setBrush(Qt::NoBrush);
    painter->drawRect(area.adjusted(1, 1, -2, -2));
}

void paintHint(QPainter *painter, const QRect &area, const QString &text)
{
    painter->setPen(QColor(150, 158, 170));
    painter->drawText(area, Qt::AlignCenter, text);
}

} // namespace viewer
