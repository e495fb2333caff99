// How often, how exactly and how fast the place of an image is found in the design, and how often a
// wrong place is accepted: images of random places of the sample chip, whose true place is known,
// each searched from a start that is wrong by up to a quarter of the view field, 2 degrees and 2 %.
// Prints tables; the same seed gives the same images.
//
//     matching-benchmark [places [seed [set]]]

#include "bench/matching/photograph.h"
#include "bench/median.h"
#include "matching/find.h"

#include <QElapsedTimer>
#include <QGuiApplication>

#include <cmath>
#include <cstdio>
#include <map>

namespace {
using matching::Match;
using matching::Pose;
using matching::Refusal;
using matching::Start;

const int edge = 512; // pixels
const double wrongPixels = 3; // farther off than that is a wrong place
const double degree = CV_PI / 180;

std::mt19937_64 generator;

double between(double low, double high)
{
    return std::uniform_real_distribution<double>(low, high)(generator);
}

struct Set {
    const char *name;
    Kind kind;
    double dwellNs;
    enum Truth { Inside, Beside, Mirrored, Empty } truth;
    double viewFieldMm = 0.16, reachMm = 0.04, turnDegrees = 2, scale = 0.02;
    bool check = false; ///< of an image that is about in its place
};

Start startFor(const Pose &truth, const Set &set)
{
    Start start;
    start.reach = set.reachMm * 1e6;
    start.turn = set.turnDegrees * degree;
    start.scale = set.scale;
    cv::Point2d off(between(-1, 1) * start.reach, between(-1, 1) * start.reach);
    if (set.truth == Set::Beside) {
        const double distance = between(0.6, 1.5) * set.viewFieldMm * 1e6;
        const double angle = between(0, 2 * CV_PI);
        off = { distance * std::cos(angle), distance * std::sin(angle) };
    }
    const double size = truth.pixelSize() * (1 + between(-1, 1) * start.scale);
    start.pose =
        matching::makePose(truth.centre + off, size, truth.turn() + between(-1, 1) * start.turn);
    return start;
}

/// One line of the table.
class Row {
public:
    void add(const Match &match, const Pose &truth, bool exists, double ms);
    void print(const char *name) const;

private:
    int m_count = 0, m_right = 0, m_accepted = 0, m_wrong = 0, m_within = 0;
    double m_mostWrong = 0; // the greatest confidence in a wrong place
    QVector<double> m_errors, m_ms;
    std::map<Refusal, int> m_refusals;
};

void Row::add(const Match &match, const Pose &truth, bool exists, double ms)
{
    const double error = cv::norm(match.pose.centre - truth.centre) / truth.pixelSize();
    const bool right = exists && error <= wrongPixels;
    ++m_count;
    m_right += right;
    m_accepted += match.accepted();
    m_wrong += match.accepted() && !right;
    ++m_refusals[match.refusal];
    m_ms.append(ms);
    if (!right)
        m_mostWrong = std::max(m_mostWrong, match.confidence);
    if (right && match.accepted()) {
        m_errors.append(error);
        m_within += error <= match.errorPixels;
    }
}

void Row::print(const char *name) const
{
    std::printf("| %s | %d | %.1f %% | %.1f %% | %d | %.1f | %.3f / %.2f | %.1f %% | %.0f / %.0f |",
                name, m_count, 100. * m_right / m_count, 100. * m_accepted / m_count, m_wrong,
                m_mostWrong, median(m_errors), quantile(m_errors, 0.99),
                m_errors.isEmpty() ? 0. : 100. * m_within / m_errors.size(), median(m_ms),
                quantile(m_ms, 0.99));
    for (const auto &refusal : m_refusals) {
        if (refusal.first != Refusal::None)
            std::printf(" %s %d", matching::word(refusal.first), refusal.second);
    }
    std::printf(" |\n");
    std::fflush(stdout);
}

QPointF randomPlace(const QRectF &area)
{
    const double x = between(area.left(), area.right());
    return { x, between(area.top(), area.bottom()) };
}

void run(const Chip &chip, const Set &set, int places)
{
    Row row;
    matching::Options options;
    if (set.check)
        options.lookAround = 0;
    for (int n = 0; n < places; ++n) {
        const QPointF place = randomPlace(chip.bounds());
        Photograph taken =
            photograph(chip, set.kind, set.truth == Set::Empty ? QPointF(-1e7, -1e7) : place,
                       between(-5, 5), 1, set.viewFieldMm, edge, set.dwellNs, &generator);
        taken.truth.centre = { place.x(), place.y() };
        if (set.truth == Set::Mirrored)
            cv::flip(taken.image, taken.image, 1);
        const Start start = startFor(taken.truth, set);
        double drawing = 0; // is the host's work
        QElapsedTimer watch, brush;
        watch.start();
        const Match match = matching::find(
            taken.image,
            [&](const matching::Window &window) {
                brush.start();
                auto pictures = chip.coverage(window);
                drawing += double(brush.nsecsElapsed()) / 1e6;
                return pictures;
            },
            start, options);
        row.add(match, taken.truth, set.truth == Set::Inside,
                double(watch.nsecsElapsed()) / 1e6 - drawing);
    }
    row.print(set.name);
}
} // namespace

int main(int argc, char **argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    const QGuiApplication application(argc, argv); // paints the design
    const int places = argc > 1 ? std::atoi(argv[1]) : 500;
    const quint64 seed = argc > 2 ? std::strtoull(argv[2], nullptr, 10) : 1;
    if (places < 1 || seed < 1) {
        std::fprintf(stderr, "matching-benchmark [places [seed [set]]]: numbers from 1 on\n");
        return 2;
    }
    const Chip chip(SAMPLE_LAYOUT);
    const Set sets[] = { { "plain", Kind::Plain, 500, Set::Inside },
                         { "plain, noisy", Kind::Plain, 100, Set::Inside },
                         { "hard", Kind::Hard, 500, Set::Inside },
                         { "turn and scale known", Kind::Plain, 500, Set::Inside, 0.16, 0.04, 0,
                           0 },
                         { "check", Kind::Plain, 500, Set::Inside, 0.16, 0.002, 0, 0, true },
                         { "without a start", Kind::Plain, 500, Set::Inside, 0.7, 0.4, 10, 0.02 },
                         { "beside", Kind::Plain, 500, Set::Beside },
                         { "beside, hard", Kind::Hard, 500, Set::Beside },
                         { "mirrored", Kind::Plain, 500, Set::Mirrored },
                         { "empty", Kind::Plain, 500, Set::Empty } };
    std::printf(
        "| set | images | right | accepted | accepted and wrong | most confidence in a wrong "
        "place | error, median / 99 %% (px) | within the given 95 %% | ms, median / 99 %% | "
        "refused |\n| --- | --- | --- | --- | --- | --- | --- | --- | --- | --- |\n");
    const QByteArray only = argc > 3 ? argv[3] : "";
    for (const Set &set : sets) {
        generator.seed(seed);
        if (only.isEmpty() || only == set.name)
            run(chip, set, places);
    }
    return 0;
}
