#ifndef LAYOUT_LAYERGRID_H
#define LAYOUT_LAYERGRID_H

#include <QRect>
#include <QVector>

namespace layout {

/// The smallest rectangle around all `bounds`, those without area included; null for none.
QRect united(const QVector<QRect> &bounds);

/// Finds the rectangles of a layer that touch a window. Several grids, each with cells twice as
/// wide as the one before: a rectangle lies in the finest grid whose cells are at least as large as
/// it, in the cell of its lower left corner, so it is stored once and searched for in few cells.
class LayerGrid {
public:
    explicit LayerGrid(const QVector<QRect> &bounds);

    /// Ascending indices of the rectangles that touch `window`.
    QVector<int> find(const QRectF &window) const;

private:
    struct Level {
        qint64 cellSize;
        int columns, rows;
        QVector<int> starts; // of each cell in `items`, and one past the last
        QVector<int> items;
    };

    void addLevel(qint64 cellSize, const QVector<int> &members);
    void findInLevel(const Level &level, const QRectF &window, QVector<int> *found) const;

    QVector<QRect> m_bounds;
    QPoint m_origin;
    qint64 m_width = 0, m_height = 0;
    QVector<Level> m_levels;
};

} // namespace layout

#endif
