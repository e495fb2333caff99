#include "bench/matching/photograph.h"

#include "simulator/noise.h"
#include "simulator/semimage.h"

#include <opencv2/imgproc.hpp>

#include <cmath>

namespace {
using Generator = std::mt19937_64;

double between(double low, double high, Generator *generator)
{
    return std::uniform_real_distribution<double>(low, high)(*generator);
}

cv::Mat plainImage(Wafered *scene, const simulator::Wafer &wafer,
                   const simulator::Exposure &exposure)
{
    simulator::SemImage sem(scene, wafer);
    const int edge = exposure.frame.width();
    while (sem.expose(exposure, 0, edge) != simulator::Knowledge::Known) { }
    cv::Mat image(edge, edge, CV_8U);
    for (int y = 0; y < edge; ++y)
        std::copy(sem.row(y), sem.row(y) + edge, image.ptr(y));
    return image;
}

// What a real instrument does to the picture: painted twice as fine, then blurred and reduced.
cv::Mat hardImage(Wafered *scene, const QTransform &designToFrame, int edge, Generator *generator)
{
    const uint hidden[] = { 0, 0x40, 0x60, 0x78, 0x1e }; // bit n: layer n
    scene->hiddenLayers = hidden[(*generator)() % 5];
    scene->missingPercent = 10;
    scene->seed = uint((*generator)());
    QImage painted(2 * edge, 2 * edge, QImage::Format_Grayscale8);
    painted.fill(0);
    scene->paint(&painted, { designToFrame * QTransform::fromScale(2, 2), painted.rect() });
    const cv::Mat materials(2 * edge, 2 * edge, CV_8U, painted.bits(),
                            size_t(painted.bytesPerLine()));

    cv::Mat greys(1, 256, CV_32F);
    for (int n = 0; n < 256; ++n)
        greys.at<float>(n) = float(between(40, 200, generator));
    cv::Mat surface(materials.size(), CV_32F), upper, lower, rims;
    for (int y = 0; y < surface.rows; ++y) {
        for (int x = 0; x < surface.cols; ++x)
            surface.at<float>(y, x) = greys.at<float>(materials.at<uchar>(y, x));
    }
    cv::dilate(materials, upper, {});
    cv::erode(materials, lower, {});
    cv::compare(upper, lower, rims, cv::CMP_NE);
    cv::Mat glow;
    rims.convertTo(glow, CV_32F, between(0, 70, generator) / 255);
    surface += glow;
    cv::GaussianBlur(surface, surface, {}, between(1, 3, generator));
    cv::Mat image;
    cv::resize(surface, image, { edge, edge }, 0, 0, cv::INTER_AREA);
    for (int y = 0; y < edge; ++y)
        image.row(y) *= between(0.97, 1.03, generator);
    image.convertTo(image, CV_8U);
    return image;
}

} // namespace

Photograph photograph(const Chip &chip, Kind kind, const QPointF &point, double turnDegrees,
                      double scale, double viewFieldMm, int edge, double dwellNs,
                      Generator *generator)
{
    Wafered scene(chip);
    simulator::Wafer wafer;
    wafer.rotationDegrees = turnDegrees;
    wafer.scale = scale;
    simulator::Exposure exposure;
    exposure.frame = { edge, edge };
    exposure.stageMm = wafer.stageToDesign().inverted().map(point);
    exposure.viewFieldMm = viewFieldMm;
    exposure.settled = true;
    const QTransform toFrame =
        wafer.frameToDesign(exposure.stageMm, viewFieldMm, exposure.frame).inverted();

    Photograph result;
    result.image = kind == Kind::Plain ? plainImage(&scene, wafer, exposure)
                                       : hardImage(&scene, toFrame, edge, generator);
    simulator::ShotNoise noise((*generator)());
    noise.setDwellNs(dwellNs);
    for (int y = 0; y < edge; ++y)
        noise.apply(result.image.ptr(y), edge, 0, quint64(y), result.image.ptr(y));
    const double pixel = viewFieldMm * wafer.unitsPerMm() * scale / edge;
    result.truth = matching::makePose({ point.x(), point.y() }, pixel, turnDegrees * CV_PI / 180);
    return result;
}
