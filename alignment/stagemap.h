#ifndef ALIGNMENT_STAGEMAP_H
#define ALIGNMENT_STAGEMAP_H

#include <QMatrix>
#include <QPointF>

// Affine maps from stage positions (mm) to design points (database units), after QMatrix's
// convention. The stage axes run against the design axes: where the stage moves by +1 mm in x, the
// design point under the image centre moves by minus one nominal scale in x.

/// A design point and the stage position at which the centre of the live image shows it.
struct AlignmentPair {
    QPointF design; ///< database units
    QPointF stage; ///< mm
};

/// Database units per millimetre of stage travel; `databaseUnits` in metres.
double nominalStageScale(double databaseUnits);

/// Whether a map is finite and has an inverse: only such a map may place an image or move a stage.
bool isUsable(const QMatrix &map);

/// The map through one pair, at nominal scale and orientation.
QMatrix onePairMap(const AlignmentPair &pair, double databaseUnits);

/// How far pairs agree with what a stage can do.
struct PairFit {
    enum Flaw {
        NoFlaw,
        OnePlace, ///< two stage positions or two design points coincide
        OneLine, ///< three of them lie on one line
        WrongScale ///< a scale lies outside 1 / 1.2 to 1 / 0.8
    };
    Flaw flaw;
    /// Measured scales as parts of the nominal one, set with WrongScale: two pairs have one for
    /// both, of three each axis has its own, negative where the design is mirrored.
    double scaleX;
    double scaleY;
};

/// The similarity (shift, rotation, uniform scale) through two pairs. `map` is untouched if there
/// is a flaw.
PairFit twoPairMap(const AlignmentPair &first, const AlignmentPair &second, double databaseUnits,
                   QMatrix *map);

/// The affine map through three pairs; the scales are its diagonal terms. `map` is untouched if
/// there is a flaw.
PairFit threePairMap(const AlignmentPair pairs[3], double databaseUnits, QMatrix *map);

#endif
