#include "recorder/options.h"

#include <QCommandLineParser>
#include <QHostInfo>
#include <QUrl>

#include <algorithm>
#include <functional>

namespace capture {
namespace {

const int controlPort = 8300;
const qint64 mostPixels = 60000; // with its header a message's beginning has to fit one segment
const char description[] =
    "Stands between a host and the microscope, passes both channels on unchanged and writes what "
    "is\n"
    "said to a file that Wireshark opens. The host connects to the recorder instead.\n\n"
    "Prints \"serving control port N, data port M\" when it is ready. SIGINT or SIGTERM end it.\n"
    "It goes on without recording when the file cannot be written, and says so.";

bool readInteger(const QString &text, qint64 low, qint64 high, qint64 *value)
{
    bool isNumber = false;
    *value = text.toLongLong(&isNumber);
    return isNumber && *value >= low && *value <= high;
}

bool readEndpoint(const QString &text, int lowestPort, Endpoint *endpoint, QString *error)
{
    const QUrl url("//" + text);
    const int port = url.port(controlPort);
    *error = QStringLiteral("\"%1\" is no address and port").arg(text);
    if (!url.isValid() || url.host().isEmpty()
        || url.authority().compare(text, Qt::CaseInsensitive) != 0 || port < lowestPort
        || port > 65534)
        return false;
    endpoint->port = quint16(port);
    if (endpoint->address.setAddress(url.host()))
        return true;
    const QHostInfo found = QHostInfo::fromName(url.host());
    *error = QStringLiteral("%1: %2").arg(url.host(), found.errorString());
    if (found.addresses().isEmpty())
        return false;
    // a name with addresses of both kinds, like localhost: instruments speak IPv4
    QList<QHostAddress> addresses = found.addresses();
    std::stable_partition(addresses.begin(), addresses.end(), [](const QHostAddress &address) {
        return address.protocol() == QAbstractSocket::IPv4Protocol;
    });
    endpoint->address = addresses.first();
    return true;
}

/// One option: what --help says, and how the value is taken over.
struct ValueOption {
    const char *name;
    const char *value;
    const char *help;
    const char *byDefault; // null: it has to be given
    std::function<bool(const QString &, Options *, QString *)> take;
};

const QVector<ValueOption> valueOptions = {
    { "microscope", "HOST:PORT", "The microscope's control port; the data port is the next one.",
      nullptr,
      [](const QString &text, Options *options, QString *error) {
          return readEndpoint(text, 1, &options->microscope, error);
      } },
    { "listen", "ADDRESS:PORT",
      "Where the host connects to (default 127.0.0.1:8300; port 0: any free pair).",
      "127.0.0.1:8300",
      [](const QString &text, Options *options, QString *error) {
          return readEndpoint(text, 0, &options->listen, error);
      } },
    { "write", "FILE", "The file, in libpcap's format. No file is overwritten.", nullptr,
      [](const QString &text, Options *options, QString *) {
          options->file = text;
          return !text.isEmpty();
      } },
    { "scan-bytes", "N",
      "Pixels of each scan data message that are kept (default 64; 0: none; all: every one, up to\n"
      "36 GB an hour at 100 ns a pixel). The messages' lengths and places are kept in any case.",
      "64",
      [](const QString &text, Options *options, QString *) {
          options->keptPixels = -1;
          return text == "all" || readInteger(text, 0, mostPixels, &options->keptPixels);
      } },
    { "file-size", "MB",
      "Begins a new file at this size; the files are called FILE with a number before the suffix,\n"
      "counted on from those that are there.",
      "0",
      [](const QString &text, Options *options, QString *) {
          const bool good = readInteger(text, 0, 1000000, &options->limits.fileBytes);
          options->limits.fileBytes *= 1000000;
          return good;
      } },
    { "files", "N", "Keeps the last N files only (with --file-size).", "0",
      [](const QString &text, Options *options, QString *) {
          qint64 files = 0;
          const bool good = readInteger(text, 0, 9999, &files);
          options->limits.files = int(files);
          return good;
      } },
};

bool takeValues(const QCommandLineParser &parser, Options *options, QString *error)
{
    for (const ValueOption &option : valueOptions) {
        *error = QStringLiteral("--%1 is missing").arg(option.name);
        if (!option.byDefault && !parser.isSet(option.name))
            return false;
        const QString text =
            parser.isSet(option.name) ? parser.value(option.name) : QString(option.byDefault);
        *error = QStringLiteral("--%1 does not take \"%2\"").arg(option.name, text);
        if (!option.take(text, options, error))
            return false;
    }
    *error = "--files goes with --file-size";
    return options->limits.files == 0 || options->limits.fileBytes > 0;
}

} // namespace

bool parseOptions(const QStringList &arguments, Options *options, QString *error)
{
    QCommandLineParser parser;
    parser.setApplicationDescription(description);
    const QCommandLineOption help({ "h", "help" }, "Show this help.");
    parser.addOption(help);
    const QCommandLineOption version = parser.addVersionOption();
    for (const ValueOption &option : valueOptions)
        parser.addOption({ option.name, option.help, option.value });
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
    return takeValues(parser, options, error);
}

} // namespace capture
