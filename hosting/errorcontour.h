#ifndef HOSTING_ERRORCONTOUR_H
#define HOSTING_ERRORCONTOUR_H

#include <QPainterPath>
#include <QString>
#include <QVector>

class QPainter;
class QTransform;

namespace hosting {

class AlignError;

/// Where the predicted error has one value.
struct ErrorContour {
    double micrometres = 0;
    QPainterPath path; ///< design coordinates; straight pieces in no order
    QString label;
    QPointF labelAt; ///< on the line, design coordinates
};

/// The contours of `error` within `design` (design coordinates, `micrometresPerUnit` to the unit),
/// at no more than five values: of the series 1, 2, 5, 10 ... the upper ones, or, if none or one of
/// them occurs, even steps. Empty where nothing can be said, and where the error is the same all
/// over.
QVector<ErrorContour> errorContours(const AlignError &error, const QRectF &design,
                                    double micrometresPerUnit);

/// Draws them with their labels upright; `toScreen` maps design coordinates.
void paintErrorContours(QPainter *painter, const QVector<ErrorContour> &contours,
                        const QTransform &toScreen);

} // namespace hosting

#endif
