#include "hosting/errorcontour.h"

#include "hosting/alignerror.h"

#include <QFontMetrics>
#include <QPainter>
#include <QTransform>

#include <algorithm>
#include <cmath>

namespace hosting {

namespace {
const int mostLines = 5;
const int cells = 96; // a side: rings of a twentieth of the design look round

/// The predicted error at the nodes of a grid over the design.
class Grid {
public:
    Grid(const AlignError &error, const QRectF &design, double micrometresPerUnit);

    double at(int column, int row) const { return m_values[row * (cells + 1) + column]; }
    double least() const { return *std::min_element(m_values.begin(), m_values.end()); }
    double most() const { return *std::max_element(m_values.begin(), m_values.end()); }
    QPainterPath contour(double level) const;
    QPointF labelPlace(double level) const;

private:
    QPointF node(double column, double row) const;
    QPointF nodeOf(const double *value) const;
    double errorAt(const QPointF &point) const { return m_error.at(point * m_micrometresPerUnit); }
    void addCell(int column, int row, double level, QPainterPath *path) const;

    const AlignError &m_error;
    QRectF m_design;
    double m_micrometresPerUnit;
    QVector<double> m_values;
};

Grid::Grid(const AlignError &error, const QRectF &design, double micrometresPerUnit)
    : m_error(error)
    , m_design(design)
    , m_micrometresPerUnit(micrometresPerUnit)
{
    for (int row = 0; row <= cells; ++row)
        for (int column = 0; column <= cells; ++column)
            m_values.append(errorAt(node(column, row)));
}

QPointF Grid::node(double column, double row) const
{
    return { m_design.x() + m_design.width() * column / cells,
             m_design.y() + m_design.height() * row / cells };
}

QPointF Grid::nodeOf(const double *value) const
{
    const int index = int(value - m_values.begin());
    return node(index % (cells + 1), index / (cells + 1));
}

// Marching squares: the line enters and leaves a cell where the level lies between the values of
// two neighbouring corners.
void Grid::addCell(int column, int row, double level, QPainterPath *path) const
{
    const int right[] = { 0, 1, 1, 0 };
    const int up[] = { 0, 0, 1, 1 };
    double values[4];
    for (int i = 0; i < 4; ++i)
        values[i] = at(column + right[i], row + up[i]);
    QVector<QPointF> crossings;
    for (int i = 0; i < 4; ++i) {
        const int j = (i + 1) % 4;
        if ((values[i] < level) == (values[j] < level))
            continue;
        const double part = (level - values[i]) / (values[j] - values[i]);
        crossings.append(node(column + right[i] + part * (right[j] - right[i]),
                              row + up[i] + part * (up[j] - up[i])));
    }
    // In a saddle the middle decides which corners the two pieces cut off.
    const double middle = (values[0] + values[1] + values[2] + values[3]) / 4;
    if (crossings.size() == 4 && (middle < level) != (values[0] < level))
        std::rotate(crossings.begin(), crossings.begin() + 1, crossings.end());
    for (int i = 0; i < crossings.size(); i += 2) {
        path->moveTo(crossings[i]);
        path->lineTo(crossings[i + 1]);
    }
}

QPainterPath Grid::contour(double level) const
{
    QPainterPath path;
    for (int row = 0; row < cells; ++row)
        for (int column = 0; column < cells; ++column)
            addCell(column, row, level, &path);
    return path;
}

// All contours cross the line from where the error is least to where it is most: there the labels
// stand in a row.
QPointF Grid::labelPlace(double level) const
{
    QPointF low = nodeOf(std::min_element(m_values.begin(), m_values.end()));
    QPointF high = nodeOf(std::max_element(m_values.begin(), m_values.end()));
    for (int step = 0; step < 30; ++step) {
        const QPointF middle = (low + high) / 2;
        (errorAt(middle) < level ? low : high) = middle;
    }
    return low;
}

/// The largest of 1, 2, 5, 10 ... that does not exceed `value`.
double roundedDown(double value)
{
    const double decade = std::pow(10, std::floor(std::log10(value)));
    return decade * (value >= 5 * decade ? 5 : value >= 2 * decade ? 2 : 1);
}

QVector<double> levelsBetween(double least, double most)
{
    QVector<double> levels;
    for (double level = roundedDown(most); level > least && levels.size() < mostLines;
         level = roundedDown(level * 0.7))
        if (level < most)
            levels.prepend(level);
    if (levels.size() > 1)
        return levels;
    levels.clear();
    const double step = roundedDown((most - least) / 2);
    for (double index = std::floor(least / step) + 1; index * step < most; ++index)
        levels.append(index * step);
    return levels;
}

/// The pieces of the contour that may show in `window`, in its coordinates: zoomed in on a detail,
/// the others lie beyond all painting.
QVector<QLineF> piecesWithin(const QRectF &window, const QPainterPath &path,
                             const QTransform &toScreen)
{
    QVector<QLineF> pieces;
    for (int i = 0; i + 1 < path.elementCount(); i += 2) {
        const QLineF piece = toScreen.map(QLineF(path.elementAt(i), path.elementAt(i + 1)));
        if (QRectF(piece.p1(), piece.p2()).normalized().adjusted(-1, -1, 1, 1).intersects(window))
            pieces.append(piece);
    }
    return pieces;
}
} // namespace

QVector<ErrorContour> errorContours(const AlignError &error, const QRectF &design,
                                    double micrometresPerUnit)
{
    const Grid grid(error, design, micrometresPerUnit);
    const double least = grid.least();
    const double most = grid.most();
    // Errors that differ by rounding only have no contours.
    if (!std::isfinite(most) || !(most - least > 1e-6 * most))
        return {};
    QVector<ErrorContour> contours;
    for (const double level : levelsBetween(least, most))
        contours.append({ level, grid.contour(level), QStringLiteral("%1 \u00b5m").arg(level),
                          grid.labelPlace(level) });
    return contours;
}

void paintErrorContours(QPainter *painter, const QVector<ErrorContour> &contours,
                        const QTransform &toScreen)
{
    painter->save();
    painter->setRenderHint(QPainter::Antialiasing);
    const QRectF window =
        painter->combinedTransform().inverted().mapRect(QRectF(painter->viewport()));
    const QFontMetrics metrics(painter->font());
    QRegion labelled;
    for (const ErrorContour &contour : contours) {
        const QVector<QLineF> pieces = piecesWithin(window, contour.path, toScreen);
        for (const QPen &pen : { QPen(QColor(0, 0, 0), 3), QPen(QColor(255, 220, 90), 1) }) {
            painter->setPen(pen);
            painter->drawLines(pieces);
        }
        QRectF plate(metrics.boundingRect(contour.label).adjusted(-4, -2, 4, 2));
        plate.moveCenter(toScreen.map(contour.labelAt));
        if (labelled.intersects(plate.toAlignedRect()))
            continue;
        labelled += plate.toAlignedRect();
        painter->fillRect(plate, QColor(0, 0, 0, 150));
        painter->drawText(plate, Qt::AlignCenter, contour.label);
    }
    painter->restore();
}

} // namespace hosting
