#include "simulator/noise.h"

#include <algorithm>
#include <cmath>
#include <random>

namespace simulator {
namespace {

const size_t tableSize = 1 << 17;
const size_t longestRow = 1 << 14;
const double whiteNoise = 400; // grey levels at a dwell time of 1 ns

quint64 scrambled(quint64 value)
{
    value += 0x9E3779B97F4A7C15u;
    value = (value ^ value >> 30) * 0xBF58476D1CE4E5B9u;
    value = (value ^ value >> 27) * 0x94D049BB133111EBu;
    return value ^ value >> 31;
}

} // namespace

ShotNoise::ShotNoise(quint64 seed)
    : m_seed(seed)
    , m_normal(tableSize)
    , m_scaled(tableSize)
{
    std::mt19937_64 generator(seed);
    std::normal_distribution<float> normal;
    for (float &value : m_normal)
        value = normal(generator);
}

void ShotNoise::setDwellNs(double dwellNs)
{
    const float sigma = float(whiteNoise / std::sqrt(std::max(dwellNs, 1.0)));
    for (size_t i = 0; i < tableSize; ++i)
        m_scaled[i] = qint16(std::lround(std::clamp(m_normal[i] * sigma, -127.f, 127.f) * 256));
}

void ShotNoise::apply(const uchar *clean, int count, quint64 frame, quint64 row, uchar *out) const
{
    const quint64 code = scrambled(m_seed ^ scrambled(frame << 20 ^ row));
    const qint16 *noise = m_scaled.data() + code % (tableSize - longestRow);
    for (int x = 0; x < count; ++x) {
        const int weight = 64 + clean[x] * 3 / 4; // dark places give fewer electrons
        const int value = clean[x] + ((noise[x] * weight + (1 << 15)) >> 16);
        out[x] = uchar(std::clamp(value, 0, 255));
    }
}

} // namespace simulator
