#include "bench/matching/chip.h"

#include "simulator/polygonpainter.h"

#include <opencv2/imgproc.hpp>

#include <QFile>
#include <QHash>
#include <QProcess>
#include <QTemporaryDir>

#include <algorithm>
#include <cmath>

namespace {

const double tileSize = 20000; // database units
const double samplePixel = 80; // database units that are fine enough to tell how much is covered
const int leastMark = 80000, mostMark = 130000; // database units across
const int mostSamples = 4; // along each edge of a pixel

QByteArray readShapes(const QString &layout)
{
    QTemporaryDir folder;
    const QString output = folder.filePath("shapes");
    QProcess klayout;
    klayout.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    klayout.start(
        "klayout",
        { "-zz", "-r", SHAPES_SCRIPT, "-rd", "design=" + layout, "-rd", "output=" + output });
    if (!klayout.waitForFinished(180000))
        klayout.kill();
    QFile file(output);
    if (klayout.exitStatus() != QProcess::NormalExit || klayout.exitCode() != 0
        || !file.open(QIODevice::ReadOnly))
        qFatal("KLayout cannot read %s", qPrintable(layout));
    return file.readAll();
}

int tileOf(double coordinate)
{
    return int(std::floor(coordinate / tileSize));
}

} // namespace

Chip::Chip(const QString &layout)
{
    const QByteArray data = readShapes(layout);
    const auto *at = reinterpret_cast<const qint32 *>(data.constData());
    const auto *end = at + data.size() / int(sizeof *at);
    while (at < end) {
        Shape shape;
        shape.layer = uchar(at[0]);
        const auto *last = at + 2 + 2 * at[1];
        for (at += 2; at < last; at += 2)
            shape.polygon.append(QPoint(at[0], at[1]));
        shape.bounds = shape.polygon.boundingRect();
        shape.number = m_shapes.size();
        m_layers = std::max(m_layers, int(shape.layer));
        m_bounds |= QRectF(shape.bounds);
        for (int y = tileOf(shape.bounds.top()); y <= tileOf(shape.bounds.bottom()); ++y) {
            for (int x = tileOf(shape.bounds.left()); x <= tileOf(shape.bounds.right()); ++x)
                m_tiles[{ x, y }].append(shape.number);
        }
        m_shapes.append(shape);
    }
}

QVector<const Chip::Shape *> Chip::shapesIn(const QRectF &area) const
{
    QVector<int> numbers;
    for (int y = tileOf(area.top()); y <= tileOf(area.bottom()); ++y) {
        for (int x = tileOf(area.left()); x <= tileOf(area.right()); ++x) {
            const auto tile = m_tiles.find({ x, y });
            if (tile != m_tiles.end())
                numbers += tile->second;
        }
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    QVector<const Shape *> shapes;
    for (int number : numbers)
        shapes.append(&m_shapes.at(number));
    return shapes;
}

QVector<QPointF> Chip::landmarks() const
{
    QVector<QPointF> marks;
    for (const Shape &shape : m_shapes) {
        const QRect &bounds = shape.bounds;
        if (shape.layer == m_layers && std::abs(bounds.width() - bounds.height()) < 10
            && bounds.width() > leastMark && bounds.width() < mostMark
            && (shape.polygon.size() == 8 || shape.polygon.size() == 12))
            marks.append(QRectF(bounds).center());
    }
    return marks;
}

std::vector<cv::Mat> Chip::coverage(const matching::Window &window) const
{
    const int samples =
        std::clamp(int(std::lround(window.pixelSize / samplePixel)), 1, mostSamples);
    const QSize size(window.size.width * samples, window.size.height * samples);
    const double scale = samples / window.pixelSize;
    const QTransform toPixel(scale, 0, 0, -scale, -window.topLeft.x * scale,
                             window.topLeft.y * scale);
    const QRectF area = toPixel.inverted().mapRect(QRectF({}, QSizeF(size)));
    const QVector<const Shape *> shapes = shapesIn(area);
    std::vector<cv::Mat> result;
    for (int layer = 1; layer <= m_layers; ++layer) {
        QImage mask(size, QImage::Format_Grayscale8);
        mask.fill(0);
        {
            simulator::PolygonPainter painter(&mask, toPixel);
            for (const Shape *shape : shapes) {
                if (shape->layer == layer)
                    painter.paint(shape->polygon, shape->bounds, 255);
            }
        }
        const cv::Mat fine(size.height(), size.width(), CV_8U, mask.bits(),
                           size_t(mask.bytesPerLine()));
        result.emplace_back();
        cv::resize(fine, result.back(), window.size, 0, 0, cv::INTER_AREA);
    }
    return result;
}

void Wafered::paint(QImage *materials, const simulator::Place &place)
{
    const QPoint corner = place.pixels.topLeft();
    const QRectF area = place.designToFrame.inverted().mapRect(QRectF(place.pixels));
    simulator::PolygonPainter painter(
        materials, place.designToFrame * QTransform::fromTranslate(-corner.x(), -corner.y()));
    for (const Chip::Shape *shape : m_chip.shapesIn(area)) {
        const bool hidden = hiddenLayers >> shape->layer & 1;
        if (!hidden && int(qHash(shape->number, seed) % 100) >= missingPercent)
            painter.paint(shape->polygon, shape->bounds, shape->layer);
    }
}
