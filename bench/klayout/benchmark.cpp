// Measures the live image within KLayout, seen from the canvas; klayout-benchmark.sh runs it.
// Without SEM_PORT it measures KLayout alone and prints what the other run takes from SEM_ALONE.

#include "bench/klayout/canvaswatch.h"
#include "bench/median.h"
#include "bench/stream.h"

#include <QApplication>
#include <QComboBox>
#include <QEventLoop>
#include <QLineEdit>
#include <QMainWindow>
#include <QPushButton>
#include <QRadioButton>
#include <QSpinBox>
#include <QTimer>

#include <cstdio>

namespace {
const QSize canvasSize(1600, 1000);
const double fieldUm = 500; // of the simulator
const int seconds = 8; // more than a frame of 8192
const int views = 24;
const int stillMs = 300; // without a paint of KLayout's own: the layout is complete

const char *(*evaluate)(const char *);
QMainWindow *window;
QWidget *canvas;
CanvasWatch *watch;

void wait(int ms)
{
    QEventLoop loop;
    QTimer::singleShot(ms, Qt::PreciseTimer, &loop, &QEventLoop::quit);
    loop.exec();
}

/// Shows the middle of the layout, the image as high as the canvas for a zoom of 1; `across` and
/// `up` in shares of the canvas.
void show(double zoom, double across, double up)
{
    const QSizeF half = QSizeF(canvasSize) / canvasSize.height() * fieldUm / 2 / zoom;
    const QString box("(lambda c: view.zoom_box(pya.DBox(c.x + %1, c.y + %2, c.x + %3, c.y + %4)))"
                      "(view.active_cellview().cell.dbbox().center())");
    evaluate(qPrintable(box.arg(half.width() * (across - 1))
                            .arg(half.height() * (up - 1))
                            .arg(half.width() * (across + 1))
                            .arg(half.height() * (up + 1))));
}

bool prepare()
{
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (auto *main = qobject_cast<QMainWindow *>(widget))
            window = main;
    for (int i = 0; i < 20; ++i) {
        for (QWidget *candidate : window->findChildren<QWidget *>("canvas"))
            if (candidate->isVisible())
                canvas = candidate;
        if (canvas && canvas->size() == canvasSize)
            break;
        if (canvas)
            window->resize(window->size() + canvasSize - canvas->size());
        wait(300);
    }
    if (!canvas || canvas->size() != canvasSize)
        return false;
    watch = new CanvasWatch(canvas);
    show(1, 0, 0);
    wait(3000);
    return true;
}

/// Longest time in ms between two turns of the event loop while `act` runs.
template <typename Act> double heldMs(Act act)
{
    QTimer timer;
    QElapsedTimer gap;
    qint64 longest = 0;
    timer.setTimerType(Qt::PreciseTimer);
    QObject::connect(&timer, &QTimer::timeout,
                     [&] { longest = qMax(longest, gap.nsecsElapsed()), gap.start(); });
    gap.start();
    timer.start(1);
    act();
    return double(longest) * 1e-6;
}

/// How long a change of the view takes until the layout is complete, in ms; the median.
double viewChangeMs()
{
    QVector<double> times;
    const double steps[][3] = { { 2, 0, 0 }, { 2, 0.4, 0 }, { 2, 0.4, 0.4 }, { 1, 0, 0 } };
    for (int i = 0; i < views; ++i) {
        const auto &step = steps[i % 4];
        watch->start();
        show(step[0], step[1], step[2]);
        do
            wait(stillMs / 10);
        while (watch->seconds() * 1000 < qMax(0.0, watch->lastOwnPaintMs()) + stillMs);
        times += watch->lastOwnPaintMs();
    }
    return median(times);
}

struct Views {
    double ms = 0, heldMs = 0;
};

Views measureViews()
{
    Views result;
    result.ms = viewChangeMs();
    result.heldMs = heldMs(viewChangeMs);
    return result;
}

double corePercent()
{
    const qint64 cpu = cpuNs();
    watch->start();
    wait(seconds * 1000);
    return double(cpuNs() - cpu) * 1e-7 / watch->seconds();
}

template <typename Widget> Widget *named(const char *name)
{
    return window->findChild<Widget *>(name);
}

void setFrame(int size)
{
    auto *sizes = named<QComboBox>("imageSize");
    sizes->setCurrentIndex(sizes->findText(QString::number(size) + 'x', Qt::MatchStartsWith));
    wait(8000); // a frame of the largest, so that all of it is there
}

void connectLive()
{
    named<QLineEdit>("host")->setText("127.0.0.1");
    named<QSpinBox>("port")->setValue(qEnvironmentVariableIntValue("SEM_PORT"));
    named<QRadioButton>("displayLive")->click();
    named<QComboBox>("dwellTime")->setCurrentText("100ns");
    named<QPushButton>("connectButton")->click();
    watch->expectImage();
    wait(3000);
}

void measureLive(int size, double alonePercent)
{
    setFrame(size);
    const double percent = corePercent() - alonePercent;
    const double rate = watch->images() / watch->seconds();
    const QVector<double> ages = watch->agesMs();
    const int own = watch->ownPaints();
    const double held = heldMs([] { wait(seconds * 1000); });
    std::printf("%6d %9.1f %8.1f %9.0f %7.0f %8.1f %9d\n", size, rate, percent, median(ages),
                quantile(ages, 0.95), held, own);
    std::fflush(stdout);
}

void measurePackage()
{
    double percent = 0;
    Views alone;
    std::sscanf(qgetenv("SEM_ALONE").constData(), "%lf %lf %lf", &percent, &alone.ms,
                &alone.heldMs);
    const Views idle = measureViews();
    connectLive();
    std::printf(" frame  images/s   %% core   ms to canvas   loop held   KLayout's\n"
                "                            median    95 %%    ms      paints\n");
    for (int size : { 512, 8192, 2048 })
        measureLive(size, percent);
    const Views live = measureViews();
    const struct {
        const char *name;
        Views views;
    } rows[] = { { "without package", alone }, { "no image", idle }, { "live 2048", live } };
    std::printf("view changes          ms   ratio  loop held ms\n");
    for (const auto &row : rows)
        std::printf("%-16s %7.1f %7.2f %8.1f\n", row.name, row.views.ms, row.views.ms / alone.ms,
                    row.views.heldMs);
}
} // namespace

extern "C" void start_tests(const char *(*evaluator)(const char *), void (*finished)(int))
{
    evaluate = evaluator;
    QTimer::singleShot(1000, [finished] {
        const bool withPackage = qEnvironmentVariableIsSet("SEM_PORT");
        const bool prepared = prepare();
        if (prepared && withPackage) {
            measurePackage();
        } else if (prepared) {
            const double percent = corePercent();
            const Views alone = measureViews();
            std::printf("%f %f %f\n", percent, alone.ms, alone.heldMs);
        }
        std::fflush(stdout);
        finished(prepared ? 0 : 1);
    });
}
