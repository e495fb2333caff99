#ifndef HOST_LAYERPAINTER_H
#define HOST_LAYERPAINTER_H

#include "host/viewtransform.h"
#include "layout/design.h"

#include <QColor>
#include <QImage>
#include <QSet>

#include <memory>

namespace viewer {

using DesignPointer = std::shared_ptr<const layout::Design>;

/// The colour of the layer at `index` in the design's list.
QColor layerColour(int index);

/// Everything a picture of the layers depends on. Safe to hand to another thread.
struct LayerScene {
    DesignPointer design;
    QSet<int> hiddenLayers; ///< layer numbers
    ViewTransform view;
    qreal devicePixelRatio = 1;

    bool operator==(const LayerScene &other) const;
};

/// Draws layers and labels on a transparent image of the view's size.
QImage renderLayers(const LayerScene &scene);

} // namespace viewer

#endif
