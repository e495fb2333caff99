#ifndef HOST_VIEWDECORATION_H
#define HOST_VIEWDECORATION_H

#include <QString>

class QColor;
class QPainter;
class QRect;

namespace viewer {

/// A length for the user in nm, um or mm, whichever reads best.
QString lengthText(double metres);

/// A bar of a round length in the lower left corner.
void paintScaleBar(QPainter *painter, const QRect &area, double screenPixelsPerMetre);
/// The sign of an alignment mode along the upper edge.
void paintBanner(QPainter *painter, const QRect &area, const QColor &colour, const QString &title,
                 const QString &instruction);
/// A text in the middle of an empty view.
void paintHint(QPainter *painter, const QRect &area, const QString &text);

} // namespace viewer

#endif
