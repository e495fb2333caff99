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

/// The similarity (shift, rotation, uniform scale) through two pairs. False, and `map` untouched,
/// if the scale lies outside nominal / 1.2 to nominal / 0.8 or the pairs coincide.
bool twoPairMap(const AlignmentPair &first, const AlignmentPair &second, double databaseUnits,
                QMatrix *map);

/// The affine map through three pairs. False, and `map` untouched, if the stage positions lie on
/// one line or a diagonal term lies outside minus nominal / 1.2 to minus nominal / 0.8.
bool threePairMap(const AlignmentPair pairs[3], double databaseUnits, QMatrix *map);

#endif
