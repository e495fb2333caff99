#include "simulator/semimage.h"

#include "simulator/detector.h"
#include "simulator/scene.h"

#include <algorithm>

namespace simulator {
namespace {

const int bandRows = 64;
const double edgeMm = 40e-6; // half the width of the bright line along an edge
const int maxEdgePixels = 8;

using Levels = std::array<uchar, 2 * materialCount>; // plain surfaces, then edges

Levels levelsOf(const Exposure &exposure)
{
    const Detector &detector = detectors[exposure.detector];
    Levels levels;
    for (int i = 0; i < 2 * materialCount; ++i)
        levels[size_t(i)] = detector.level(i % materialCount, i >= materialCount, exposure.settled);
    return levels;
}

// Grey levels of one row; a pixel is at an edge when the materials on both sides of it differ.
void lightUp(const uchar *above, const uchar *here, const uchar *below, int reach, int count,
             const Levels &levels, uchar *out)
{
    for (int x = 0; x < count; ++x) {
        const bool atEdge = (here[x - reach] != here[x + reach]) | (above[x] != below[x]);
        out[x] = uchar((here[x] & (materialCount - 1)) + atEdge * materialCount);
    }
    for (int x = 0; x < count; ++x)
        out[x] = levels[out[x]];
}

// The beam is not a point: each pixel takes in a little of its neighbours. The rows begin one pixel
// left of the output.
void blur(const uchar *above, const uchar *here, const uchar *below, int count, uchar *out)
{
    auto column = [&](int x) { return above[x] + 2 * here[x] + below[x]; };
    for (int x = 0; x < count; ++x)
        out[x] = uchar((column(x) + 2 * column(x + 1) + column(x + 2) + 8) / 16);
}

} // namespace

bool Exposure::operator==(const Exposure &other) const
{
    return frame == other.frame && stageMm.x() == other.stageMm.x()
        && stageMm.y() == other.stageMm.y() && viewFieldMm == other.viewFieldMm
        && detector == other.detector && settled == other.settled;
}

SemImage::SemImage(Scene *scene, const Wafer &wafer)
    : m_scene(scene)
    , m_wafer(wafer)
{
}

const uchar *SemImage::row(const Exposure &exposure, int row)
{
    if (!(exposure == m_exposure)) {
        if (exposure.frame != m_exposure.frame) { // calloc: untouched pages cost nothing
            const size_t width = size_t(exposure.frame.width());
            m_pixels.reset(
                static_cast<uchar *>(std::calloc(size_t(exposure.frame.height()), width)));
        }
        m_exposure = exposure;
        m_bandDone.fill(false, exposure.frame.height() / bandRows + 1);
        m_prepared = false;
    }
    const int band = row / bandRows;
    if (!m_bandDone.at(band))
        renderBand(band);
    return m_pixels.get() + size_t(row) * size_t(exposure.frame.width());
}

QTransform SemImage::pixelToDesign() const
{
    return m_wafer.frameToDesign(m_exposure.stageMm, m_exposure.viewFieldMm, m_exposure.frame);
}

bool SemImage::prepareScene()
{
    const int margin = maxEdgePixels + 1;
    const QRect frame =
        QRect(QPoint(), m_exposure.frame).adjusted(-margin, -margin, margin, margin);
    m_prepared = m_prepared || m_scene->prepare(pixelToDesign().mapRect(QRectF(frame)));
    return m_prepared;
}

bool SemImage::paintMaterials(QImage *materials, int firstRow, int margin)
{
    materials->fill(0);
    const QTransform toDesign =
        QTransform::fromTranslate(-margin, firstRow - margin) * pixelToDesign();
    return m_scene->paint(materials, toDesign.inverted());
}

void SemImage::renderBand(int band)
{
    const int firstRow = band * bandRows;
    const int rows = qMin(bandRows, m_exposure.frame.height() - firstRow);
    const double pixelMm = m_exposure.viewFieldMm / m_exposure.frame.width();
    const int reach = qBound(1, qRound(edgeMm / pixelMm), maxEdgePixels);
    const int margin = reach + 1;
    QImage materials(m_exposure.frame.width() + 2 * margin, rows + 2 * margin,
                     QImage::Format_Grayscale8);
    if (!prepareScene() || !paintMaterials(&materials, firstRow, margin))
        return;
    develop(materials, margin, reach, firstRow, rows);
    m_bandDone[band] = true;
}

void SemImage::develop(const QImage &materials, int margin, int reach, int firstRow, int rows)
{
    const int width = m_exposure.frame.width();
    const Levels levels = levelsOf(m_exposure);
    const size_t stride = size_t(width) + 2;
    QVector<uchar> sharp(int(stride) * (rows + 2)); // one pixel more on each side
    for (int y = 0; y < rows + 2; ++y) {
        const int line = y - 1 + margin;
        lightUp(materials.constScanLine(line - reach) + reach,
                materials.constScanLine(line) + reach,
                materials.constScanLine(line + reach) + reach, reach, width + 2, levels,
                sharp.data() + size_t(y) * stride);
    }
    for (int y = 0; y < rows; ++y) {
        const uchar *above = sharp.constData() + size_t(y) * stride;
        blur(above, above + stride, above + 2 * stride, width,
             m_pixels.get() + size_t(firstRow + y) * size_t(width));
    }
}

} // namespace simulator
