#include "hosting/layershapes.h"

#include <opencv2/imgproc.hpp>

#include <QImage>
#include <QPainter>

namespace hosting {

static const int mostLayers = 64;
static const int samples = 4; // along each edge of a pixel
static const int mostSamples = 4096; // along an edge of the window

void LayerShapes::take(const qint32 *numbers, qsizetype count)
{
    m_shapes.clear();
    m_layers = 0;
    const qint32 *const end = numbers + count;
    while (end - numbers >= 2) {
        const int layer = numbers[0], points = numbers[1];
        numbers += 2;
        if (points < 0 || (end - numbers) / 2 < points)
            return;
        Shape shape{ layer, QPolygonF(points), QRectF() };
        for (QPointF &point : shape.polygon) {
            point = QPointF(numbers[0], numbers[1]);
            numbers += 2;
        }
        shape.bounds = shape.polygon.boundingRect();
        if (layer < 0 || layer >= mostLayers)
            continue;
        m_layers = qMax(m_layers, layer + 1);
        m_shapes.append(shape);
    }
}

// Painted finer than asked for and averaged, which is exact to 1/8 of a pixel and faster than what
// a painter does to smooth edges.
std::vector<cv::Mat> LayerShapes::coverage(const matching::Window &window) const
{
    const int longest = std::max(window.size.width, window.size.height);
    const int fineness = qBound(1, mostSamples / qMax(1, longest), samples);
    const QSize size(window.size.width * fineness, window.size.height * fineness);
    const double scale = fineness / window.pixelSize;
    const QTransform toSample(scale, 0, 0, -scale, -window.topLeft.x * scale,
                              window.topLeft.y * scale);
    const QRectF area = toSample.inverted().mapRect(QRectF(QPointF(), QSizeF(size)));
    std::vector<QImage> masks;
    for (int layer = 0; layer < m_layers; ++layer) {
        masks.emplace_back(size, QImage::Format_Grayscale8);
        masks.back().fill(0);
    }
    std::vector<std::unique_ptr<QPainter>> painters;
    for (QImage &mask : masks) {
        painters.push_back(std::make_unique<QPainter>(&mask));
        painters.back()->setPen(Qt::NoPen);
        painters.back()->setBrush(Qt::white);
        painters.back()->setTransform(toSample);
    }
    for (const Shape &shape : m_shapes)
        if (shape.bounds.intersects(area))
            painters[size_t(shape.layer)]->drawPolygon(shape.polygon, Qt::WindingFill);
    painters.clear();
    std::vector<cv::Mat> result;
    for (QImage &mask : masks) {
        const cv::Mat fine(size.height(), size.width(), CV_8U, mask.bits(),
                           size_t(mask.bytesPerLine()));
        result.emplace_back();
        cv::resize(fine, result.back(), window.size, 0, 0, cv::INTER_AREA);
    }
    return result;
}

} // namespace hosting
