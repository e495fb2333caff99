#ifndef SIMULATOR_SCENE_H
#define SIMULATOR_SCENE_H

#include <QImage>
#include <QTransform>

#include <memory>

namespace layout {
class Design;
}

namespace simulator {

/// Materials are numbers: 0 is the substrate, the layers of a design count up from 1 and, beyond
/// the last, from 1 again.
constexpr int materialCount = 8;

/// What lies on the wafer.
class Scene {
public:
    virtual ~Scene() = default;

    virtual double databaseUnitMetres() const = 0;
    virtual QPointF centre() const = 0; ///< in design coordinates

    /// Paints the material of every pixel into `materials` (8 bit grey, all 0 before). A pixel
    /// shows what lies under its centre.
    virtual void paint(QImage *materials, const QTransform &designToPixel) const = 0;
};

/// The chip of a layout, its layers one above the other in the order of their numbers.
std::unique_ptr<Scene> makeDesignScene(const layout::Design &design);

/// A board of squares and discs of 2 mm edge in which no place looks like another.
std::unique_ptr<Scene> makePatternScene();

} // namespace simulator

#endif
