#ifndef HOSTING_DESIGNMEMORY_H
#define HOSTING_DESIGNMEMORY_H

#include "hosting/alignerror.h"
#include "hosting/pose.h"

#include <QMap>
#include <QPointF>
#include <QSet>
#include <QString>
#include <QVector>

namespace hosting {

/// A design point that the user confirmed as the image's centre, and the standard deviation of
/// where that was, both in database units; a deviation of 0 if the point is not known.
struct PickedPair {
    QPointF design;
    double deviation = 0;
};

/// What a host remembers of the designs by name, in the application's settings, beside the stage
/// positions that the plugin remembers there.
struct DesignMemory {
    QMap<QString, Pose> poses; ///< in which the user put the image
    QMap<QString, QVector<PickedPair>> pairs; ///< of the stored alignment, by row
    QSet<QString> cleared; ///< those whose alignment the user does not want to see again
    WaferAssumption assumption; ///< read only

    static DesignMemory read();
    /// All of it; call it when the plugin writes its part.
    void write() const;
    /// This is true whatever becomes of the rest.
    void writeCleared() const;
};

} // namespace hosting

#endif
