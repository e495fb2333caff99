#ifndef MATCHING_UNCERTAINTY_H
#define MATCHING_UNCERTAINTY_H

#include "matching/find.h"
#include "matching/fit.h"
#include "matching/view.h"

namespace matching {

/// Fills in where the image lies and how well that is known, from what was refined in a window with
/// a `scaled` image; the match's confidence and what is unexplained must be there.
void setPose(const Refined &refined, const Window &window, const Scaled &scaled, Match *match);

} // namespace matching

#endif
