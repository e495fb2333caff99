#ifndef SIMULATOR_SCENE_H
#define SIMULATOR_SCENE_H

#include <QImage>
#include <QRect>
#include <QTransform>

#include <memory>

namespace simulator {

/// Materials are numbers: 0 is the substrate, the layers of a design count up from 1 and, beyond
/// the last, from 1 again.
constexpr int materialCount = 8;

/// Pixels of a frame, and how the design lies under that frame.
struct Place {
    QTransform designToFrame;
    QRect pixels; ///< may reach beyond the frame

    bool operator==(const Place &other) const
    {
        return designToFrame == other.designToFrame && pixels == other.pixels;
    }
};

enum class Knowledge {
    Known,
    Coming, ///< to be asked for again, soon
    Missing ///< cannot be said at the moment
};

/// What lies on the wafer.
class Scene {
public:
    virtual ~Scene() = default;

    virtual double databaseUnitMetres() const = 0;
    virtual QPointF centre() const = 0; ///< in design coordinates

    /// Finds out what lies at `place`, which forgets the place before.
    virtual Knowledge lookUp(const Place &place)
    {
        Q_UNUSED(place)
        return Knowledge::Known;
    }
    /// Paints the material of every pixel of `place`, which lies within the known one, into
    /// `materials` (8 bit grey, all 0 before). A pixel shows what lies under its centre.
    virtual void paint(QImage *materials, const Place &place) = 0;
};

/// The chip of a layout in any format that KLayout reads, its layers one above the other in the
/// order of layer and datatype. Null with the reason in `error` if it cannot be opened.
std::unique_ptr<Scene> openDesignScene(const QString &file, QString *error);

/// A board of squares and discs of 2 mm edge in which no place looks like another.
std::unique_ptr<Scene> makePatternScene();

} // namespace simulator

#endif
