#ifndef SIMULATOR_SEMIMAGE_H
#define SIMULATOR_SEMIMAGE_H

#include "simulator/scene.h"
#include "simulator/wafer.h"

#include <QVector>

#include <cstdlib>

namespace simulator {

/// Everything a picture without noise depends on.
struct Exposure {
    QSize frame;
    QPointF stageMm;
    double viewFieldMm = 1;
    int detector = 0;
    bool settled = false; ///< the signal's contrast has been adjusted

    bool operator==(const Exposure &other) const;
};

/// The picture of the scene under the beam, developed in bands of rows when they are asked for and
/// kept until the exposure changes. What was there stays until then.
class SemImage {
public:
    /// `scene` must outlive this object.
    SemImage(Scene *scene, const Wafer &wafer);

    /// Exposes rows, as far as the scene is known there and for 20 ms at most. Known: all of them
    /// are as `exposure` has it. Missing: they can be read, and are as they were.
    Knowledge expose(const Exposure &exposure, int firstRow, int rows);

    /// One row of frame.width() grey levels, valid until the next exposure.
    const uchar *row(int row) const;

private:
    void begin(const Exposure &exposure);
    void renderBand(int band, const QTransform &designToFrame);
    void develop(const QImage &materials, int margin, int reach, int firstRow, int rows);

    Scene *m_scene;
    Wafer m_wafer;
    Exposure m_exposure;
    struct Free {
        void operator()(uchar *pixels) const { std::free(pixels); }
    };
    std::unique_ptr<uchar, Free> m_pixels;
    QVector<bool> m_bandDone;
};

} // namespace simulator

#endif
