#ifndef HOSTING_CONNECTIONWATCH_H
#define HOSTING_CONNECTIONWATCH_H

#include <QCoreApplication>
#include <QString>

namespace hosting {

/// What a host sees of a connection on its way to a live image.
struct ConnectionSigns {
    bool showsOperatingPage = false; ///< the panel does, once both channels are open
    bool answered = false; ///< detectors or positions came since "connect" was pressed
    bool showsLiveImage = false; ///< that is the panel's display mode
    bool hasData = false; ///< pixels came
    bool isPlaced = false; ///< the image can be drawn
    bool isDesignOpen = false;
    QString status; ///< the panel's status line
    QString host;
    int port = 0; ///< of the control channel; that of the data channel is the next one
    QString detector; ///< as the panel words it; empty if none was listed
};

/// In the order in which things have to come; the last one is the live image in its place.
enum class Missing {
    Connection,
    Reply,
    DataChannel,
    Peer,
    Design,
    LiveMode,
    Pixels,
    Place,
    Nothing
};

Missing missingFrom(const ConnectionSigns &signs);

/// For a user at the instrument; both empty when there is nothing to say.
struct ConnectionAdvice {
    QString missing; ///< one sentence
    QString check; ///< what to look at
};

ConnectionAdvice adviceOn(Missing missing, const ConnectionSigns &signs);

/// Speaks up when a connection gives no live image for ten seconds. Times are milliseconds of any
/// clock that only goes forward.
class ConnectionWatch {
public:
    void start(qint64 nowMs); ///< "connect" was pressed
    void stop() { m_watching = false; } ///< "disconnect" was pressed
    /// To be asked about once a second. After the first live image there is nothing more to say.
    ConnectionAdvice look(const ConnectionSigns &signs, qint64 nowMs);

private:
    bool m_watching = false;
    qint64 m_sinceMs = 0;
    Missing m_missing = Missing::Nothing;
};

} // namespace hosting

#endif
