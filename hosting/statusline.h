#ifndef HOSTING_STATUSLINE_H
#define HOSTING_STATUSLINE_H

#include <QColor>
#include <QObject>
#include <QPointF>

#include <optional>

namespace hosting {

class Background;
class LiveWatch;
class PluginSession;

/// What the image on the screen is worth, in one line that is always true: what its place rests on,
/// how far off it may be at the cursor, how far the scan is, how old its data are.
class StatusLine : public QObject {
    Q_OBJECT
public:
    /// All three must outlive this object.
    StatusLine(PluginSession *session, Background *background, LiveWatch *live);

    /// Empty while there is no image.
    QString text() const;
    /// Green for two pairs and more, amber for what needs attention, red for a place that nobody
    /// confirmed, grey for an image that is no longer live.
    QColor colour() const;
    /// Why there is no live image yet, and what to look at; mostly empty.
    QString advice() const;
    bool isLive() const; ///< false: there is no connection, or no new data

    /// The design point under the cursor.
    void setCursor(const std::optional<QPointF> &design);

signals:
    void changed();

private:
    struct Basis;
    Basis basis() const;
    QString pairsText() const;
    QString handText() const;
    QString errorText() const;
    void look();

    PluginSession *m_session;
    Background *m_background;
    LiveWatch *m_live;
    std::optional<QPointF> m_cursor;
    QString m_seen;
};

} // namespace hosting

#endif
