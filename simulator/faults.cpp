#include "simulator/faults.h"

#include <QStringList>

namespace simulator {
namespace {

struct FaultRule {
    const char *name;
    const char *unit; // of the value, or null
    Fault fault;
    const char *help;
};

const FaultRule faultRules[] = {
    { "cut-control", "N", Fault::CutControl, "close the control channel after N bytes sent" },
    { "cut-data", "N", Fault::CutData, "close the data channel after N bytes sent" },
    { "reset-control", "N", Fault::ResetControl, "reset the control channel after N bytes sent" },
    { "reset-data", "N", Fault::ResetData, "reset the data channel after N bytes sent" },
    { "stall-control", "N", Fault::StallControl,
      "send nothing more on the control channel after N bytes" },
    { "stall-data", "N", Fault::StallData, "send nothing more on the data channel after N bytes" },
    { "delay", "MS", Fault::Delay, "answer every command MS milliseconds late" },
    { "twice", nullptr, Fault::Twice, "answer every command twice" },
    { "reorder", nullptr, Fault::Reorder, "swap every two replies" },
    { "unknown", nullptr, Fault::Unknown, "put replies with unknown names between the others" },
    { "oversized", nullptr, Fault::Oversized,
      "announce 4 GiB with the eighth reply, then trickle" },
    { "truncated", nullptr, Fault::Truncated,
      "send replies with too long texts or no body at all" },
    { "nonfinite", nullptr, Fault::NonFinite,
      "report nan or inf as stage position and view field now and then" },
    { "garbage", nullptr, Fault::Garbage,
      "put garbage and unknown messages between the scan data" },
    { "refuse-data", nullptr, Fault::RefuseData, "close every data connection at once" },
};

const FaultRule *ruleFor(const QString &name)
{
    for (const FaultRule &rule : faultRules) {
        if (name == rule.name)
            return &rule;
    }
    return nullptr;
}

bool parseFault(const QString &text, FaultPlan::Setting *setting, QString *error)
{
    const FaultRule *rule = ruleFor(text.section('=', 0, 0));
    if (!rule) {
        *error = QStringLiteral("there is no fault \"%1\"").arg(text);
        return false;
    }
    bool isNumber = false;
    setting->fault = rule->fault;
    setting->value = text.section('=', 1).toLongLong(&isNumber);
    const bool good = rule->unit ? isNumber && setting->value >= 0 : !text.contains('=');
    if (!good)
        *error =
            QStringLiteral("fault \"%1\" is written %2%3")
                .arg(text, rule->name, rule->unit ? QStringLiteral("=") + rule->unit : QString());
    return good;
}

} // namespace

bool FaultPlan::has(Fault fault) const
{
    return value(fault, -1) >= 0;
}

qint64 FaultPlan::value(Fault fault, qint64 fallback) const
{
    for (const Setting &setting : settings) {
        if (setting.fault == fault)
            return setting.value;
    }
    return fallback;
}

bool parseFaults(const QString &list, FaultPlan *plan, QString *error)
{
    for (const QString &text : list.split(',')) {
        FaultPlan::Setting setting;
        if (!parseFault(text.trimmed(), &setting, error))
            return false;
        plan->settings.append(setting);
    }
    return true;
}

QString faultHelp()
{
    QString text;
    for (const FaultRule &rule : faultRules) {
        const QString name =
            rule.unit ? QStringLiteral("%1=%2").arg(rule.name, rule.unit) : rule.name;
        text += QStringLiteral("  %1 %2\n").arg(name, -18).arg(rule.help);
    }
    return text;
}

} // namespace simulator
