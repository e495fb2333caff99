#include "hosting/connectionwatch.h"

namespace hosting {

static const qint64 patienceMs = 10000;
static const char controlFailure[] = "connection failed: ";
static const char dataFailure[] = "data connection failed: ";

/// While the panel shows its connection page.
static Missing missingForConnection(const ConnectionSigns &signs)
{
    if (signs.status.startsWith("disconnec"))
        return Missing::Peer;
    if (signs.status.startsWith(controlFailure))
        return Missing::Connection;
    // An answer may itself change the status: the panel takes the detector over from the list.
    if (signs.answered || signs.status.startsWith(dataFailure))
        return Missing::DataChannel;
    return signs.status == "connecting data channel..." ? Missing::Reply : Missing::Connection;
}

Missing missingFrom(const ConnectionSigns &signs)
{
    if (!signs.showsOperatingPage)
        return missingForConnection(signs);
    const struct {
        bool isThere;
        Missing missing;
    } steps[] = { { signs.isDesignOpen, Missing::Design },
                  { signs.showsLiveImage, Missing::LiveMode },
                  { signs.hasData, Missing::Pixels },
                  { signs.isPlaced, Missing::Place } };
    for (const auto &step : steps)
        if (!step.isThere)
            return step.missing;
    return Missing::Nothing;
}

namespace {
// %1 host, %2 control port, %3 data port, %4 detector, %5 reason
const struct Words {
    Missing missing;
    const char *what, *check;
} words[] = {
    { Missing::Connection, QT_TRANSLATE_NOOP("hosting", "No connection to %1, port %2%5."),
      QT_TRANSLATE_NOOP("hosting",
                        "Check that host ip and port are those of the microscope's remote control, "
                        "that its computer is on and in this network, that the remote control is "
                        "switched on there, and that no firewall blocks port %2.") },
    { Missing::Reply,
      QT_TRANSLATE_NOOP("hosting", "%1 accepts connections at port %2, but does not answer."),
      QT_TRANSLATE_NOOP(
          "hosting",
          "Check that %2 is the port of the microscope's remote control, that the "
          "microscope's software is not waiting for a confirmation, and that no other "
          "program uses the remote control; then connect again.") },
    { Missing::DataChannel,
      QT_TRANSLATE_NOOP("hosting",
                        "The microscope answers, but its data channel, port %3, does "
                        "not open%5."),
      QT_TRANSLATE_NOOP("hosting",
                        "Images come on a port of their own, the one after port %2: check that no "
                        "firewall, here or at the microscope, blocks port %3.") },
    { Missing::Peer, QT_TRANSLATE_NOOP("hosting", "%1 has closed the connection."),
      QT_TRANSLATE_NOOP("hosting",
                        "Check that the remote control is switched on and not used by another "
                        "program, and that ports %2 and %3 are its ports; then connect again.") },
    { Missing::Design, QT_TRANSLATE_NOOP("hosting", "No design is open."),
      QT_TRANSLATE_NOOP("hosting", "Open one: the image gets its place in it.") },
    { Missing::LiveMode, QT_TRANSLATE_NOOP("hosting", "The display mode is not \"live image\"."),
      QT_TRANSLATE_NOOP("hosting", "Choose it in the panel under \"display\".") },
    { Missing::Pixels, QT_TRANSLATE_NOOP("hosting", "Connected, but no pixel has come yet."),
      QT_TRANSLATE_NOOP("hosting",
                        "Check that the beam is on, that the scan is running, and that the "
                        "detector, %4, is the one in use. With a long dwell time the first rows "
                        "take long.") },
    { Missing::Place,
      QT_TRANSLATE_NOOP("hosting",
                        "The microscope has not told its stage position and view field."),
      QT_TRANSLATE_NOOP("hosting",
                        "Check that its stage is initialised and that its own software shows "
                        "position and view field; then connect again.") },
};
} // namespace

/// The operating system's own words about a failed connection.
static QString reasonIn(const QString &status)
{
    for (const char *failure : { controlFailure, dataFailure })
        if (status.startsWith(failure))
            return QString(" (%1)").arg(status.mid(int(qstrlen(failure))));
    return QString();
}

ConnectionAdvice adviceOn(Missing missing, const ConnectionSigns &signs)
{
    const auto fill = [&signs](const char *text) {
        const QString detector = signs.detector.isEmpty()
            ? QCoreApplication::translate("hosting", "of which none is listed")
            : signs.detector;
        return QCoreApplication::translate("hosting", text)
            .replace("%2", QString::number(signs.port))
            .replace("%3", QString::number(signs.port + 1))
            .replace("%4", detector)
            .replace("%5", reasonIn(signs.status))
            .replace("%1", signs.host);
    };
    for (const Words &entry : words)
        if (entry.missing == missing)
            return { fill(entry.what), fill(entry.check) };
    return {};
}

void ConnectionWatch::start(qint64 nowMs)
{
    m_watching = true;
    m_sinceMs = nowMs;
    m_missing = Missing::Connection;
}

ConnectionAdvice ConnectionWatch::look(const ConnectionSigns &signs, qint64 nowMs)
{
    if (!m_watching)
        return {};
    const Missing missing = missingFrom(signs);
    // From when the user has done it, the microscope has its ten seconds again.
    const bool wasForUser = m_missing == Missing::Design || m_missing == Missing::LiveMode;
    if (wasForUser && missing != m_missing)
        m_sinceMs = nowMs;
    m_missing = missing;
    m_watching = missing != Missing::Nothing;
    return nowMs - m_sinceMs < patienceMs ? ConnectionAdvice() : adviceOn(missing, signs);
}

} // namespace hosting
