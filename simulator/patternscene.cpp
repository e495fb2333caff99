#include "simulator/scene.h"

#include <QPainter>

#include <cmath>

namespace simulator {
namespace {

const double edge = 2e6; // database units of 1 nm
const double pitch = 5e4;

// A fixed hash: the same material at the same place, always.
uint mixed(int column, int row)
{
    uint value = uint(column) * 0x9E3779B1u ^ uint(row) * 0x85EBCA77u;
    value ^= value >> 15;
    value *= 0xC2B2AE3Du;
    return value ^ value >> 13;
}

class PatternScene : public Scene {
public:
    double databaseUnitMetres() const override { return 1e-9; }
    QPointF centre() const override { return QPointF(edge / 2, edge / 2); }
    void paint(QImage *materials, const Place &place) override;

private:
    static void paintField(QPainter *painter, int column, int row);
};

void PatternScene::paintField(QPainter *painter, int column, int row)
{
    const uint code = mixed(column, row);
    const int material = 1 + int(code % (materialCount - 1));
    const double size = pitch * (0.3 + 0.6 * double(code >> 8 & 255) / 255);
    const QRectF area(column * pitch, row * pitch, size, size * (code & 1 << 20 ? 1 : 0.6));
    painter->setBrush(QColor(material, material, material));
    if (code & 1 << 21)
        painter->drawEllipse(area);
    else
        painter->drawRect(area);
}

void PatternScene::paint(QImage *materials, const Place &place)
{
    const QPoint corner = place.pixels.topLeft();
    const QTransform designToPixel =
        place.designToFrame * QTransform::fromTranslate(-corner.x(), -corner.y());
    const QRectF window =
        designToPixel.inverted().mapRect(QRectF(materials->rect())) & QRectF(0, 0, edge, edge);
    QPainter painter(materials);
    painter.setPen(Qt::NoPen);
    painter.setTransform(designToPixel);
    if (window.isEmpty())
        return;
    for (int row = int(window.top() / pitch); row * pitch < window.bottom(); ++row) {
        for (int column = int(window.left() / pitch); column * pitch < window.right(); ++column)
            paintField(&painter, column, row);
    }
}

} // namespace

std::unique_ptr<Scene> makePatternScene()
{
    return std::make_unique<PatternScene>();
}

} // namespace simulator
