#include "recorder/options.h"
#include "recorder/recorder.h"
#include "recorder/report.h"

#include <QCoreApplication>

#include <cstdio>

namespace {

int fail(const QString &reason, int code)
{
    std::fprintf(stderr, "microscope-recorder: %s\n", qPrintable(reason));
    return code;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName("microscope-recorder");
    QCoreApplication::setApplicationVersion("1.0");

    capture::Options options;
    QString error;
    if (!capture::parseOptions(QCoreApplication::arguments(), &options, &error))
        return fail(error, 2);
    capture::Recorder recorder;
    if (!recorder.start(options, &error))
        return fail(error, 1);
    capture::report(QStringLiteral("recording what is said to %1 in %2")
                        .arg(options.microscope.text(), options.file));
    capture::report(QStringLiteral("serving control port %1, data port %2")
                        .arg(recorder.controlPort())
                        .arg(recorder.dataPort()));
    recorder.run();
    return 0;
}
