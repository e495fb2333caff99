#ifndef TESTS_CROSSFINDER_H
#define TESTS_CROSSFINDER_H

#include <QImage>
#include <QPointF>

/// An alignment cross as seen in an image, in pixel corners (the centre of the first pixel is 0.5).
struct Cross {
    bool found = false;
    QPointF centre;
    double degrees = 0; ///< how far it is turned counter-clockwise as seen on the screen
    double armLength = 0; ///< from end to end, pixels; only from measureCross()
};

/// Searches a bright upright cross on dark ground, give or take 10 degrees. `armLength` (end to
/// end) and `armWidth` in pixels; good to a pixel or two.
Cross findCross(const QImage &image, double armLength, double armWidth);

/// Measures a cross near `guess` that lies in the image with both arms whole: lines through the
/// arms give centre and angle to a fraction of a pixel, the ends of the level arm its length.
Cross measureCross(const QImage &image, const Cross &guess, double armLength, double armWidth);

#endif
