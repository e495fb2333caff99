#ifndef SIMULATOR_COMMANDS_H
#define SIMULATOR_COMMANDS_H

#include "simulator/protocol.h"

#include <QVector>

namespace simulator {

/// The commands the microscope knows. The order is that of the table in commands.cpp.
enum class CommandId {
    TcpRegDataPort,
    TcpGetVersion,
    TcpGetSWVersion,
    DtEnumDetectors,
    DtSelect,
    DtEnable,
    DtAutoSignal,
    DtGetGainBlack,
    GetWD,
    GetViewField,
    SetViewField,
    ScScanXY,
    ScStopScan,
    StgGetPosition,
    StgMoveTo,
    Unknown
};

/// A decoded command. Every argument is a number; a double holds any of the protocol's integers.
struct Command {
    CommandId id = CommandId::Unknown;
    QByteArray name;
    QVector<double> arguments;

    QString text() const; ///< "DtSelect 0 1"
};

/// Decodes `message`. A command that is not known is good, with its id Unknown. Returns false with
/// the reason in `problem` when the body does not hold exactly the command's arguments.
bool decodeCommand(const Message &message, Command *command, QString *problem);

} // namespace simulator

#endif
