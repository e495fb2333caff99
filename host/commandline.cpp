#include "host/commandline.h"

#include <QCommandLineParser>
#include <QRegularExpression>
#include <QtNumeric>

#include <functional>

namespace viewer {

static const char plainConnect[] = "connect-as-set";

static void describe(QCommandLineParser *parser)
{
    parser->setApplicationDescription("Shows a chip design with the microscope's image behind it.");
    parser->addPositionalArgument("layout", "GDSII file to open.", "[layout.gds]");
    parser->addOptions({
        { { "h", "help" }, "Shows this help." },
        { "plugin", "Background plugin to load instead of the one built with the viewer.", "FILE" },
        { "settings", "Keeps the settings in FOLDER instead of the user's.", "FOLDER" },
        { "connect",
          "Connects to the microscope; without HOST:PORT to the one last used.\nAlso as plain "
          "--connect.",
          "HOST:PORT" },
        { "display", "Chooses the display mode: live, box, cross or none.", "MODE" },
        { "set", "Chooses an entry of one of the panel's lists, such as imageSize=2048x2048.",
          "LIST=ENTRY" },
        { "size", "Size of the window in pixels.", "WxH" },
        { "view", "Centre and width of the view in micrometres.", "X,Y,WIDTH" },
        { "zoom-to-image", "Shows the microscope image once it is placed." },
        { "screenshot", "Writes the window to a PNG file and quits.", "FILE" },
        { "after", "Waits that long before --screenshot or --measure (default 1).", "SECONDS" },
        { "measure", "Pans and zooms for that long, prints the paint times and quits.", "SECONDS" },
    });
    QCommandLineOption plain(plainConnect);
    plain.setFlags(QCommandLineOption::HiddenFromHelp);
    parser->addOption(plain);
}

// Qt compares whole arguments, so "--plugin=FILE" escapes it where "--plugin FILE" does not.
std::vector<QByteArray> protectedArguments(int argc, char **argv)
{
    std::vector<QByteArray> result;
    for (int i = 0; i < argc; ++i) {
        QByteArray argument = argv[i];
        if ((argument == "--plugin" || argument == "--display") && i + 1 < argc)
            argument.append('=').append(argv[++i]);
        result.push_back(argument);
    }
    return result;
}

// The parser knows no optional values, so --connect without an address becomes an option of its
// own.
static QStringList withPlainConnect(QStringList arguments)
{
    static const QRegularExpression address("^[^/]+:\\d+$");
    for (int i = 1; i < arguments.size(); ++i)
        if (arguments[i] == "--connect" && !address.match(arguments.value(i + 1)).hasMatch())
            arguments[i] = QString("--") + plainConnect;
    return arguments;
}

static bool readAddress(const QString &text, Options *options)
{
    const int colon = text.lastIndexOf(':');
    bool isNumber = false;
    options->host = text.left(colon);
    options->port = text.mid(colon + 1).toInt(&isNumber);
    options->connects = true;
    return colon > 0 && isNumber && options->port > 0 && options->port < 65535;
}

static bool readSize(const QString &text, Options *options)
{
    const auto match = QRegularExpression("^(\\d{2,5})x(\\d{2,5})$").match(text);
    options->windowSize = QSize(match.captured(1).toInt(), match.captured(2).toInt());
    return match.hasMatch();
}

static bool readView(const QString &text, Options *options)
{
    const QStringList parts = text.split(',');
    bool okX = false, okY = false, okWidth = false;
    options->viewXUm = parts.value(0).toDouble(&okX);
    options->viewYUm = parts.value(1).toDouble(&okY);
    options->viewWidthUm = parts.value(2).toDouble(&okWidth);
    return parts.size() == 3 && okX && okY && okWidth && qIsFinite(options->viewXUm)
        && qIsFinite(options->viewYUm) && qIsFinite(options->viewWidthUm)
        && options->viewWidthUm > 0;
}

static bool readSeconds(const QString &text, double *seconds)
{
    bool isNumber = false;
    *seconds = text.toDouble(&isNumber);
    return isNumber && *seconds > 0 && *seconds < 1e6;
}

static bool readDisplay(const QString &text, Options *options)
{
    options->display = text;
    return QStringList{ "live", "box", "cross", "none" }.contains(text);
}

static bool readText(const QString &text, QString *value)
{
    *value = text;
    return !text.isEmpty();
}

static bool readValues(const QCommandLineParser &parser, Options *options, QString *error)
{
    const struct {
        const char *name;
        std::function<bool(const QString &)> read;
    } readers[] = {
        { "plugin", [&](const QString &text) { return readText(text, &options->pluginFile); } },
        { "settings",
          [&](const QString &text) { return readText(text, &options->settingsFolder); } },
        { "connect", [&](const QString &text) { return readAddress(text, options); } },
        { "display", [&](const QString &text) { return readDisplay(text, options); } },
        { "size", [&](const QString &text) { return readSize(text, options); } },
        { "view", [&](const QString &text) { return readView(text, options); } },
        { "screenshot",
          [&](const QString &text) { return readText(text, &options->screenshotFile); } },
        { "after", [&](const QString &text) { return readSeconds(text, &options->afterSeconds); } },
        { "measure",
          [&](const QString &text) { return readSeconds(text, &options->measureSeconds); } },
    };
    for (const auto &reader : readers) {
        const QString text = parser.value(reader.name);
        if (!parser.isSet(reader.name) || reader.read(text))
            continue;
        *error = QString("--%1 cannot be \"%2\".").arg(reader.name, text);
        return false;
    }
    return true;
}

bool parseCommandLine(const QStringList &arguments, Options *options, QString *error)
{
    QCommandLineParser parser;
    describe(&parser);
    if (!parser.parse(withPlainConnect(arguments))) {
        *error = parser.errorText();
        return false;
    }
    if (parser.positionalArguments().size() > 1) {
        *error = "Only one layout can be opened.";
        return false;
    }
    options->layoutFile = parser.positionalArguments().value(0);
    options->showHelp = parser.isSet("help");
    options->zoomToImage = parser.isSet("zoom-to-image");
    options->connects = parser.isSet(plainConnect);
    options->listChoices = parser.values("set");
    if (parser.isSet("view") && options->layoutFile.isEmpty()) {
        *error = "--view needs a layout.";
        return false;
    }
    return readValues(parser, options, error);
}

QString commandLineHelp()
{
    QCommandLineParser parser;
    describe(&parser);
    return parser.helpText();
}

} // namespace viewer
