#ifndef SIMULATOR_WAFER_H
#define SIMULATOR_WAFER_H

#include <QSize>
#include <QTransform>

namespace simulator {

/// How the wafer lies on the stage. With e = 0.001 / databaseUnitMetres database units per mm, the
/// design point under the image's centre at the stage position p (mm) is
///     design = -e * scale * R(rotation) * (p - offset)
/// with R counter-clockwise in design coordinates, y upwards. A wafer that lies nominally has no
/// offset, no rotation and the scale 1: the stage axes run opposite to the design's.
struct Wafer {
    double databaseUnitMetres = 1e-9;
    QPointF offsetMm;
    double rotationDegrees = 0;
    double scale = 1;

    double unitsPerMm() const { return 0.001 / databaseUnitMetres; }

    /// Maps a stage position in mm to the design point under the image's centre.
    QTransform stageToDesign() const;

    /// Maps pixel corners of a frame (column to the right, row downwards) to design points. The
    /// frame's width shows `viewFieldMm`; the image is fixed to the microscope, so what lies d mm
    /// from its centre comes to the centre when the stage moves by -d.
    QTransform frameToDesign(const QPointF &stageMm, double viewFieldMm, const QSize &frame) const;
};

} // namespace simulator

#endif
