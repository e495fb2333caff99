#include "hosting/statusline.h"
#include "hosting/background.h"
#include "hosting/livewatch.h"
#include "hosting/pluginsession.h"

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

bool StatusLine::isAssumed() const
{
    return m_session->alignment().inForce == 0;
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
        return { tr("one pair: turn and scale are assumed"), caution };
    return { pairsText(), good };
}

QString StatusLine::errorText() const
{
    const AlignError error(m_session->confirmedPairs());
    const double unit = m_session->design().micrometres();
    if (!m_cursor || error.pairsInForce() != m_session->alignment().inForce)
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
    if (m_session->isConnected())
        parts << m_live->staleness();
    else
        parts << tr("not connected since %1").arg(m_session->lostSince().toString("hh:mm:ss"));
    parts << basis().text << errorText() << m_live->progress();
    parts.removeAll(QString());
    return parts.join(" \u00b7 ");
}

QString StatusLine::advice() const
{
    const ConnectionAdvice &advice = m_live->advice();
    return advice.missing.isEmpty() ? QString() : advice.missing + ' ' + advice.check;
}

QColor StatusLine::colour() const
{
    return isLive() ? basis().colour : gone;
}

} // namespace hosting
