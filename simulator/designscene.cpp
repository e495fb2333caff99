#include "simulator/layoutserver.h"
#include "simulator/polygonpainter.h"
#include "simulator/scene.h"

#include <cmath>

namespace simulator {
namespace {

const double finest = 4; // picture pixels per frame pixel, along each side
const double largestSide = 4096; // of a picture, unless the frame itself has more

struct Shape {
    QPolygon polygon;
    QRect bounds;
    uchar material;
};

QVector<Shape> decode(const QByteArray &payload)
{
    QVector<Shape> shapes;
    const auto *at = reinterpret_cast<const qint32 *>(payload.constData());
    const auto *end = at + payload.size() / int(sizeof *at);
    while (at < end) {
        Shape shape;
        shape.material = uchar(*at++);
        for (int points = *at++; points > 0; --points, at += 2)
            shape.polygon.append(QPoint(at[0], at[1]));
        shape.bounds = shape.polygon.boundingRect();
        shapes.append(shape);
    }
    return shapes;
}

QRect wholeUnits(const QRectF &area)
{
    const QRectF limits(-1e9, -1e9, 2e9, 2e9);
    return area.intersected(limits).toAlignedRect();
}

/// The chip of a layout. What KLayout hands over for the window under the beam is kept until the
/// window is another.
class DesignScene : public Scene {
public:
    bool open(const QString &file, QString *error) { return m_server.start(file, error); }

    double databaseUnitMetres() const override { return m_server.databaseUnitMetres(); }
    QPointF centre() const override { return m_server.bounds().center(); }
    bool prepare(const QRectF &window) override;
    bool paint(QImage *materials, const QTransform &designToPixel) override;

private:
    bool paintPicture(QImage *materials, const QTransform &designToPixel);

    LayoutServer m_server;
    bool m_many = false;
    QVector<Shape> m_shapes;
};

bool DesignScene::prepare(const QRectF &window)
{
    const QRect area = wholeUnits(window);
    const LayoutServer::Answer answer = m_server.shapes(area.adjusted(-1, -1, 1, 1));
    if (answer.kind == LayoutServer::Answer::None)
        return false;
    m_many = answer.kind == LayoutServer::Answer::Many;
    m_shapes = m_many ? QVector<Shape>() : decode(answer.payload);
    return true;
}

bool DesignScene::paint(QImage *materials, const QTransform &designToPixel)
{
    if (m_many)
        return paintPicture(materials, designToPixel);
    PolygonPainter painter(materials, designToPixel);
    for (const Shape &shape : m_shapes)
        painter.paint(shape.polygon, shape.bounds, shape.material);
    return true;
}

/// The material at a point of the picture, in picture pixels from the lower left. KLayout fills the
/// pixels of both edges of a shape, so a point is in it if the next pixels are filled, too.
uchar materialAt(const QImage &picture, const QPointF &point)
{
    const int column = int(std::floor(point.x())), row = int(std::floor(point.y()));
    int material = 255;
    for (int y = row; y <= row + 1; ++y)
        for (int x = column; x <= column + 1; ++x) {
            const int line = picture.height() - 1 - y;
            const bool inside = picture.valid(x, line);
            const auto *pixels =
                inside ? reinterpret_cast<const QRgb *>(picture.constScanLine(line)) : nullptr;
            material = qMin(material, inside ? qRed(pixels[x]) : 0);
        }
    return uchar(material);
}

// The picture lies upright in the design and is finer than the frame.
bool DesignScene::paintPicture(QImage *materials, const QTransform &designToPixel)
{
    const QTransform toDesign = designToPixel.inverted();
    const QRect window =
        wholeUnits(toDesign.mapRect(QRectF(materials->rect()))).adjusted(-1, -1, 1, 1);
    const double perUnit = std::sqrt(std::abs(designToPixel.determinant()));
    const double longer = perUnit * qMax(window.width(), window.height());
    const double scale = perUnit * qBound(1.0, largestSide / longer, finest);
    const QSize size(int(std::ceil(window.width() * scale)),
                     int(std::ceil(window.height() * scale)));
    const LayoutServer::Answer answer = m_server.picture(window, size);
    const QImage picture = QImage::fromData(answer.payload).convertToFormat(QImage::Format_RGB32);
    if (answer.kind != LayoutServer::Answer::Picture || picture.size() != size)
        return false;
    const QTransform toPicture = QTransform::fromTranslate(0.5, 0.5) * toDesign
        * QTransform::fromTranslate(-window.left(), -window.top())
        * QTransform::fromScale(size.width() / double(window.width()),
                                size.height() / double(window.height()));
    const QPointF step(toPicture.m11(), toPicture.m12());
    for (int y = 0; y < materials->height(); ++y) {
        uchar *out = materials->scanLine(y);
        const QPointF start = toPicture.map(QPointF(0, y));
        for (int x = 0; x < materials->width(); ++x)
            out[x] = materialAt(picture, start + x * step);
    }
    return true;
}

} // namespace

std::unique_ptr<Scene> openDesignScene(const QString &file, QString *error)
{
    auto scene = std::make_unique<DesignScene>();
    return scene->open(file, error) ? std::move(scene) : nullptr;
}

} // namespace simulator
