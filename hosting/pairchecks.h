#ifndef HOSTING_PAIRCHECKS_H
#define HOSTING_PAIRCHECKS_H

#include "hosting/alignerror.h"

#include <QCoreApplication>
#include <QRectF>
#include <QStringList>

namespace hosting {

struct Pose;

/// What the user did to the image between the start of a row, when it lay where the map put it, and
/// the confirmation.
struct Correction {
    QPointF offset; ///< of the image's centre, micrometres
    double turnDegrees = 0; ///< counter-clockwise, -180 to 180
    double scale = 1;

    /// From the image's centre (micrometres) and pose at either moment. Poses leave out what a
    /// changed view field or frame size does to the image.
    static Correction between(const QPointF &from, const Pose &before, const QPointF &to,
                              const Pose &after);

    double distance() const; ///< micrometres
    /// "moved by 12 µm, turned by 0.31°, scaled by 1.004"
    QString text() const;
};

/// What the host asks back about before it has a pair confirmed. Each question is its reason in
/// words for the user, or empty.
struct PairToConfirm {
    Q_DECLARE_TR_FUNCTIONS(hosting::PairToConfirm)

public:
    ConfirmedPair pair; ///< its point is where the image's centre lies now
    QVector<ConfirmedPair> others; ///< the recorded pairs of the other rows, in force or not
    Correction correction;
    QRectF design; ///< micrometres
    WaferAssumption assumption;
    bool placeKnown = true; ///< false: where the map has the image was lost sight of
    bool stageMoves = false;

    QString stillMoving() const;
    /// The image lies as it did when the row was started.
    QString notMoved() const;
    /// Closer to another pair than a tenth of the design's diagonal.
    QString tooClose() const;
    /// A triangle whose predicted error at the worst corner of the design is more than five times
    /// that at its worst pair.
    QString nearlyOnLine() const;
    /// Moved twice as far, or turned or scaled twice as much, as the pairs in force and the
    /// assumption leave open; never for a first pair. Where the true wafer is one of those that are
    /// assumed, and its turn was given to the image with the first pair, that happens to one pair in
    /// ten thousand.
    QString tooFar() const;

    QStringList questions() const; ///< all that are not empty

private:
    double leftOpen() const;
    WaferAssumption poseLeftOpen() const;
};

} // namespace hosting

#endif
