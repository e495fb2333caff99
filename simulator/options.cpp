#include "simulator/options.h"

#include <QCommandLineParser>

#include <cmath>
#include <functional>

namespace simulator {
namespace {

bool readNumber(const QString &text, double low, double high, double *value)
{
    bool isNumber = false;
    const double read = text.toDouble(&isNumber);
    if (!isNumber || !(read >= low && read <= high))
        return false;
    *value = read;
    return true;
}

bool readInteger(const QString &text, double low, double high, int *value)
{
    double read = 0;
    if (!readNumber(text, low, high, &read) || read != std::floor(read))
        return false;
    *value = int(read);
    return true;
}

bool readPoint(const QString &text, QPointF *point)
{
    double x = 0, y = 0;
    const QStringList parts = text.split(',');
    if (parts.size() != 2 || !readNumber(parts[0], -150, 150, &x)
        || !readNumber(parts[1], -150, 150, &y))
        return false;
    *point = QPointF(x, y);
    return true;
}

/// One option with a value: what --help says, and how the value is taken over.
struct ValueOption {
    const char *name;
    const char *value;
    const char *help;
    std::function<bool(const QString &, Options *)> take;
};

const QVector<ValueOption> valueOptions = {
    { "port", "PORT",
      "Control port, the data port is the next one (default 8300; 0: any free pair).",
      [](const QString &text, Options *options) {
          return readInteger(text, 0, 65534, &options->port);
      } },
    { "address", "ADDRESS", "Address to listen on (default 127.0.0.1).",
      [](const QString &text, Options *options) { return options->address.setAddress(text); } },
    { "design", "FILE",
      "Layout that lies under the beam, in any format of KLayout's (default: a test pattern).",
      [](const QString &text, Options *options) {
          options->designFile = text;
          return !text.isEmpty();
      } },
    { "offset", "X,Y", "Where the wafer really lies on the stage, mm (default 0,0).",
      [](const QString &text, Options *options) { return readPoint(text, &options->offsetMm); } },
    { "rotation", "DEG", "How the wafer is really turned, counter-clockwise (default 0).",
      [](const QString &text, Options *options) {
          return readNumber(text, -360, 360, &options->rotationDegrees);
      } },
    { "scale", "S", "Design length per stage length, 1 being nominal (default 1).",
      [](const QString &text, Options *options) {
          return readNumber(text, 0.01, 100, &options->scale);
      } },
    { "stage", "X,Y", "Stage position at the start, mm (default: the design's centre nominally).",
      [](const QString &text, Options *options) {
          options->stageMm.emplace();
          return readPoint(text, &*options->stageMm);
      } },
    { "stage-speed", "MM/S", "Speed of the stage (default 2; 0: at its target at once).",
      [](const QString &text, Options *options) {
          return readNumber(text, 0, 1000, &options->stageSpeedMmPerSecond);
      } },
    { "view-field", "MM", "View field at the start, 0.001 to 50 (default 0.5).",
      [](const QString &text, Options *options) {
          return readNumber(text, 0.001, 50, &options->viewFieldMm);
      } },
    { "replay", "FILE",
      "Answers from a capture (pcap, pcapng, gzip), see above. Stage and view field begin as they "
      "were recorded.",
      [](const QString &text, Options *options) {
          options->replayFile = text;
          return !text.isEmpty();
      } },
    { "rows-per-message", "N", "Rows in a scan data message (default: about 30 ms of scanning).",
      [](const QString &text, Options *options) {
          return readInteger(text, 1, 16384, &options->scan.rowsPerMessage);
      } },
    { "seed", "N", "Seed of the image's noise (default 1).",
      [](const QString &text, Options *options) {
          bool good = false;
          options->scan.seed = text.toULongLong(&good);
          return good;
      } },
};

QString description()
{
    return "Speaks the remote control protocol of a scanning electron microscope and scans a "
           "chip.\n\n"
           "Prints \"serving control port N, data port M\" when it is ready.\n\n"
           "With --replay each client of the control channel gets the next recorded session. Its\n"
           "commands drive it: replies come in their order, and what the microscope sent of its "
           "own\n"
           "comes behind the same command as then, at the recorded pace or with --fast at once. "
           "What\n"
           "the capture does not hold is answered by the simulated instrument. When a client is "
           "gone,\n"
           "and at SIGINT or SIGTERM, it says where the client differed; then its exit status is "
           "3.\n\n"
           "Faults:\n"
        + faultHelp();
}

bool takeValues(const QCommandLineParser &parser, Options *options, QString *error)
{
    for (const ValueOption &option : valueOptions) {
        const QString text = parser.value(option.name);
        if (parser.isSet(option.name) && !option.take(text, options)) {
            *error = QStringLiteral("--%1 does not take \"%2\"").arg(option.name, text);
            return false;
        }
    }
    for (const QString &list : parser.values("fault")) {
        if (!parseFaults(list, &options->faults, error))
            return false;
    }
    return true;
}

bool fitTogether(const Options &options, QString *error)
{
    if (options.strict && options.replayFile.isEmpty())
        *error = "--strict goes with --replay";
    else if (!options.faults.settings.isEmpty() && !options.replayFile.isEmpty())
        *error = "--fault and --replay exclude each other: faults are replayed as recorded";
    else
        return true;
    return false;
}

} // namespace

bool parseOptions(const QStringList &arguments, Options *options, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description());
    const QCommandLineOption help({ "h", "help" }, "Show this help.");
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    for (const ValueOption &option : valueOptions)
        parser.addOption({ option.name, option.help, option.value });
    parser.addOption(
        { "fast",
          "Send as fast as the client reads, not at the dwell time's or the capture's pace." });
    parser.addOption({ "strict", "Refuse what the capture of --replay does not hold." });
    parser.addOption({ "fault", "Faults to make, see above; may be repeated.", "SPEC[,SPEC...]" });
    parser.addOption(
        { "fault-once", "Make the faults on the first connection of a channel only." });
    parser.addOption({ "verbose", "Print every command." });
    const bool parsed = parser.parse(arguments);
    if (parsed && parser.isSet(help))
        parser.showHelp(0);
    if (parsed && parser.isSet(version))
        parser.showVersion();
    if (!parsed || !parser.positionalArguments().isEmpty()) {
        *error = parsed ? "unexpected argument " + parser.positionalArguments().first()
                        : parser.errorText();
        return false;
    }
    options->strict = parser.isSet("strict");
    options->scan.fast = parser.isSet("fast");
    options->faults.once = parser.isSet("fault-once");
    options->verbose = parser.isSet("verbose");
    return takeValues(parser, options, error) && fitTogether(*options, error);
}

} // namespace simulator
