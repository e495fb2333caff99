#ifndef HOST_BACKGROUND_H
#define HOST_BACKGROUND_H

#include "host/placement.h"

#include <QImage>
#include <QObject>
#include <QPolygonF>
#include <QVector>

class QPainter;

namespace viewer {

class ViewTransform;

/// An image that stays in the layout where it was cloned from the live image.
struct Still {
    QString name;
    QImage image;
    Placement placement;
    bool visible;
};

/// What is drawn behind the design: the live image, where it lies, and the stills above it.
class Background : public QObject {
    Q_OBJECT
public:
    const QImage &image() const { return m_image; }
    const Placement &placement() const { return m_placement; }
    const QVector<Still> &stills() const { return m_stills; }
    double opacity() const { return m_opacity; } ///< 0 to 1

    void setImage(const QImage &image);
    void setPlacement(const Placement &placement);
    /// The same, by the plugin, which leaves the values alone until it knows where the image lies.
    void takePlacement(const Placement &placement);
    void setOpacity(double opacity);
    /// Converts everything to another database unit: coordinates are multiplied by `factor`.
    void rescale(double factor);

    /// Keeps a copy of the live image where it is now; false without an image to keep.
    bool cloneLive();
    void removeStill(int index);
    void setStillVisible(int index, bool visible);

    /// True when there is a live image that has been placed and can be drawn.
    bool isShown() const;
    QPolygonF outline() const; ///< the live image's four corners in the design
    QPointF centre() const; ///< the live image's centre in the design

    void paint(QPainter *painter, const ViewTransform &view) const;

signals:
    void changed();
    void stillsChanged();

private:
    QImage m_image;
    Placement m_placement;
    bool m_placed = false;
    QVector<Still> m_stills;
    double m_opacity = 1;
    int m_clones = 0;
};

} // namespace viewer

#endif
