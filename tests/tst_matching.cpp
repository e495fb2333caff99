#include "matching/check.h"

#include <QtTest>

#include <opencv2/imgproc.hpp>

using namespace matching;

static std::vector<cv::Mat> draw(bool repetitive, const Window &window)
{
    cv::Mat layer(window.size * 4, CV_8U, cv::Scalar(0));
    cv::RNG random(7);
    for (int n = 0; n < (repetitive ? 1600 : 150); ++n) {
        cv::Rect2d box(n % 40 * 25 - 500, n / 40 * 25 - 500, 12, 12);
        if (!repetitive)
            box = cv::Rect(random.uniform(-400, 400), random.uniform(-400, 400),
                           random.uniform(8, 50), random.uniform(8, 50));
        cv::rectangle(layer, cv::Rect(window.toPixel({ box.x, box.br().y }) * 4,
                                      window.toPixel({ box.br().x, box.y }) * 4), 255, -1);
    }
    cv::resize(layer, layer, window.size, 0, 0, cv::INTER_AREA);
    return { layer };
}

class TestMatching : public QObject {
    Q_OBJECT
private slots:
    void findsOrRefuses_data();
    void findsOrRefuses();
    void checks_data();
    void checks();
};

// An image of what lies there, inverted and noisy.
static cv::Mat photograph(bool repetitive, const Pose &truth)
{
    const Window window { truth.centre + cv::Point2d(-200, 200), 1, { 400, 400 } };
    cv::Mat image, noise(256, 256, CV_8U), matrix;
    const cv::Matx22d axes = placingOf(truth, window).axes;
    const cv::Vec2d corner = cv::Vec2d(199.5, 199.5) - axes * cv::Vec2d(127.5, 127.5);
    cv::hconcat(cv::Mat(axes), cv::Mat(corner), matrix);
    cv::warpAffine(draw(repetitive, window).front(), image, matrix, noise.size(),
                   cv::INTER_LINEAR | cv::WARP_INVERSE_MAP);
    cv::RNG(3).fill(noise, cv::RNG::UNIFORM, 0, 60);
    return 200 - image * 0.5 - noise;
}

void TestMatching::findsOrRefuses_data()
{
    QTest::addColumn<QString>("word");
    for (const char *word : { "", "bad image", "empty", "bad start", "no shapes", "cancelled",
                              "two places alike", "mirrored" })
        QTest::newRow(*word ? word : "found") << word;
}

void TestMatching::findsOrRefuses()
{
    QFETCH(QString, word);
    const bool repetitive = word == "two places alike";
    const Pose truth = makePose({ 12.4, -31.7 }, 0.99, 0.025);
    cv::Mat image = photograph(repetitive, truth);
    Start start { makePose({}, 1, 0), 45, 0.035, 0.02 };
    Options options;
    options.cancelled = [&] { return word == "cancelled"; };
    if (word == "bad image" || word == "empty")
        image = cv::Mat(word == "empty" ? cv::Size(8192, 8192) : cv::Size(1, 1), CV_8U, 9.);
    if (word == "bad start")
        start.pose.centre.x = std::nan("");
    if (word == "mirrored")
        cv::flip(image, image, 1);
    const Match match = find(image, [&](const Window &part) {
        return word == "no shapes" ? std::vector<cv::Mat>() : draw(repetitive, part);
    }, start, options);
    QCOMPARE(match.accepted(), word.isEmpty());
    QVERIFY(word == "mirrored" || matching::word(match.refusal) == word);
    QVERIFY(!match.accepted() || cv::norm(match.pose.centre - truth.centre) < 0.15);
    QVERIFY(!match.accepted() || std::abs(match.pose.turn() - 0.025) < 0.001);
}

void TestMatching::checks_data()
{
    QTest::addColumn<double>("right");
    QTest::addColumn<double>("up");
    QTest::addColumn<QString>("word");
    QTest::newRow("in place") << 0. << 0. << "";
    QTest::newRow("8192 pixels") << 3. << 2. << "";
    QTest::newRow("beside, not square") << 5. << -4. << "";
    QTest::newRow("out of reach") << 60. << 25. << "does not fit";
    QTest::newRow("one grey") << 0. << 0. << "empty";
    QTest::newRow("one pixel") << 0. << 0. << "bad image";
    QTest::newRow("not a number") << std::nan("") << 0. << "bad start";
    QTest::newRow("nothing drawn") << 0. << 0. << "no shapes";
}

void TestMatching::checks()
{
    QFETCH(double, right);
    QFETCH(double, up);
    QFETCH(QString, word);
    const Pose truth = makePose({ 12.4, -31.7 }, 0.99, 0.025);
    cv::Mat image = photograph(false, truth);
    Pose expected = truth;
    expected.centre += cv::Point2d(right, up);
    const int larger = right == 3 ? 32 : 1;
    cv::resize(image, image, {}, larger, larger);
    expected.axes *= 1. / larger;
    if (right == 5) // the middle stays where it is
        image = image(cv::Rect(0, 32, 256, 192));
    if (word == "empty")
        image = 7.;
    if (word == "bad image")
        image = cv::Mat(1, 1, CV_8U, 9.);
    const Match match = check(image, [&](const Window &part) {
        return word == "no shapes" ? std::vector<cv::Mat>() : draw(false, part);
    }, expected, 8 * larger);
    QCOMPARE(QString(matching::word(match.refusal)), word);
    QVERIFY(!match.accepted() || cv::norm(match.pose.centre - truth.centre) < 0.25);
    QVERIFY(!match.accepted() || match.errorPixels < 0.5 * larger);
}

QTEST_APPLESS_MAIN(TestMatching)
#include "tst_matching.moc"
