// How often, how exactly and how fast the place of an image is found in the design, and how often a
// wrong place is accepted: images of random places of a sample chip, whose true place is known,
// each searched from a start that is wrong by up to a quarter of the view field, 2 degrees and 2 %.
// Prints a table; the same seed gives the same images. Processor time without drawing the design.
//
//     matching-benchmark [places [seed [set ...]]]

#include "bench/matching/photograph.h"
#include "bench/matching/row.h"
#include "matching/check.h"

#include <QFile>
#include <QGuiApplication>

#include <cmath>
#include <cstdio>
#include <ctime>
#include <memory>

namespace {
using matching::Match;
using matching::Pose;
using matching::Start;

const int edge = 512; // pixels
const double degree = CV_PI / 180;
const double checkReach = 8; // pixels

std::mt19937_64 generator;

double between(double low, double high)
{
    return std::uniform_real_distribution<double>(low, high)(generator);
}

struct Set {
    const char *name;
    Kind kind;
    double dwellNs;
    enum Truth {
        Inside,
        Beside, ///< next to what is searched
        AlikeBeside, ///< a cross or pad, searched at the next one
        Elsewhere, ///< far away, which is as good as another design
        Mirrored,
        Empty
    } truth;
    enum Where { Anywhere, Landmarks } where = Anywhere; ///< those are crosses and pads
    double viewFieldMm = 0.16, reachMm = 0.04, turnDegrees = 2, scale = 0.02;
    bool check = false; ///< of an image that is about in its place
    bool trusted = false; ///< the start: nothing beyond its reach is looked at
};

const Set sets[] = {
    { "plain", Kind::Plain, 500, Set::Inside },
    { "plain, noisy", Kind::Plain, 100, Set::Inside },
    { "hard", Kind::Hard, 500, Set::Inside },
    { "crosses and pads", Kind::Plain, 500, Set::Inside, Set::Landmarks },
    { "crosses and pads, start trusted", Kind::Plain, 500, Set::Inside, Set::Landmarks, 0.16, 0.04,
      2, 0.02, false, true },
    { "turn and scale known", Kind::Plain, 500, Set::Inside, Set::Anywhere, 0.16, 0.04, 0, 0 },
    { "check", Kind::Plain, 500, Set::Inside, Set::Anywhere, 0.16, 0.002, 0, 0, true },
    { "check, hard", Kind::Hard, 500, Set::Inside, Set::Anywhere, 0.16, 0.002, 0, 0, true },
    { "check, beside", Kind::Plain, 500, Set::Beside, Set::Anywhere, 0.16, 0.002, 0, 0, true },
    { "without a start", Kind::Plain, 500, Set::Inside, Set::Anywhere, 0.7, 0.4, 10, 0.02 },
    { "beside", Kind::Plain, 500, Set::Beside },
    { "beside, hard", Kind::Hard, 500, Set::Beside },
    { "crosses and pads beside", Kind::Plain, 500, Set::AlikeBeside, Set::Landmarks },
    { "elsewhere", Kind::Plain, 500, Set::Elsewhere },
    { "mirrored", Kind::Plain, 500, Set::Mirrored },
    { "empty", Kind::Plain, 500, Set::Empty },
};

cv::Point2d around(double distance)
{
    const double angle = between(0, 2 * CV_PI);
    return { distance * std::cos(angle), distance * std::sin(angle) };
}

QPointF randomPlace(const QRectF &area)
{
    const double x = between(area.left(), area.right());
    return { x, between(area.top(), area.bottom()) };
}

QPointF placeFor(const Chip &chip, const Set &set)
{
    if (set.where == Set::Anywhere)
        return randomPlace(chip.bounds());
    const QVector<QPointF> marks = chip.landmarks();
    const cv::Point2d off = around(between(0, 0.15) * set.viewFieldMm * 1e6);
    return marks.at(int(generator() % uint(marks.size()))) + QPointF(off.x, off.y);
}

// What the start's centre is off the image's, design units.
cv::Point2d startOff(const Chip &chip, const Set &set, const QPointF &place)
{
    const double field = set.viewFieldMm * 1e6, reach = set.reachMm * 1e6;
    if (set.truth == Set::Beside)
        return around(between(0.6, 1.5) * field);
    const cv::Point2d within(between(-1, 1) * reach, between(-1, 1) * reach);
    if (set.truth != Set::Elsewhere && set.truth != Set::AlikeBeside)
        return within;
    // To another mark, or to any other place that is far enough.
    const double least = set.truth == Set::Elsewhere ? 4 * field : 0.7 * field;
    const double most = set.truth == Set::Elsewhere ? 1e9 : 1.5 * field;
    while (true) {
        const QPointF off = placeFor(chip, set) - place;
        const double distance = std::hypot(off.x(), off.y());
        if (distance >= least && distance <= most)
            return { off.x(), off.y() };
    }
}

Start startFor(const Chip &chip, const Set &set, const QPointF &place, const Pose &truth)
{
    Start start;
    start.reach = set.reachMm * 1e6;
    start.turn = set.turnDegrees * degree;
    start.scale = set.scale;
    const cv::Point2d off = startOff(chip, set, place);
    const double size = truth.pixelSize() * (1 + between(-1, 1) * start.scale);
    start.pose =
        matching::makePose(truth.centre + off, size, truth.turn() + between(-1, 1) * start.turn);
    return start;
}

double processorMs()
{
    timespec time;
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &time);
    return double(time.tv_sec) * 1e3 + double(time.tv_nsec) / 1e6;
}

void run(const Chip &chip, const Set &set, int places)
{
    Row row;
    matching::Options options;
    if (set.trusted)
        options.lookAround = 0;
    for (int n = 0; n < places; ++n) {
        const QPointF place = placeFor(chip, set);
        Photograph taken =
            photograph(chip, set.kind, set.truth == Set::Empty ? QPointF(-1e7, -1e7) : place,
                       between(-5, 5), 1, set.viewFieldMm, edge, set.dwellNs, &generator);
        taken.truth.centre = { place.x(), place.y() };
        if (set.truth == Set::Mirrored)
            cv::flip(taken.image, taken.image, 1);
        const Start start = startFor(chip, set, place, taken.truth);
        double drawing = 0; // is the host's work
        const matching::Design design = [&](const matching::Window &window) {
            const double begin = processorMs();
            auto pictures = chip.coverage(window);
            drawing += processorMs() - begin;
            return pictures;
        };
        const double begin = processorMs();
        const Match match = set.check ? matching::check(taken.image, design, start.pose, checkReach)
                                      : matching::find(taken.image, design, start, options);
        row.add(match, taken.truth, set.truth == Set::Inside, processorMs() - begin - drawing);
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
        std::fprintf(stderr, "matching-benchmark [places [seed [set ...]]]: numbers from 1 on\n");
        return 2;
    }
    const Chip chip(SAMPLE_LAYOUT);
    Row::printHead();
    for (const Set &set : sets) {
        generator.seed(seed);
        const auto isThis = [&set](const char *name) { return QByteArray(name) == set.name; };
        if (argc <= 3 || std::any_of(argv + 3, argv + argc, isThis))
            run(chip, set, places);
    }
    return 0;
}
