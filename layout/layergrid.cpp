#include "layout/layergrid.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <map>

namespace layout {
namespace {

const int polygonsPerCell = 4;

bool touches(const QRect &bounds, const QRectF &window)
{
    return bounds.left() <= window.right() && bounds.right() >= window.left()
        && bounds.top() <= window.bottom() && bounds.bottom() >= window.top();
}

} // namespace

QRect united(const QVector<QRect> &bounds)
{
    if (bounds.isEmpty())
        return QRect();
    int left = INT_MAX, top = INT_MAX, right = INT_MIN, bottom = INT_MIN;
    for (const QRect &one : bounds) {
        left = qMin(left, one.left());
        top = qMin(top, one.top());
        right = qMax(right, one.right());
        bottom = qMax(bottom, one.bottom());
    }
    return QRect(QPoint(left, top), QPoint(right, bottom));
}

LayerGrid::LayerGrid(const QVector<QRect> &bounds)
    : m_bounds(bounds)
{
    const QRect whole = united(bounds);
    m_origin = whole.topLeft();
    m_width = whole.width();
    m_height = whole.height();
    const double share = double(polygonsPerCell) / qMax(1, bounds.size());
    // never many more cells than polygons, for a long thin layer either
    const qint64 finest = qint64(qMax(std::sqrt(double(m_width) * double(m_height) * share),
                                      double(qMax(m_width, m_height)) * share))
        + 1;
    std::map<qint64, QVector<int>> members;
    for (int i = 0; i < bounds.size(); ++i) {
        qint64 cellSize = finest;
        while (cellSize < qMax(bounds.at(i).width(), bounds.at(i).height()))
            cellSize *= 2;
        members[cellSize].append(i);
    }
    for (const auto &level : members)
        addLevel(level.first, level.second);
}

void LayerGrid::addLevel(qint64 cellSize, const QVector<int> &members)
{
    Level level{ cellSize, int(m_width / cellSize) + 1, int(m_height / cellSize) + 1, {}, {} };
    auto cellOf = [&](int index) {
        const QPoint corner = m_bounds.at(index).topLeft() - m_origin;
        return int(corner.y() / cellSize) * level.columns + int(corner.x() / cellSize);
    };
    level.starts.fill(0, level.columns * level.rows + 1);
    for (int index : members)
        ++level.starts[cellOf(index) + 1];
    for (int cell = 1; cell < level.starts.size(); ++cell)
        level.starts[cell] += level.starts[cell - 1];
    level.items.resize(members.size());
    QVector<int> next = level.starts;
    for (int index : members)
        level.items[next[cellOf(index)]++] = index;
    m_levels.append(level);
}

void LayerGrid::findInLevel(const Level &level, const QRectF &window, QVector<int> *found) const
{
    auto cell = [&](double coordinate, int count) {
        return int(qBound(0.0, std::floor(coordinate / double(level.cellSize)), double(count - 1)));
    };
    const int left = cell(window.left() - m_origin.x() - double(level.cellSize), level.columns);
    const int right = cell(window.right() - m_origin.x(), level.columns);
    const int bottom = cell(window.top() - m_origin.y() - double(level.cellSize), level.rows);
    const int top = cell(window.bottom() - m_origin.y(), level.rows);
    for (int row = bottom; row <= top; ++row) {
        const int first = level.starts.at(row * level.columns + left);
        const int end = level.starts.at(row * level.columns + right + 1);
        for (int item = first; item < end; ++item) {
            if (touches(m_bounds.at(level.items.at(item)), window))
                found->append(level.items.at(item));
        }
    }
}

QVector<int> LayerGrid::find(const QRectF &window) const
{
    QVector<int> found;
    for (const Level &level : m_levels)
        findInLevel(level, window, &found);
    std::sort(found.begin(), found.end());
    return found;
}

} // namespace layout
