#ifndef HOST_COMMANDLINE_H
#define HOST_COMMANDLINE_H

#include <QByteArray>
#include <QSize>
#include <QString>
#include <QStringList>

#include <vector>

namespace viewer {

/// What the command line asks for. Unset texts are empty, unset numbers 0.
struct Options {
    QString layoutFile;
    QString pluginFile;
    QString settingsFolder;

    bool connects = false;
    QString host; ///< empty: as the panel has it
    int port = 0;
    QString display; ///< live, box, cross or none
    QStringList listChoices; ///< LIST=ENTRY, for the panel's drop-down lists

    QSize windowSize;
    double viewXUm = 0, viewYUm = 0, viewWidthUm = 0; ///< width 0: the whole design
    bool zoomToImage = false;

    double afterSeconds = 1;
    QString screenshotFile;
    double measureSeconds = 0;

    bool showHelp = false;

    /// True when the program works by itself and then quits.
    bool isScripted() const { return !screenshotFile.isEmpty() || measureSeconds > 0; }
};

/// The arguments in a form of which QApplication leaves everything to this program: some of the
/// options have the names of Qt's own.
std::vector<QByteArray> protectedArguments(int argc, char **argv);

/// Reads the arguments (the program's name first). On failure puts the reason into `error`.
bool parseCommandLine(const QStringList &arguments, Options *options, QString *error);
QString commandLineHelp();

} // namespace viewer

#endif
