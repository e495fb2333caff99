#ifndef HOSTING_PAIRMARKS_H
#define HOSTING_PAIRMARKS_H

#include <QPainterPath>

class QPainter;
class QColor;

namespace hosting {

class Background;
class PluginSession;
struct View;

/// The live image's frame as it lies on the screen of `view`, cut to what is near it.
QPainterPath frameOnScreen(const View &view, const Background &background);

/// Lines on images that may be bright or dark.
void strokeOnDark(QPainter *painter, const QPainterPath &path, const QColor &colour);

/// Draws what the alignment rests on, on the screen of the session's view: a dashed frame round an
/// image whose place is assumed, the image's centre while a row is in work, the confirmed pairs with
/// their numbers, joined.
void paintPairs(QPainter *painter, const PluginSession &session, const Background &background);

} // namespace hosting

#endif
