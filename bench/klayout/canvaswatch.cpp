#include "bench/klayout/canvaswatch.h"

#include <QBackingStore>
#include <QCoreApplication>
#include <QImage>
#include <QPaintEvent>

#include <ctime>

static const int stampMs = 2, stamps = 256; // as the relay writes them
static const int lookedAt = 8; // pixels in a row, some of which will lie beside the shapes

CanvasWatch::CanvasWatch(QWidget *canvas)
    : QObject(canvas)
    , m_canvas(canvas)
{
    canvas->installEventFilter(this);
}

void CanvasWatch::start()
{
    m_images = m_ownPaints = 0;
    m_lastOwnPaintMs = -1;
    m_agesMs.clear();
    m_clock.start();
}

// The event is sent on from here to know when its handling ends. It comes by once for that, and
// once more if the package lets KLayout paint.
bool CanvasWatch::eventFilter(QObject *canvas, QEvent *event)
{
    if (event->type() != QEvent::Paint)
        return false;
    if (m_passes++ > 0)
        return false;
    QCoreApplication::sendEvent(canvas, event);
    const bool own = m_passes - 1 == m_passesOfOwnPaint;
    m_passes = 0;
    if (own) {
        ++m_ownPaints;
        m_lastOwnPaintMs = double(m_clock.nsecsElapsed()) * 1e-6;
        m_seen.clear(); // the view may have changed
    }
    look();
    return true;
}

static qint64 monotonicMs()
{
    timespec now;
    clock_gettime(CLOCK_MONOTONIC, &now);
    return now.tv_sec * 1000LL + now.tv_nsec / 1000000;
}

// Some pixels of each row, from top to bottom.
void CanvasWatch::look()
{
    const auto *screen = static_cast<const QImage *>(m_canvas->backingStore()->paintDevice());
    const QRect area(m_canvas->mapTo(m_canvas->window(), QPoint()), m_canvas->size());
    const qint64 now = monotonicMs() / stampMs;
    const int before = m_agesMs.size();
    QVector<QRgb> seen(area.height() * lookedAt);
    for (int i = 0; i < seen.size(); ++i) {
        const int y = i / lookedAt, x = area.center().x() + (i % lookedAt - 4) * 100 + y % 32;
        seen[i] = reinterpret_cast<const QRgb *>(screen->constScanLine(area.top() + y))[x];
        if (i < m_seen.size() && seen[i] != m_seen[i])
            m_agesMs += double((now - qGray(seen[i])) & (stamps - 1)) * stampMs;
    }
    m_seen = seen;
    m_images += m_agesMs.size() > before;
}
