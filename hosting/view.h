#ifndef HOSTING_VIEW_H
#define HOSTING_VIEW_H

#include <QPointF>
#include <QSize>
#include <QTransform>

namespace hosting {

/// Which part of the design a canvas shows. Design coordinates are database units with y upwards,
/// screen coordinates are the canvas widget's pixels with y downwards.
struct View {
    QPointF centre; ///< of the canvas, in the design
    double zoom = 0; ///< screen pixels per database unit
    QSize size; ///< of the canvas in screen pixels

    /// False for views that show nothing or are no numbers; such a view is not reported.
    bool isValid() const;

    /// Invertible for a valid view only.
    QTransform toScreen() const;
    QPointF toDesign(const QPointF &screen) const { return toScreen().inverted().map(screen); }
};

} // namespace hosting

#endif
