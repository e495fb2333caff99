#include "hosting/statusline.h"
#include "hosting/background.h"
#include "hosting/livewatch.h"
#include "hosting/pluginsession.h"

#include <cmath>

namespace hosting {

static const QColor good(0, 130, 60), caution(215, 130, 0), bad(200, 40, 40), gone(110, 110, 110);

StatusLine::StatusLine(PluginSession *session, Background *background, LiveWatch *live)
    : m_session(session)
    , m_background(background)
    , m_live(live)
{
    connect(session, &PluginSession::alignmentChanged, this, &StatusLine::look);
    connect(background, &Background::changed, this, &StatusLine::look);
    connect(live, &LiveWatch::changed, this, &StatusLine::look);
}

void StatusLine::look()
{
    const QString now = text() + advice();
    if (now == m_seen)
        return;
    m_seen = now;
    emit changed();
}

void StatusLine::setCursor(const std::optional<QPointF> &design)
{
    m_cursor = design;
    look();
}

bool StatusLine::isLive() const
{
    return m_session->isConnected() && m_live->staleness().isEmpty();
}

struct StatusLine::Basis {
    QString text;
    QColor colour;
};

QString StatusLine::pairsText() const
{
    const Alignment &alignment = m_session->alignment();
    if (alignment.pairs.isEmpty())
        return tr("restored"); // by an older host, which remembered no pairs
    const QString pairs = alignment.inForce == 3 ? tr("three pairs") : tr("two pairs");
    return alignment.restored ? tr("restored: %1").arg(pairs) : pairs;
}

/// What the image's place rests on.
StatusLine::Basis StatusLine::basis() const
{
    const Alignment &alignment = m_session->alignment();
    if (const int row = m_session->rowInWork())
        return { tr("being aligned: pair %1").arg(row), caution };
    if (alignment.inForce == 0)
        return { tr("not aligned: the place is assumed"), bad };
    if (alignment.inForce < alignment.pairs.size())
        return { tr("the pairs do not fit: pair 1 alone, turn and scale assumed"), bad };
    if (alignment.inForce == 1)
        return { tr("one pair: turn and scale are assumed within %1\u00b0 and %2 %")
                     .arg(m_session->assumption().turnDegrees)
                     .arg(m_session->assumption().scalePercent),
                 caution };
    return { pairsText(), good };
}

/// A place that the user gave the image holds until the stage moves, whatever the pairs say.
QString StatusLine::handText() const
{
    const double unit = m_session->design().micrometres();
    const QPointF offset = m_session->movedByHand();
    const double distance = std::hypot(offset.x(), offset.y());
    if (m_session->isPairInWork() || distance < m_session->pixelSize() / 100)
        return QString();
    return tr("moved %1 by hand").arg(lengthText(distance * unit));
}

QString StatusLine::errorText() const
{
    const AlignError error(m_session->confirmedPairs(), m_session->assumption());
    const double unit = m_session->design().micrometres();
    if (!m_cursor || !handText().isEmpty() || error.pairsInForce() != m_session->alignment().inForce)
        return QString();
    const double micrometres = error.at(*m_cursor * unit);
    if (!qIsFinite(micrometres))
        return QString();
    return tr("\u00b1%1 = %2 pixels at the cursor")
        .arg(lengthText(micrometres))
        .arg(micrometres / (m_session->pixelSize() * unit), 0, 'f', 1);
}

QString StatusLine::text() const
{
    if (!m_background->isShown())
        return QString();
    QStringList parts;
    if (!m_session->isConnected())
        parts << tr("not connected")
                + (m_session->lostSince().isNull()
                       ? QString()
                       : tr(" since %1").arg(m_session->lostSince().toString("hh:mm:ss")));
    else if (m_session->panel()->showsLiveImage())
        parts << m_live->staleness();
    parts << basis().text << handText() << errorText() << m_live->progress();
    if (m_session->isConnected() && m_session->isStageMoving())
        parts << tr("stage moving");
    if (m_session->isConnected() && !m_session->panel()->showsLiveImage())
        parts << tr("no live image");
    parts.removeAll(QString());
    return parts.join(" \u00b7 ");
}

QString StatusLine::advice() const
{
    const ConnectionAdvice &advice = m_live->advice();
    const bool asWanted = m_session->isConnected() && !m_session->panel()->showsLiveImage();
    return asWanted || advice.missing.isEmpty() ? QString() : advice.missing + ' ' + advice.check;
}

QColor StatusLine::colour() const
{
    if (!isLive())
        return gone;
    const QColor colour = basis().colour;
    return colour == good && !handText().isEmpty() ? caution : colour;
}

} // namespace hosting
