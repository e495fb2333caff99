#include "host/measurement.h"
#include "host/layoutview.h"
#include "host/mainwindow.h"

#include <algorithm>
#include <cmath>

namespace viewer {

Measurement::Measurement(MainWindow *window, QObject *parent)
    : QObject(parent)
    , m_window(window)
{
    connect(&m_timer, &QTimer::timeout, this, &Measurement::step);
}

void Measurement::start(double seconds)
{
    m_seconds = seconds;
    m_window->view()->fitImage();
    m_home = m_window->view()->view();
    connect(m_window->view(), &LayoutView::painted, this,
            [this](qint64 nanoseconds) { m_paintNs.append(nanoseconds); });
    m_clock.start();
    m_timer.start(0);
}

// Eight seconds take the view from the whole image to a sixteenth of it and back, on a circle.
void Measurement::step()
{
    const double seconds = m_clock.nsecsElapsed() * 1e-9;
    if (seconds >= m_seconds) {
        m_timer.stop();
        emit finished(report());
        return;
    }
    const double angle = seconds * 2 * M_PI / 8;
    const QSizeF around = m_home.visible().size() * 0.2;
    ViewTransform view = m_home;
    view.setCentre(
        m_home.centre()
        + QPointF(around.width() * std::cos(3 * angle), around.height() * std::sin(3 * angle)));
    view.setZoom(m_home.zoom() * std::pow(4, 1 - std::cos(angle)));
    m_window->view()->setView(view);
}

QString Measurement::report() const
{
    if (m_paintNs.isEmpty())
        return QStringLiteral("paint: none");
    QVector<qint64> sorted = m_paintNs;
    std::sort(sorted.begin(), sorted.end());
    const QSize view = m_window->view()->size(), image = m_window->background()->image().size();
    return QStringLiteral("paint: median %1 ms, worst %2 ms, %3 paints/s (view %4x%5, image %6x%7)")
        .arg(sorted[sorted.size() / 2] * 1e-6, 0, 'f', 2)
        .arg(sorted.last() * 1e-6, 0, 'f', 2)
        .arg(sorted.size() / m_seconds, 0, 'f', 1)
        .arg(view.width())
        .arg(view.height())
        .arg(image.width())
        .arg(image.height());
}

} // namespace viewer
