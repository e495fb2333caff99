#include "simulator/semimage.h"

#include "simulator/detector.h"

#include <QElapsedTimer>

#include <algorithm>

namespace simulator {
namespace {

const int bandRows = 64;
const double edgeMm = 40e-6; // half the width of the bright line along an edge
const int maxEdgePixels = 8;
const int stripPixels = 4 << 20; // about as many are looked up at a time
const qint64 turnMs = 20;

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

// What is looked up for a band: rows of the whole frame that serve its neighbours, too.
QRect stripOf(const QSize &frame, int band)
{
    const int rows = qMax(1, stripPixels / (frame.width() * bandRows)) * bandRows;
    const int first = band * bandRows / rows * rows;
    const int margin = maxEdgePixels + 1;
    return QRect(0, first, frame.width(), qMin(rows, frame.height() - first))
        .adjusted(-margin, -margin, margin, margin);
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

// Pixels of an earlier frame of this size are shown until there are new ones.
void SemImage::begin(const Exposure &exposure)
{
    if (exposure.frame != m_exposure.frame) { // calloc: untouched pages cost nothing
        const size_t width = size_t(exposure.frame.width());
        m_pixels.reset(static_cast<uchar *>(std::calloc(size_t(exposure.frame.height()), width)));
    }
    m_exposure = exposure;
    m_bandDone.fill(false, exposure.frame.height() / bandRows + 1);
}

Knowledge SemImage::expose(const Exposure &exposure, int firstRow, int rows)
{
    QElapsedTimer turn;
    turn.start();
    const QTransform designToFrame =
        m_wafer.frameToDesign(exposure.stageMm, exposure.viewFieldMm, exposure.frame).inverted();
    for (int band = firstRow / bandRows; band * bandRows < firstRow + rows; ++band) {
        if (exposure == m_exposure && m_bandDone.at(band))
            continue;
        const Knowledge knowledge =
            m_scene->lookUp({ designToFrame, stripOf(exposure.frame, band) });
        if (knowledge == Knowledge::Known ? !(exposure == m_exposure)
                                          : exposure.frame != m_exposure.frame)
            begin(exposure);
        if (knowledge != Knowledge::Known)
            return knowledge;
        renderBand(band, designToFrame);
        if (turn.hasExpired(turnMs))
            return Knowledge::Coming;
    }
    return Knowledge::Known;
}

const uchar *SemImage::row(int row) const
{
    return m_pixels.get() + size_t(row) * size_t(m_exposure.frame.width());
}

void SemImage::renderBand(int band, const QTransform &designToFrame)
{
    const int firstRow = band * bandRows;
    const int rows = qMin(bandRows, m_exposure.frame.height() - firstRow);
    const double pixelMm = m_exposure.viewFieldMm / m_exposure.frame.width();
    const int reach = qBound(1, qRound(edgeMm / pixelMm), maxEdgePixels);
    const int margin = reach + 1;
    const QRect pixels = QRect(0, firstRow, m_exposure.frame.width(), rows)
                             .adjusted(-margin, -margin, margin, margin);
    QImage materials(pixels.size(), QImage::Format_Grayscale8);
    materials.fill(0);
    m_scene->paint(&materials, { designToFrame, pixels });
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
