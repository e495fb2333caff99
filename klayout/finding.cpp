// Where the image belongs, as the design tells.
#include "klayout/host.h"

namespace klayout {

using hosting::AlignMode;

static const double farthest = 2e9; // database units of KLayout

void Host::find()
{
    const QRectF region = m_overlay.canvas() ? m_finder.lookAround() : QRectF();
    if (region.isEmpty()) {
        m_event("message", tr("SEM: There is no live image to look for in the design."));
        return;
    }
    if (m_mode.mode() == AlignMode::Off)
        m_session.invoke("alignManuel"); // in which it can be undone
    m_event("message", tr("SEM: Looking for the image in the design\u2026"));
    QStringList edges;
    for (double edge : { region.left(), region.top(), region.right(), region.bottom() })
        edges << QString::number(qBound(-farthest, edge, farthest), 'f', 0);
    m_event("shapes", edges.join(' '));
}

void Host::takeShapes(const qint32 *numbers, int count)
{
    hosting::LayerShapes shapes;
    shapes.take(numbers, count);
    m_finder.find(shapes);
}

void Host::takeFinding(const hosting::ImageFinder::Finding &finding)
{
    const bool moved = m_mode.isMoving() || m_background.placement() != finding.from;
    if (finding.isFound && !moved) {
        m_mode.put(finding.to);
        m_session.notePick(finding.deviationPixels);
    }
    m_event("message",
            tr("SEM: %1").arg(finding.isFound && moved ? tr(
                                  "The image was moved while it was looked for; it stays there.")
                                                       : finding.text));
}

} // namespace klayout
