// Where nothing can be predicted, what the contours run along, and what is asked back about.

#include "hosting/errorcontour.h"
#include "hosting/pairchecks.h"

#include <QtTest>

#include <cmath>

using namespace hosting;
using Pairs = QVector<ConfirmedPair>;
Q_DECLARE_METATYPE(PairToConfirm)

const QRectF design(0, 0, 1800, 1200);
const ConfirmedPair first { 1, { 200, 200 }, 0.5, true };
const ConfirmedPair second { 2, { 1600, 300 }, 0.5, true };
const ConfirmedPair third { 3, { 900, 1000 }, 0.5, true };

class TestAlignError : public QObject {
    Q_OBJECT

private slots:
    void errors();
    void questions_data();
    void questions();
};

void TestAlignError::errors()
{
    const ConfirmedPair between { 3, { 900, 250 }, 0.5, true };
    for (const Pairs &pairs : { Pairs(), Pairs { { 1, { NAN, 0 }, 0.5, true } },
                                Pairs { first, first }, Pairs { first, second, between } }) {
        QVERIFY(std::isinf(AlignError(pairs).at({ 700, 900 })));
        QVERIFY(errorContours(AlignError(pairs), design, 1).isEmpty());
    }
    for (const Pairs &pairs : { Pairs { first }, Pairs { first, second, third } }) {
        const AlignError error(pairs);
        const auto lines = errorContours(error, { 0, 0, 1.8e6, 1.2e6 }, 1e-3);
        QVERIFY(lines.size() >= 2);
        const double ring = 2 * M_PI * QLineF(lines[0].labelAt, first.point * 1000).length();
        QVERIFY(pairs.size() > 1 || std::abs(lines[0].path.length() / ring - 1) < 0.02);
        for (const ErrorContour &line : lines)
            for (int i = -1; i < line.path.elementCount(); ++i) {
                const QPointF point = i < 0 ? line.labelAt : QPointF(line.path.elementAt(i));
                QVERIFY(std::abs(error.at(point / 1000) / line.micrometres - 1) < 0.02);
            }
    }
}

void TestAlignError::questions_data()
{
    QTest::addColumn<PairToConfirm>("pair");
    QTest::addColumn<QString>("asked");
    const auto row = [](const char *name, const ConfirmedPair &pair, const Pairs &others,
                        const Correction &done, const QString &asked) {
        QTest::newRow(name) << PairToConfirm { pair, others, done, design, {} } << asked;
    };
    ConfirmedPair rejected = second;
    rejected.inForce = false;
    row("untouched", second, { first }, {}, "not moved");
    row("turned by a slip", second, { first }, { { 20, 30 }, 30, 1 }, "turned");
    row("nearly on a line", { 3, { 900, 400 }, 0.5, true }, { first, second }, { { 2, 0 }, 0, 1 },
        "line");
    row("wrong place", third, { first, second }, { { 1600, 0 }, 0, 1 }, "moved by 1.6 mm");
    row("stretched wafer", third, { first, second }, { { 0, 5 }, 0, 1 }, "");
    const Pairs vague { { 1, first.point, 10, true }, { 2, second.point, 10, true } };
    row("turn that one pair leaves open", second, { first }, { { 5, 5 }, 1.5, 1 }, "");
    row("turn that two pairs know", third, { first, second }, { { 0, 2 }, 1.5, 1 }, "turned");
    row("turn that two vague pairs leave open", third, vague, { { 0, 2 }, 1.5, 1 }, "");
    row("scale that two pairs know", third, { first, second }, { { 0, 2 }, 0, 1.02 }, "0.51 % open");
    row("after a rejected pair", third, { first, rejected }, { { 40, 0 }, 0, 1 }, "");
}

void TestAlignError::questions()
{
    QFETCH(PairToConfirm, pair);
    QFETCH(QString, asked);
    const QString questions = pair.questions().join(' ');
    QVERIFY2(questions.contains(asked), qPrintable(questions));
    QCOMPARE(questions.isEmpty(), asked.isEmpty());
}

QTEST_MAIN(TestAlignError)
#include "tst_alignerror.moc"
