#ifndef SIMULATOR_SCENE_H
#define SIMULATOR_SCENE_H

#include <QImage>
#include <QRectF>
#include <QTransform>

#include <memory>

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

    /// Looks up what lies in `window`, a rectangle of the design that holds all that is painted
    /// until the next call. Returns false if that cannot be said at the moment.
    virtual bool prepare(const QRectF &window)
    {
        Q_UNUSED(window)
        return true;
    }
    /// Paints the material of every pixel into `materials` (8 bit grey, all 0 before). A pixel
    /// shows what lies under its centre. Returns false if that cannot be said at the moment.
    virtual bool paint(QImage *materials, const QTransform &designToPixel) = 0;
};

/// The chip of a layout in any format that KLayout reads, its layers one above the other in the
/// order of layer and datatype. Null with the reason in `error` if it cannot be opened.
std::unique_ptr<Scene> openDesignScene(const QString &file, QString *error);

/// A board of squares and discs of 2 mm edge in which no place looks like another.
std::unique_ptr<Scene> makePatternScene();

} // namespace simulator

#endif
