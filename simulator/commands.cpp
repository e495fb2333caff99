#include "simulator/commands.h"

namespace simulator {
namespace {

struct CommandRule {
    CommandId id;
    const char *name;
    const char *arguments; // i: int, u: uint, r: real
};

const CommandRule commandRules[] = {
    { CommandId::TcpRegDataPort, "TcpRegDataPort", "u" },
    { CommandId::TcpGetVersion, "TcpGetVersion", "" },
    { CommandId::TcpGetSWVersion, "TcpGetSWVersion", "" },
    { CommandId::DtEnumDetectors, "DtEnumDetectors", "" },
    { CommandId::DtSelect, "DtSelect", "ii" },
    { CommandId::DtEnable, "DtEnable", "iii" },
    { CommandId::DtAutoSignal, "DtAutoSignal", "i" },
    { CommandId::DtGetGainBlack, "DtGetGainBlack", "i" },
    { CommandId::GetWD, "GetWD", "" },
    { CommandId::GetViewField, "GetViewField", "" },
    { CommandId::SetViewField, "SetViewField", "r" },
    { CommandId::ScScanXY, "ScScanXY", "uuuuuuuiu" },
    { CommandId::ScStopScan, "ScStopScan", "" },
    { CommandId::StgGetPosition, "StgGetPosition", "" },
    { CommandId::StgMoveTo, "StgMoveTo", "rrrrr" },
};

const CommandRule *ruleFor(const QByteArray &name)
{
    for (const CommandRule &rule : commandRules) {
        if (name == rule.name)
            return &rule;
    }
    return nullptr;
}

double readArgument(BodyReader *reader, char kind)
{
    switch (kind) {
    case 'i':
        return reader->readInt();
    case 'u':
        return reader->readUint();
    default:
        return reader->readReal();
    }
}

} // namespace

QString Command::text() const
{
    QString text = QString::fromLatin1(name);
    for (double argument : arguments)
        text += ' ' + QString::number(argument, 'g', 10);
    return text;
}

bool decodeCommand(const Message &message, Command *command, QString *problem)
{
    *command = Command();
    command->name = message.name;
    const CommandRule *rule = ruleFor(message.name);
    if (!rule)
        return true;
    command->id = rule->id;
    BodyReader reader(message.body);
    for (const char *kind = rule->arguments; *kind; ++kind)
        command->arguments.append(readArgument(&reader, *kind));
    if (reader.good() && reader.atEnd())
        return true;
    *problem = QStringLiteral("%1 with arguments that it does not have: %2")
                   .arg(rule->name, QString::fromLatin1(message.body.left(64).toHex(' ')));
    return false;
}

} // namespace simulator
