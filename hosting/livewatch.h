#ifndef HOSTING_LIVEWATCH_H
#define HOSTING_LIVEWATCH_H

#include "hosting/connectionwatch.h"
#include "hosting/scanwatch.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>

namespace hosting {

class Background;
class PluginSession;

/// Tells how scan and connection of a session get on. Looks at both from outside: the session knows
/// nothing of it. Create it before the session starts.
class LiveWatch : public QObject {
    Q_OBJECT
public:
    LiveWatch(PluginSession *session, Background *background, QObject *parent = nullptr);

    const ScanWatch &scan() const { return m_scan; }
    QString progress() const { return m_progress; } ///< ScanWatch's, of a connected microscope
    /// Since when the image on the screen is not live any more; mostly empty. The image stays when
    /// the connection ends, and this goes on.
    QString staleness() const { return m_staleness; }
    const ConnectionAdvice &advice() const { return m_advice; }

signals:
    void changed(); ///< a text; twice a second at most

private slots:
    void watchPanel(QWidget *panel);
    void beginConnection();
    void notePosition() { m_hasPosition = true; }
    void takeImage();
    void look();

private:
    ConnectionSigns signs() const;

    PluginSession *m_session;
    Background *m_background;
    QElapsedTimer m_clock;
    QTimer m_timer;
    ScanWatch m_scan;
    ConnectionWatch m_connection;
    int m_detectorsBefore = 0; ///< listed when "connect" was pressed
    bool m_hasPosition = false; ///< since then
    bool m_hasData = false;
    QString m_progress, m_staleness;
    ConnectionAdvice m_advice;
};

} // namespace hosting

#endif
