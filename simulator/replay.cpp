#include "simulator/replay.h"

#include "simulator/channel.h"
#include "simulator/report.h"

namespace simulator {
namespace {

const int lookAhead = 16; // steps that a client may leave out
const qint64 largestQueue = 2 << 20;
const int mostLines = 20;
const qint64 longestTimerMs = 60000;

} // namespace

Replay::Replay(const Recording &recording, bool fast, bool strict, Channel *control, Channel *data)
    : m_recording(recording)
    , m_fast(fast)
    , m_strict(strict)
    , m_control(control)
    , m_data(data)
{
    m_timer.setSingleShot(true);
    m_timer.setTimerType(Qt::PreciseTimer);
    connect(&m_timer, &QTimer::timeout, this, &Replay::deliver);
    connect(control, &Channel::opened, this, &Replay::open);
    connect(control, &Channel::closed, this, &Replay::close);
    connect(data, &Channel::opened, this, &Replay::deliver);
    connect(data, &Channel::drained, this, &Replay::deliver);
}

void Replay::open()
{
    m_session = m_recording.sessions.value(m_sessionNumber++);
    m_open = true;
    m_step = m_event = m_asRecorded = m_skipped = 0;
    m_polls.clear();
    m_differences.clear();
    m_otherScan = m_dataSeen = false;
    m_stepNs = m_session.openedNs;
    m_clock.start();
    deliver();
}

void Replay::close()
{
    if (!m_open)
        return;
    for (; m_step < m_session.steps.size(); ++m_step)
        notSent(m_step);
    const QStringList lines = sessionReport();
    for (const QString &line : lines)
        report(line);
    m_differed = m_differed || !m_differences.isEmpty();
    m_open = false;
    m_timer.stop();
}

Replay::Answer Replay::take(const Message &command)
{
    if (isPoll(command.name)) {
        const bool given = answerPoll(command.name);
        return given ? Answer::Given : m_strict ? Answer::Refused : Answer::NotHeld;
    }
    const int step = findStep(command);
    if (step >= 0) {
        goTo(step);
        if (const auto &reply = m_session.steps[step].reply)
            m_control->sendBytes(reply->filled());
        deliver();
        return Answer::Given;
    }
    m_differences.append({ m_step, Message(), command });
    m_otherScan = m_otherScan || command.name == "ScScanXY";
    if (!m_strict)
        return Answer::NotHeld;
    report("refused, not in the recording: " + textOf(command));
    return Answer::Refused;
}

/// The answers of the time between two steps, in their order; then the last of them again.
bool Replay::answerPoll(const QByteArray &name)
{
    const QVector<RecordedAnswer> answers = m_session.answers.value(name);
    if (answers.isEmpty())
        return false;
    int &next = m_polls[name];
    while (next + 1 < answers.size() && answers[next].step < m_step
           && answers[next + 1].step <= m_step)
        ++next;
    const bool ahead = next >= answers.size() || (answers[next].step > m_step && next > 0);
    m_control->sendBytes(answers[ahead ? next - 1 : next].bytes.filled());
    next += ahead ? 0 : 1;
    return true;
}

int Replay::findStep(const Message &command) const
{
    const int end = qMin(m_session.steps.size(), m_step + lookAhead);
    for (int step = m_step; step < end; ++step)
        if (isSameCommand(m_session.steps[step].message, command))
            return step;
    return -1;
}

void Replay::goTo(int step)
{
    for (; m_step < step; ++m_step)
        notSent(m_step);
    ++m_step;
    ++m_asRecorded;
    const QByteArray &name = m_session.steps[step].message.name;
    m_otherScan = m_otherScan && name != "ScStopScan" && name != "ScScanXY";
    m_stepNs = m_session.steps[step].timeNs;
    m_clock.start();
}

// A command sent in its place with other values is one difference, not two.
void Replay::notSent(int step)
{
    const Message &recorded = m_session.steps[step].message;
    for (Difference &difference : m_differences) {
        if (difference.recorded.name.isEmpty() && difference.sent.name == recorded.name) {
            difference.recorded = recorded;
            difference.step = step;
            return;
        }
    }
    m_differences.append({ step, recorded, Message() });
}

qint64 Replay::waitNs(const RecordedEvent &event) const
{
    const bool past = event.step < m_step;
    return m_fast || past ? 0 : event.timeNs - m_stepNs - m_clock.nsecsElapsed();
}

/// The client has gone on, looks at another scan, or has left the data channel.
bool Replay::isDropped(const RecordedEvent &event) const
{
    const bool isData = event.channel == ChannelKind::Data;
    return event.ending == capture::Ending::None
        && (event.step < m_step || (isData && (m_otherScan || !m_data->hasClient())));
}

void Replay::deliver()
{
    while (m_open && m_event < m_session.events.size()) {
        const RecordedEvent &event = m_session.events[m_event];
        const bool isData = event.channel == ChannelKind::Data;
        const Channel *channel = isData ? m_data : m_control;
        m_dataSeen = m_dataSeen || m_data->hasClient();
        if (event.step > m_step || (isData && !m_dataSeen) || channel->queuedBytes() > largestQueue)
            return;
        if (const qint64 left = waitNs(event); left > 0)
            return m_timer.start(int(qMin(left / 1000000 + 1, longestTimerMs)));
        ++m_event;
        if (isDropped(event))
            ++m_skipped;
        else
            play(event);
    }
}

void Replay::play(const RecordedEvent &event)
{
    Channel *channel = event.channel == ChannelKind::Data ? m_data : m_control;
    if (event.ending == capture::Ending::None)
        channel->sendBytes(event.bytes.filled());
    else
        channel->end(event.ending == capture::Ending::Reset);
    if (channel == m_data && event.ending != capture::Ending::None)
        m_dataSeen = false; // it may come again
}

QStringList Replay::sessionReport() const
{
    const int sessions = m_recording.sessions.size();
    QStringList lines;
    if (m_sessionNumber > sessions)
        lines.append(QStringLiteral("replay: a client more than the %1 recorded").arg(sessions));
    else
        lines.append(QStringLiteral("replay, session %1 of %2: %3 of %4 commands as recorded")
                         .arg(m_sessionNumber)
                         .arg(sessions)
                         .arg(m_asRecorded)
                         .arg(m_session.steps.size()));
    if (m_skipped > 0)
        lines.append(QStringLiteral("  %1 pieces of data not sent: the client went on sooner")
                         .arg(m_skipped));
    for (int i = 0; i < qMin(mostLines, m_differences.size()); ++i) {
        const Difference &difference = m_differences[i];
        const bool onlyRecorded = difference.sent.name.isEmpty();
        const bool onlySent = difference.recorded.name.isEmpty();
        lines.append(QStringLiteral("  command %1: %2%3")
                         .arg(difference.step + 1)
                         .arg(onlySent ? "not recorded" : "recorded " + textOf(difference.recorded))
                         .arg(onlyRecorded ? ", not sent" : ", sent " + textOf(difference.sent)));
    }
    if (m_differences.size() > mostLines)
        lines.append(QStringLiteral("  and %1 more").arg(m_differences.size() - mostLines));
    return lines;
}

bool Replay::finish()
{
    close();
    const int left = m_recording.sessions.size() - m_sessionNumber;
    if (left > 0)
        report(QStringLiteral("replay: %1 recorded sessions had no client").arg(left));
    return !m_differed && left <= 0;
}

} // namespace simulator
