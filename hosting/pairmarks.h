#ifndef HOSTING_PAIRMARKS_H
#define HOSTING_PAIRMARKS_H

#include <QRectF>

class QPainter;
class QPainterPath;
class QColor;

namespace hosting {

class Background;
class PluginSession;

/// Lines on images that may be bright or dark.
void strokeOnDark(QPainter *painter, const QPainterPath &path, const QColor &colour);

/// Draws what the alignment rests on, on the screen of the session's view: a dashed frame round an
/// image whose place is assumed, the image's centre while a row is in work, the confirmed pairs with
/// their numbers, joined.
void paintPairs(QPainter *painter, const PluginSession &session, const Background &background);

} // namespace hosting

#endif
