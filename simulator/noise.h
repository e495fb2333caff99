#ifndef SIMULATOR_NOISE_H
#define SIMULATOR_NOISE_H

#include <QtGlobal>

#include <vector>

namespace simulator {

/// The shot noise of the beam: the fewer electrons a pixel gets, the more it varies, by one over
/// the square root of the dwell time. The same seed gives the same noise.
class ShotNoise {
public:
    explicit ShotNoise(quint64 seed);

    void setDwellNs(double dwellNs);

    /// Writes `count` (up to 16384) pixels of `clean` with noise into `out`. Row and frame number
    /// decide which noise it is.
    void apply(const uchar *clean, int count, quint64 frame, quint64 row, uchar *out) const;

private:
    quint64 m_seed;
    std::vector<float> m_normal;
    std::vector<qint16> m_scaled; // for a white pixel
};

} // namespace simulator

#endif
