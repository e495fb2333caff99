#include "host/layerpicture.h"

#include <QPainter>
#include <QtConcurrent>

#include <cmath>

namespace viewer {

LayerPicture::LayerPicture(QObject *parent)
    : QObject(parent)
{
    connect(&m_watcher, &QFutureWatcher<QImage>::finished, this, &LayerPicture::take);
}

LayerPicture::~LayerPicture()
{
    m_watcher.waitForFinished();
}

static ViewTransform withMargin(ViewTransform view)
{
    view.setSize(view.size() + view.size() / 8 * 2); // an eighth on each side
    return view;
}

void LayerPicture::request(const LayerScene &scene)
{
    m_wanted = scene;
    m_wanted.view = withMargin(scene.view);
    if (!m_busy)
        start();
}

void LayerPicture::start()
{
    if (m_wanted == m_drawn)
        return;
    m_running = m_wanted;
    if (!m_wanted.design) {
        m_picture = QImage();
        m_drawn = m_wanted;
        return;
    }
    m_busy = true;
    m_watcher.setFuture(QtConcurrent::run(renderLayers, m_running));
}

void LayerPicture::take()
{
    if (!m_busy)
        return; // finish() was faster than the queued signal
    m_busy = false;
    m_picture = m_watcher.result();
    m_drawn = m_running;
    start();
    emit ready();
}

void LayerPicture::finish()
{
    while (m_busy) {
        m_watcher.waitForFinished();
        take();
    }
}

void LayerPicture::paint(QPainter *painter, const ViewTransform &view) const
{
    if (m_picture.isNull() || m_drawn.design != m_wanted.design)
        return;
    const double scale = view.zoom() / m_drawn.view.zoom();
    const QPointF corner = view.toScreen(m_drawn.view.toDesign(QPointF(0, 0)));
    painter->save();
    if (scale == 1) { // on whole pixels the outlines stay crisp
        painter->drawImage(corner.toPoint(), m_picture);
    } else {
        painter->translate(corner);
        painter->scale(scale, scale);
        painter->drawImage(0, 0, m_picture);
    }
    painter->restore();
}

} // namespace viewer
