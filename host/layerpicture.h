#ifndef HOST_LAYERPICTURE_H
#define HOST_LAYERPICTURE_H

#include "host/layerpainter.h"

#include <QFutureWatcher>
#include <QObject>

class QPainter;

namespace viewer {

/// The drawn layers, kept so that a new live image costs no polygon. A new scene is drawn in the
/// background; until it is ready the last picture is shown moved and scaled.
class LayerPicture : public QObject {
    Q_OBJECT
public:
    explicit LayerPicture(QObject *parent = nullptr);
    ~LayerPicture() override;

    /// Asks for the picture of `scene`, and some more around it so that panning uncovers it.
    void request(const LayerScene &scene);
    /// Draws the newest picture where `view` shows it.
    void paint(QPainter *painter, const ViewTransform &view) const;
    /// Blocks until the requested picture is there.
    void finish();

signals:
    void ready();

private:
    void start();
    void take();

    LayerScene m_wanted, m_running, m_drawn;
    QImage m_picture;
    QFutureWatcher<QImage> m_watcher;
    bool m_busy = false;
};

} // namespace viewer

#endif
