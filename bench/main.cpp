// Measures what the live image costs: the library in a host that fetches every update, fed over
// loopback from another process, against a bare loop that receives the same stream.

#include "bench/application.h"
#include "bench/report.h"
#include "bench/sender.h"

#include <QCommandLineParser>
#include <QSettings>
#include <QTemporaryDir>

#include <cstdio>

static int refuse(const char *option, const QString &value)
{
    std::fprintf(stderr, "link-benchmark: %s cannot be \"%s\"\n", option, qPrintable(value));
    return 1;
}

int main(int argc, char **argv)
{
    if (argc > 1 && qstrcmp(argv[1], "--sender") == 0) {
        QCoreApplication application(argc, argv);
        pinToCore(0);
        return runSender(application.arguments().mid(2));
    }
    qputenv("QT_QPA_PLATFORM", "offscreen");
    Application application(argc, argv);
    application.setOrganizationName("link-benchmark");
    pinToCore(1);
    QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());

    QCommandLineParser parser;
    parser.setApplicationDescription("Measures the cost of the live image.");
    parser.addHelpOption();
    parser.addOptions({ { "runs", "Runs per figure (default 5).", "n", "5" },
                        { "seconds", "Length of the paced run (default 20).", "s", "20" },
                        { "frame", "Throughput at this frame edge only.", "pixels" },
                        { "message", "Throughput with messages of this size only.", "pixels" },
                        { "only", "One part: throughput, pace or memory.", "part" } });
    parser.process(application);
    const QString only = parser.value("only");
    if (!only.isEmpty() && !QStringList({ "throughput", "pace", "memory" }).contains(only))
        return refuse("--only", only);
    if ((only.isEmpty() || only == "throughput")
        && !reportThroughput(qMax(1, parser.value("runs").toInt()), parser.value("frame").toInt(),
                             parser.value("message").toInt()))
        return refuse("--frame, --message", parser.value("frame") + ", " + parser.value("message"));
    if (only.isEmpty() || only == "pace")
        reportPace(&application, qMax(1, parser.value("seconds").toInt()));
    if (only.isEmpty() || only == "memory")
        reportMemory();
    return 0;
}
