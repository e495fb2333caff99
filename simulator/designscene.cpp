#include "simulator/layoutprocess.h"
#include "simulator/report.h"
#include "simulator/scene.h"
#include "simulator/shapelist.h"

#include <QtMath>

#include <cstring>
#include <optional>

namespace simulator {
namespace {

const int sampleCount = 4096; // of a picture, along its longer side: about as many
const int fewestSamples = 2, mostSamples = 8; // along each side of a pixel
const int patience = 2; // how often a process may die of the same place

int samplesFor(const QSize &pixels)
{
    return qBound(fewestSamples, (sampleCount / pixels.width() + 1) & ~1, mostSamples);
}

QByteArray requestFor(const Place &place)
{
    const QTransform &t = place.designToFrame;
    const QPoint corner = place.pixels.bottomLeft() + QPoint(0, 1); // y upwards from here
    const double values[] = { std::hypot(t.m11(), t.m12()),
                              qRadiansToDegrees(std::atan2(-t.m12(), t.m11())), t.dx() - corner.x(),
                              corner.y() - t.dy() };
    QByteArray request = QByteArray::number(place.pixels.width()) + ' '
        + QByteArray::number(place.pixels.height()) + ' '
        + QByteArray::number(samplesFor(place.pixels.size()));
    for (double value : values)
        request += ' ' + QByteArray::number(value, 'g', 17);
    return request;
}

/// The chip of a layout. KLayout is asked for one place at a time, and its last answer is kept.
class DesignScene : public Scene {
public:
    DesignScene();
    bool open(const QString &file, QString *error) { return m_process.start(file, error); }

    double databaseUnitMetres() const override { return m_process.databaseUnitMetres(); }
    QPointF centre() const override { return m_process.bounds().center(); }
    Knowledge lookUp(const Place &place) override;
    void paint(QImage *materials, const Place &place) override;

private:
    void take(const QByteArray &kind, const QByteArray &payload);
    void giveUp(const QString &problem);
    void noteEnd();

    LayoutProcess m_process;
    std::optional<Place> m_asked, m_known;
    std::optional<QTransform> m_failed;
    int m_deaths = 0;
    QString m_problem;
    ShapeList m_shapes;
    QImage m_picture; // null: the shapes are known instead
};

DesignScene::DesignScene()
{
    QObject::connect(
        &m_process, &LayoutProcess::answered,
        [this](const QByteArray &kind, const QByteArray &payload) { take(kind, payload); });
    QObject::connect(&m_process, &LayoutProcess::ended, [this] { noteEnd(); });
}

Knowledge DesignScene::lookUp(const Place &place)
{
    if (m_known == place)
        return Knowledge::Known;
    if (!m_process.isOpen() || m_failed == place.designToFrame)
        return Knowledge::Missing;
    if (!m_asked) {
        m_asked = place;
        m_process.ask(requestFor(place));
    }
    return Knowledge::Coming;
}

void DesignScene::take(const QByteArray &kind, const QByteArray &payload)
{
    if (!m_asked)
        return;
    m_deaths = 0;
    m_picture = kind == "picture"
        ? QImage::fromData(payload, "PGM").convertToFormat(QImage::Format_Grayscale8)
        : QImage();
    if (kind != "shapes" && m_picture.size() != m_asked->pixels.size())
        return giveUp("KLayout cannot show this place: " + QString::fromUtf8(payload.left(1000)));
    m_shapes = m_picture.isNull() ? ShapeList(payload) : ShapeList();
    m_known = m_asked;
    m_failed.reset();
    m_asked.reset();
}

void DesignScene::giveUp(const QString &problem)
{
    m_failed = m_asked->designToFrame;
    m_known.reset();
    m_asked.reset();
    if (problem != m_problem)
        report(problem + "; the picture stays as it is");
    m_problem = problem;
}

void DesignScene::noteEnd()
{
    if (m_asked && ++m_deaths >= patience)
        giveUp("KLayout dies of this place");
    m_asked.reset();
}

void DesignScene::paint(QImage *materials, const Place &place)
{
    if (m_picture.isNull())
        return m_shapes.paint(materials, place);
    const QPoint corner = place.pixels.topLeft() - m_known->pixels.topLeft();
    for (int y = 0; y < materials->height(); ++y)
        std::memcpy(materials->scanLine(y), m_picture.constScanLine(corner.y() + y) + corner.x(),
                    size_t(materials->width()));
}

} // namespace

std::unique_ptr<Scene> openDesignScene(const QString &file, QString *error)
{
    auto scene = std::make_unique<DesignScene>();
    return scene->open(file, error) ? std::move(scene) : nullptr;
}

} // namespace simulator
