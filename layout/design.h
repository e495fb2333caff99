#ifndef LAYOUT_DESIGN_H
#define LAYOUT_DESIGN_H

#include <QPolygon>
#include <QRect>
#include <QString>
#include <QVector>

#include <functional>
#include <memory>

namespace layout {

/// A text of the layout; `position` in database units.
struct Label {
    int layer;
    QPoint position;
    QString text;
};

/// The flattened polygons of one GDSII layer, in database units, y upwards.
struct Layer {
    int number;
    QVector<QPolygon> polygons;
    QVector<QRect>
        bounds; ///< of each polygon, same index; right() and bottom() are its largest x and y
};

class LayerGrid;

/// A chip design read from a GDSII file: everything flattened into polygons per layer, with a grid
/// over each layer so that a window of a large chip is found without walking all of it.
class Design {
public:
    /// Reads `path`. On failure returns false, puts the reason for the user into `error` and leaves
    /// this object as it was.
    bool load(const QString &path, QString *error);

    bool isEmpty() const { return m_layers.isEmpty(); }
    /// Under which alignments are stored: the GDSII library's name and the top cell's.
    QString name() const { return m_name; }
    double databaseUnitMetres() const { return m_databaseUnitMetres; }
    QRect bounds() const { return m_bounds; } ///< of all polygons, database units
    const QVector<Layer> &layers() const { return m_layers; } ///< ascending layer numbers
    const QVector<Label> &labels() const { return m_labels; }

    /// Calls `visit` once for each polygon of layer `layerIndex` whose bounding box touches
    /// `window`, in the order of the file.
    void forEachPolygon(int layerIndex, const QRectF &window,
                        const std::function<void(const QPolygon &, const QRect &)> &visit) const;

private:
    QString m_name;
    double m_databaseUnitMetres = 1e-9;
    QRect m_bounds;
    QVector<Layer> m_layers;
    QVector<Label> m_labels;
    QVector<std::shared_ptr<const LayerGrid>> m_grids; // one per layer
};

} // namespace layout

#endif
