#include "simulator/replay.h"

#include "simulator/channel.h"
#include "simulator/report.h"

#include <algorithm>

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
    m_otherScan = m_dataSeen = m_pollRefused = false;
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
    m_differed =
        m_differed || !m_differences.isEmpty() || m_sessionNumber > m_recording.sessions.size();
    m_open = false;
    m_timer.stop();
}

Replay::Answer Replay::take(const Message &command)
{
    if (isPoll(command.name))
        return answerPoll(command);
    const int step = findStep(command);
    if (step >= 0) {
        goTo(step);
        const Message &recorded = m_session.steps[step].message;
        if (recorded.flags == command.flags)
            ++m_asRecorded;
        else
            m_differences.append({ step, recorded, command });
        send(m_session.steps[step].reply);
        deliver();
        return Answer::Given;
    }
    m_differences.append({ m_step, Message(), command });
    m_otherScan = m_otherScan || command.name == "ScScanXY";
    if (!m_strict)
        return Answer::NotHeld;
    report("refused, not in the recording: " + simulator::textOf(command));
    return Answer::Refused;
}

/// The answers of the time between two steps, in their order, silence among them; then the last of
/// them again for as long as the recorded microscope went on answering.
Replay::Answer Replay::answerPoll(const Message &poll)
{
    const QVector<RecordedAnswer> answers = m_session.answers.value(poll.name);
    int &next = m_polls[poll.name];
    while (next + 1 < answers.size() && answers[next].step < m_step
           && answers[next + 1].step <= m_step)
        ++next;
    if (next < answers.size() && (answers[next].step <= m_step || next == 0)) {
        send(answers[next++].bytes);
        return Answer::Given;
    }
    const auto isGiven = [](const RecordedAnswer &answer) { return answer.bytes.has_value(); };
    const bool wentOn = std::any_of(answers.begin() + next, answers.end(), isGiven);
    const bool endedWell = !answers.isEmpty() && isGiven(answers.last());
    if (wentOn || (endedWell && !m_strict)) {
        const auto last = std::find_if(answers.rend() - next, answers.rend(), isGiven);
        send(last == answers.rend() ? std::nullopt : last->bytes);
        return Answer::Given;
    }
    if (m_strict && !m_pollRefused)
        report("refused, more often than in the recording: " + simulator::textOf(poll));
    m_pollRefused = m_pollRefused || m_strict;
    return m_strict ? Answer::Refused : answers.isEmpty() ? Answer::NotHeld : Answer::Given;
}

void Replay::send(const std::optional<RecordedBytes> &reply)
{
    if (reply)
        m_control->sendBytes(reply->filled());
}

int Replay::findStep(const Message &command) const
{
    const int end = qMin(m_session.steps.size(), m_step + lookAhead);
    for (int step = m_step; step < end; ++step)
        if (isSameCommand(m_session.steps[step], command))
            return step;
    return -1;
}

void Replay::goTo(int step)
{
    for (; m_step < step; ++m_step)
        notSent(m_step);
    ++m_step;
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

QString Replay::textOf(const Difference &difference)
{
    const Message &recorded = difference.recorded, &sent = difference.sent;
    if (recorded.name.isEmpty())
        return "not recorded, sent " + simulator::textOf(sent);
    if (sent.name.isEmpty())
        return "recorded " + simulator::textOf(recorded) + ", not sent";
    const bool onlyFlags =
        recorded.flags != sent.flags && simulator::textOf(recorded) == simulator::textOf(sent);
    return onlyFlags
        ? QStringLiteral("%1 with flags %2 instead of %3")
              .arg(simulator::textOf(sent))
              .arg(sent.flags)
              .arg(recorded.flags)
        : "recorded " + simulator::textOf(recorded) + ", sent " + simulator::textOf(sent);
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
    for (int i = 0; i < qMin(mostLines, m_differences.size()); ++i)
        lines.append(QStringLiteral("  command %1: %2")
                         .arg(m_differences[i].step + 1)
                         .arg(textOf(m_differences[i])));
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
