#ifndef HOST_COMMANDLINE_H
#define HOST_COMMANDLINE_H

#include <QSize>
#include <QString>
#include <QStringList>

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

/// Reads the arguments (the program's name first). On failure puts the reason into `error`.
bool parseCommandLine(const QStringList &arguments, Options *options, QString *error);
QString commandLineHelp();

} // namespace viewer

#endif
