#ifndef BENCH_MATCHING_CHIP_H
#define BENCH_MATCHING_CHIP_H

#include "matching/pose.h"
#include "simulator/scene.h"

#include <QPolygon>
#include <QVector>

#include <map>

/// All shapes of a layout, read once by KLayout: what the simulator's images are made of, and what
/// the matching is told of the design. Database units of 1 nm.
class Chip {
public:
    /// Ends the program with a message if the layout cannot be read.
    explicit Chip(const QString &layout);

    QRectF bounds() const { return m_bounds; }
    int layers() const { return m_layers; }
    /// Middles of the crosses and pads: large shapes of the top layer with as many corners.
    QVector<QPointF> landmarks() const;

    /// As matching::Design.
    std::vector<cv::Mat> coverage(const matching::Window &window) const;

    struct Shape {
        QPolygon polygon;
        QRect bounds;
        uchar layer;
        int number;
    };
    QVector<const Shape *> shapesIn(const QRectF &area) const; ///< lower layers first

private:
    QVector<Shape> m_shapes;
    QRectF m_bounds;
    int m_layers = 0;
    std::map<std::pair<int, int>, QVector<int>> m_tiles;
};

/// The chip as it was made: layers and single shapes may be missing.
class Wafered : public simulator::Scene {
public:
    explicit Wafered(const Chip &chip)
        : m_chip(chip)
    {
    }
    uint hiddenLayers = 0; ///< bit n hides layer n
    int missingPercent = 0; ///< of the shapes
    uint seed = 0; ///< which of them

    double databaseUnitMetres() const override { return 1e-9; }
    QPointF centre() const override { return m_chip.bounds().center(); }
    void paint(QImage *materials, const simulator::Place &place) override;

private:
    const Chip &m_chip;
};

#endif
