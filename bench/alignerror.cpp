// Whether the predicted error of the image's place is honest: simulated wafers are aligned with
// picks that err, the library's stage map is made of the recorded pairs, and where it puts random
// points of the design is compared with the prediction. Prints a table, and fails if 95 % turn out
// to be fewer than 93 % or more than 97 %.
//
//     alignerror-benchmark [seed]

#include "alignment/stagemap.h"
#include "bench/median.h"
#include "hosting/pairchecks.h"

#include <QLineF>
#include <QTransform>

#include <cmath>
#include <cstdio>
#include <random>

namespace {
using hosting::AlignError;
using hosting::ConfirmedPair;

const int alignmentsEach = 20000; // with one, two and three pairs
const int pointsEach = 20;
const QRectF design(-900, -600, 1800, 1200); // micrometres
const double farAway = 2163 / 3.; // from every pair: a third of the design's diagonal
const double databaseUnit = 1e-9; // metres
const double unitsPerMicrometre = 1e-6 / databaseUnit;

std::mt19937_64 generator;

double normal(double deviation)
{
    return std::normal_distribution<double>(0, deviation)(generator);
}

double between(double low, double high)
{
    return std::uniform_real_distribution<double>(low, high)(generator);
}

QPointF randomPoint()
{
    const double x = between(design.left(), design.right());
    return { x, between(design.top(), design.bottom()) };
}

/// Stage (mm) to design (micrometres) of a wafer as they are assumed: what 95 % keep within a bound
/// has the bound over 1.96 as its standard deviation, or over 2.45 in either of two components.
QTransform randomWafer(bool sheared)
{
    const hosting::WaferAssumption bounds;
    const double size = -1000 * (1 + normal(bounds.scalePercent / 100 / 1.96));
    const double shear = sheared ? bounds.shearPercent / 100 / 2.45 / 2 : 0;
    const double stretch = normal(shear);
    const double slant = normal(shear);
    QTransform wafer;
    wafer.rotate(normal(bounds.turnDegrees / 1.96));
    wafer.scale(size * (1 + stretch), size * (1 - stretch));
    wafer.shear(slant, slant);
    const double offset = between(-20, 20); // mm
    return wafer.translate(offset, between(-20, 20));
}

/// A wafer and what is known of it, pair by pair.
class Alignment {
public:
    explicit Alignment(const QTransform &wafer)
        : m_wafer(wafer)
    {
    }
    /// Picks another point, none too close to the others; returns it as it is to be confirmed.
    hosting::PairToConfirm addPair();
    /// As the library does: a rejected map leaves the first pair in force.
    bool makeMap();

    const QVector<ConfirmedPair> &pairs() const { return m_pairs; }
    /// Where the image is drawn while the stage shows `point`; both in micrometres.
    QPointF placeOf(const QPointF &point) const
    {
        return m_map.map(m_wafer.inverted().map(point)) / unitsPerMicrometre;
    }

private:
    QTransform m_wafer;
    QVector<ConfirmedPair> m_pairs; ///< as the host records them
    QVector<AlignmentPair> m_recorded; ///< as the library does
    QMatrix m_map;
};

hosting::PairToConfirm Alignment::addPair()
{
    hosting::PairToConfirm question;
    question.design = design;
    question.others = m_pairs;
    question.pair.row = m_pairs.size() + 1;
    question.pair.deviation = std::exp(between(std::log(0.1), std::log(2)));
    QPointF picked;
    do {
        picked = randomPoint();
        const double error = normal(question.pair.deviation);
        question.pair.point = picked + QPointF(error, normal(question.pair.deviation));
    } while (!question.tooClose().isEmpty());
    question.correction.offset = question.pair.point - placeOf(picked);
    m_pairs.append(question.pair);
    m_recorded.append({ question.pair.point * unitsPerMicrometre, m_wafer.inverted().map(picked) });
    return question;
}

bool Alignment::makeMap()
{
    const int count = m_recorded.size();
    PairFit fit = { PairFit::NoFlaw, 1, 1 };
    if (count == 2)
        fit = twoPairMap(m_recorded[0], m_recorded[1], databaseUnit, &m_map);
    else if (count == 3)
        fit = threePairMap(m_recorded.constData(), databaseUnit, &m_map);
    const bool made = fit.flaw == PairFit::NoFlaw;
    if (count == 1 || !made)
        m_map = onePairMap(m_recorded[0], databaseUnit);
    for (int i = 1; i < count; ++i)
        m_pairs[i].inForce = made;
    return made;
}

/// One line of the table.
class Row {
public:
    explicit Row(const char *name)
        : m_name(name)
    {
    }
    void add(const Alignment &alignment);
    void countQuestion(bool asked) { m_asked += asked; }
    bool print() const;

private:
    struct Share {
        int within = 0, all = 0;
        double percent() const { return all ? 100. * within / all : 0; }
        bool honest() const { return all < 1000 || (percent() >= 93 && percent() <= 97); }
    };

    const char *m_name;
    int m_alignments = 0, m_asked = 0;
    Share m_everywhere, m_far;
    QVector<double> m_predicted, m_true;
};

void Row::add(const Alignment &alignment)
{
    ++m_alignments;
    const AlignError error(alignment.pairs());
    for (int i = 0; i < pointsEach; ++i) {
        const QPointF point = randomPoint();
        const double predicted = error.at(point);
        const double actual = QLineF(point, alignment.placeOf(point)).length();
        bool far = true;
        for (const ConfirmedPair &pair : alignment.pairs())
            far = far && QLineF(point, pair.point).length() > farAway;
        for (Share *share : { &m_everywhere, far ? &m_far : nullptr }) {
            if (!share)
                continue;
            ++share->all;
            share->within += actual <= predicted;
        }
        m_predicted.append(predicted);
        m_true.append(actual);
    }
}

bool Row::print() const
{
    std::printf("| %s | %d | %.1f %% | %.1f %% (%d) | %.1f | %.1f | %.1f | %d |\n", m_name,
                m_alignments, m_everywhere.percent(), m_far.percent(), m_far.all, median(m_true),
                quantile(m_true, 0.95), median(m_predicted), m_asked);
    return m_everywhere.honest() && m_far.honest();
}
} // namespace

int main(int argc, char **argv)
{
    const auto seed = argc > 1 ? std::strtoull(argv[1], nullptr, 10) : 1;
    if (seed < 1) {
        std::fprintf(stderr, "alignerror-benchmark [seed]: a number from 1 on\n");
        return 2;
    }
    generator.seed(seed);
    Row rows[] = { Row("one"), Row("two"), Row("three"), Row("three, nearly on a line"),
                   Row("three, map rejected, so one") };
    for (int i = 0; i < 3 * alignmentsEach; ++i) {
        const int count = i % 3 + 1;
        Alignment alignment(randomWafer(count == 3));
        hosting::PairToConfirm last;
        bool made = false;
        for (int k = 0; k < count; ++k) {
            last = alignment.addPair();
            made = alignment.makeMap();
        }
        Row &row = rows[!made ? 4 : last.nearlyOnLine().isEmpty() ? count - 1 : 3];
        row.add(alignment);
        row.countQuestion(!last.tooFar().isEmpty());
    }
    std::printf(
        "| pairs in force | alignments | true error within the prediction | far points only "
        "(points) | median error, \u00b5m | 95 %% of errors, \u00b5m | median prediction, \u00b5m "
        "| "
        "asked without cause |\n| --- | --- | --- | --- | --- | --- | --- | --- |\n");
    bool honest = true;
    for (const Row &row : rows)
        honest = row.print() && honest;
    return honest ? 0 : 1;
}
