#include "bench/klayout/canvaswatch.h"

#include <QBackingStore>
#include <QCoreApplication>
#include <QImage>
#include <QPaintEvent>

#include <ctime>

static const int stampMs = 2, stamps = 256; // as the relay writes them
static const int lookedAcross = 32; // not only where a column of shapes may lie

CanvasWatch::CanvasWatch(QWidget *canvas, bool withPackage)
    : QObject(canvas)
    , m_canvas(canvas)
    , m_passesOfOwnPaint(withPackage ? 2 : 1)
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

// Reads what is on the canvas from top to bottom.
void CanvasWatch::look()
{
    const auto *screen = static_cast<const QImage *>(m_canvas->backingStore()->paintDevice());
    const QPoint at = m_canvas->mapTo(m_canvas->window(), QPoint(m_canvas->width() / 2, 0));
    const qint64 now = monotonicMs();
    const bool first = m_seen.size() != m_canvas->height();
    m_seen.resize(m_canvas->height());
    const int before = m_agesMs.size();
    for (int y = 0; y < m_seen.size(); ++y) {
        const QRgb pixel = screen->pixel(at.x() + y % lookedAcross, at.y() + y);
        const int grey = qRed(pixel);
        if (!first && grey != m_seen[y] && qGreen(pixel) == grey && qBlue(pixel) == grey)
            m_agesMs += double((now / stampMs - grey) & (stamps - 1)) * stampMs;
        m_seen[y] = grey;
    }
    m_images += m_agesMs.size() > before;
}
