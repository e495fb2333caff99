#include "simulator/interrupt.h"
#include "simulator/options.h"
#include "simulator/report.h"
#include "simulator/simulator.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

const int differedCode = 3;

int fail(const QString &reason, int code)
{
    std::fprintf(stderr, "microscope-simulator: %s\n", qPrintable(reason));
    return code;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("microscope-simulator");
    QCoreApplication::setApplicationVersion("1.0");

    simulator::Options options;
    QString error;
    if (!simulator::parseOptions(QCoreApplication::arguments(), &options, &error))
        return fail(error, 2);
    simulator::Simulator simulator;
    if (!simulator.start(options, &error))
        return fail(error, 1);
    if (!options.replayFile.isEmpty())
        simulator::quitOnSignals(); // there is something to be said at the end
    simulator::report(QStringLiteral("specimen: %1")
                          .arg(options.designFile.isEmpty() ? "test pattern" : options.designFile));
    simulator::report(QStringLiteral("serving control port %1, data port %2")
                          .arg(simulator.controlPort())
                          .arg(simulator.dataPort()));
    const int code = QCoreApplication::exec();
    return simulator.finishReplay() ? code : differedCode;
}
