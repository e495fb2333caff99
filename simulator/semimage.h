#ifndef SIMULATOR_SEMIMAGE_H
#define SIMULATOR_SEMIMAGE_H

#include "simulator/wafer.h"

#include <QVector>

#include <cstdlib>
#include <memory>

namespace simulator {

class Scene;

/// Everything a picture without noise depends on.
struct Exposure {
    QSize frame;
    QPointF stageMm;
    double viewFieldMm = 1;
    int detector = 0;
    bool settled = false; ///< the signal's contrast has been adjusted

    bool operator==(const Exposure &other) const;
};

/// The picture of the scene under the beam, rendered in bands of rows when they are asked for and
/// kept until the exposure changes. While the scene cannot be painted, what was there stays.
class SemImage {
public:
    /// `scene` must outlive this object.
    SemImage(Scene *scene, const Wafer &wafer);

    /// One row of frame.width() grey levels; valid until the next call.
    const uchar *row(const Exposure &exposure, int row);

private:
    void renderBand(int band);
    bool prepareScene();
    QTransform pixelToDesign() const;
    bool paintMaterials(QImage *materials, int firstRow, int margin);
    void develop(const QImage &materials, int margin, int reach, int firstRow, int rows);

    Scene *m_scene;
    Wafer m_wafer;
    Exposure m_exposure;
    struct Free {
        void operator()(uchar *pixels) const { std::free(pixels); }
    };
    std::unique_ptr<uchar, Free> m_pixels;
    bool m_prepared = false;
    QVector<bool> m_bandDone;
};

} // namespace simulator

#endif
