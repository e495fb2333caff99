#ifndef HOSTING_BACKGROUND_H
#define HOSTING_BACKGROUND_H

#include "hosting/placement.h"

#include <QImage>
#include <QObject>
#include <QPolygonF>

namespace hosting {

/// The live image and where it lies in the design.
class Background : public QObject {
    Q_OBJECT
public:
    const QImage &image() const { return m_image; }
    const Placement &placement() const { return m_placement; }

    void setImage(const QImage &image);
    /// Where the user wants the image.
    void setPlacement(const Placement &placement);
    /// Where the plugin wants it.
    void takePlacement(const Placement &placement);
    /// An image whose place is not known is better not seen.
    void setVisible(bool visible);
    /// Back to no image without a place.
    void clear();

    /// True when there is a live image that has been placed and can be drawn.
    bool isShown() const;
    QPolygonF outline() const; ///< the image's four corners in the design
    QPointF centre() const; ///< the image's centre in the design

signals:
    void changed();
    void movedByUser();

private:
    QImage m_image;
    Placement m_placement;
    bool m_visible = true;
};

} // namespace hosting

#endif
