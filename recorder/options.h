#ifndef RECORDER_OPTIONS_H
#define RECORDER_OPTIONS_H

#include "recorder/capturewriter.h"

namespace capture {

/// What the command line asks for. The data channels are at the next ports.
struct Options {
    Endpoint microscope; ///< its control port
    Endpoint listen; ///< for the control channel; port 0: any free pair
    QString file;
    FileLimits limits;
    qint64 keptPixels = 64; ///< of each scan data message; negative: all
};

/// Reads the command line, the program's name first. Returns false with the reason in `error`.
/// --help and --version print their text and end the program.
bool parseOptions(const QStringList &arguments, Options *options, QString *error);

} // namespace capture

#endif
