#include "matching/view.h"

#include <opencv2/imgproc.hpp>

#include <algorithm>
#include <cmath>

namespace matching {

bool View::hasShapes() const
{
    return std::any_of(coverage.begin(), coverage.end(),
                       [](const cv::Mat &layer) { return cv::countNonZero(layer) > 0; });
}

View View::reduced(double factor) const
{
    View result;
    result.window = window;
    result.window.size =
        cv::Size(cvRound(window.size.width / factor), cvRound(window.size.height / factor));
    result.window.pixelSize *= double(window.size.width) / result.window.size.width;
    for (const cv::Mat &layer : coverage) {
        cv::Mat smaller;
        cv::resize(layer, smaller, result.window.size, 0, 0, cv::INTER_AREA);
        result.coverage.push_back(smaller);
    }
    return result;
}

View look(const Design &design, const cv::Point2d &centre, const cv::Point2d &half,
          double pixelSize)
{
    View view;
    view.window.pixelSize = pixelSize;
    view.window.size =
        cv::Size(int(std::ceil(2 * half.x / pixelSize)), int(std::ceil(2 * half.y / pixelSize)));
    view.window.topLeft = { centre.x - view.window.size.width * pixelSize / 2,
                            centre.y + view.window.size.height * pixelSize / 2 };
    view.coverage = design(view.window);
    for (const cv::Mat &layer : view.coverage) {
        if (layer.size() != view.window.size || layer.type() != CV_8UC1)
            return { view.window, {} };
    }
    return view;
}

cv::Point2d halfExtent(const cv::Matx22d &axes, const cv::Size &image, double margin)
{
    const double w = image.width / 2., h = image.height / 2.;
    return { std::abs(axes(0, 0)) * w + std::abs(axes(0, 1)) * h + margin,
             std::abs(axes(1, 0)) * w + std::abs(axes(1, 1)) * h + margin };
}

cv::Rect around(const Placing &placing, const cv::Size &image, int margin)
{
    const cv::Point2d half = halfExtent(placing.axes, image, margin);
    return cv::Rect(cv::Point(placing.centre - half), cv::Point(placing.centre + half));
}

Scaled::Scaled(const cv::Mat &image, double longestEdge)
    : factor(std::max(1., std::max(image.cols, image.rows) / longestEdge))
{
    const cv::Size size(std::max(1, cvRound(image.cols / factor)),
                        std::max(1, cvRound(image.rows / factor)));
    if (size == image.size())
        image.convertTo(grey, CV_32F);
    else {
        cv::resize(image, grey, size, 0, 0, cv::INTER_AREA);
        grey.convertTo(grey, CV_32F);
    }
}

} // namespace matching
