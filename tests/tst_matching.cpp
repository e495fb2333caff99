// Finds images of a small design made of rectangles, in pixels of the window that is asked for.

#include "matching/find.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>

using namespace matching;

namespace {

std::vector<cv::Rect2d> scattered()
{
    cv::RNG random(7);
    std::vector<cv::Rect2d> boxes;
    for (int n = 0; n < 150; ++n)
        boxes.emplace_back(random.uniform(-400, 400), random.uniform(-400, 400),
                           random.uniform(8, 50), random.uniform(8, 50));
    return boxes;
}

std::vector<cv::Rect2d> grid()
{
    std::vector<cv::Rect2d> boxes;
    for (int n = 0; n < 1600; ++n)
        boxes.emplace_back(n % 40 * 25 - 500, n / 40 * 25 - 500, 12, 12);
    return boxes;
}

std::vector<cv::Mat> draw(const std::vector<cv::Rect2d> &boxes, const Window &window)
{
    cv::Mat layer(window.size * 4, CV_8U, cv::Scalar(0));
    for (const cv::Rect2d &box : boxes) // y upwards
        cv::rectangle(layer, cv::Rect(window.toPixel({ box.x, box.br().y }) * 4,
                                      window.toPixel({ box.br().x, box.y }) * 4), 255, -1);
    cv::resize(layer, layer, window.size, 0, 0, cv::INTER_AREA);
    return { layer };
}

// An inverted, noisy image of 256 pixels that lies as `pose`.
cv::Mat photograph(const std::vector<cv::Rect2d> &boxes, const Pose &pose)
{
    const Window window { { -400, 400 }, 1, { 800, 800 } };
    const Placing placing = placingOf(pose, window);
    const cv::Matx22d &a = placing.axes;
    const cv::Point2d corner = placing.centre - cv::Point2d(a * cv::Vec2d(127.5, 127.5));
    cv::Mat image, noise(256, 256, CV_8U);
    cv::warpAffine(draw(boxes, window).front(), image,
                   cv::Matx23d(a(0, 0), a(0, 1), corner.x - 0.5, a(1, 0), a(1, 1), corner.y - 0.5),
                   noise.size(), cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    cv::RNG(3).fill(noise, cv::RNG::UNIFORM, 0, 60);
    return 200 - image * 0.5 - noise;
}

const double turn = 0.025;
const Pose truth = makePose({ 12.4, -31.7 }, 0.99, turn);
const Start start { makePose({}, 1, 0), 45, 0.035, 0.02 };

} // namespace

class TestMatching : public QObject {
    Q_OBJECT
private slots:
    void findsWhatIsThere();
    void refuses_data();
    void refuses();
};

void TestMatching::findsWhatIsThere()
{
    const auto boxes = scattered();
    const Match match = find(photograph(boxes, truth),
                             [&](const Window &window) { return draw(boxes, window); }, start);
    QCOMPARE(word(match.refusal), "");
    QVERIFY(cv::norm(match.pose.centre - truth.centre) < 0.15);
    QVERIFY(std::abs(match.pose.turn() - turn) < 0.001);
    QVERIFY(std::abs(match.pose.pixelSize() - 0.99) < 0.001);
}

void TestMatching::refuses_data()
{
    QTest::addColumn<int>("kind");
    const char *const kinds[] = { "bad image", "empty", "bad start", "no shapes", "repetitive",
                                  "cancelled", "mirrored" };
    for (int n = 0; n < 7; ++n)
        QTest::newRow(kinds[n]) << n;
}

void TestMatching::refuses()
{
    QFETCH(int, kind);
    auto boxes = kind == 4 ? grid() : scattered();
    cv::Mat image = photograph(boxes, truth);
    Start from = start;
    Options options;
    switch (kind) {
    case 0: image = cv::Mat(1, 1, CV_8U, cv::Scalar(9)); break;
    case 1: image = cv::Mat(8192, 8192, CV_8U, cv::Scalar(9)); break;
    case 2: from.pose.centre.x = std::nan(""); break;
    case 3: boxes.clear(); break;
    case 5: options.cancelled = [] { return true; }; break;
    case 6: cv::flip(image, image, 1); break;
    }
    const Match match = find(image, [&](const Window &window) { return draw(boxes, window); }, from,
                             options);
    QVERIFY(!match.accepted());
    if (kind == 4) // which of the two is a matter of taste
        QVERIFY(match.refusal == Refusal::Repetitive || match.refusal == Refusal::Alike);
    else if (kind != 6)
        QCOMPARE(word(match.refusal), QTest::currentDataTag());
}

QTEST_APPLESS_MAIN(TestMatching)
#include "tst_matching.moc"
