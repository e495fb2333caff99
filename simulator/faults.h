#ifndef SIMULATOR_FAULTS_H
#define SIMULATOR_FAULTS_H

#include <QString>
#include <QVector>

namespace simulator {

enum class ChannelKind { Control, Data };

enum class Fault {
    CutControl,
    CutData,
    ResetControl,
    ResetData,
    StallControl,
    StallData,
    Delay,
    Twice,
    Reorder,
    Unknown,
    Oversized,
    Truncated,
    NonFinite,
    Garbage,
    RefuseData
};

/// The faults to make, each with its number of bytes or milliseconds (0 where it has none).
struct FaultPlan {
    struct Setting {
        Fault fault;
        qint64 value;
    };
    QVector<Setting> settings;
    bool once = false; ///< on the first connection of each channel only

    bool has(Fault fault) const;
    qint64 value(Fault fault, qint64 fallback) const;
};

/// Adds the faults of a comma-separated list such as "cut-data=100000,twice". Returns false with
/// the reason in `error`.
bool parseFaults(const QString &list, FaultPlan *plan, QString *error);

QString faultHelp(); ///< one line for each fault

} // namespace simulator

#endif
