#include "simulator/sessionreader.h"

#include <algorithm>

namespace simulator {
namespace {

const qint64 answerLimitNs = 1000000000; // two periods of the polls
const int mostOvertaken = 64; // a reply that comes later belongs to nothing

} // namespace

Message messageOf(const Unit &unit)
{
    const QByteArray bytes = unit.bytes.filled();
    return { unit.name, quint8(bytes.size() > flagsOffset ? bytes.at(flagsOffset) : 0),
             bytes.mid(headerBytes) };
}

SessionReader::SessionReader(const Talk &control)
{
    m_session.openedNs = control.connection.openedNs;
    auto command = control.commands.begin();
    for (const Unit &reply : control.replies) {
        for (; command != control.commands.end() && command->timeNs <= reply.timeNs; ++command)
            addCommand(*command);
        addReply(reply);
    }
    for (; command != control.commands.end(); ++command)
        addCommand(*command);
    addEnding(control.connection, ChannelKind::Control);
    leaveOutLateQuestions(control.connection);
}

void SessionReader::addCommand(const Unit &unit)
{
    if (!unit.complete || unit.bytes.size() > headerBytes + qint64(maxCommandBytes))
        return;
    m_lastNs = unit.timeNs;
    const int steps = m_session.steps.size();
    ++m_commands;
    if (isPoll(unit.name)) {
        QVector<RecordedAnswer> &answers = m_session.answers[unit.name];
        m_asked[unit.name].append({ answers.size(), m_commands });
        answers.append({ steps, std::nullopt });
        m_pollTimesNs[unit.name].append(unit.timeNs);
        return;
    }
    m_asked[unit.name].append({ steps, m_commands });
    const int captured = unit.bytes.runs.first().bytes.size();
    m_session.steps.append({ unit.timeNs, messageOf(unit), captured - headerBytes, std::nullopt });
}

void SessionReader::addReply(const Unit &unit)
{
    QList<Asked> &asked = m_asked[unit.name];
    if (asked.isEmpty()) {
        m_session.events.append(
            { unit.timeNs, 0, ChannelKind::Control, unit.bytes, capture::Ending::None });
        return;
    }
    const int place = takeAsked(unit.name).place;
    if (isPoll(unit.name))
        m_session.answers[unit.name][place].bytes = unit.bytes;
    else
        m_session.steps[place].reply = unit.bytes;
}

/// The command that a reply of this name belongs to: the oldest, unless the microscope has gone
/// past that without answering it. Neighbouring replies may come in each other's place.
SessionReader::Asked SessionReader::takeAsked(const QByteArray &name)
{
    QList<Asked> &asked = m_asked[name];
    const auto isLost = [](const Asked &one, const Asked &next) {
        return one.overtaken > 1 || (one.overtaken == 1 && next.number > one.overtakenAfter);
    };
    while (asked.size() > 1 && isLost(asked[0], asked[1]))
        asked.removeFirst();
    const Asked found = asked.takeFirst();
    for (QList<Asked> &others : m_asked) {
        for (Asked &other : others) {
            if (other.number >= found.number)
                break;
            if (++other.overtaken == 1)
                other.overtakenAfter = m_commands;
        }
        while (!others.isEmpty() && others.first().overtaken > mostOvertaken)
            others.removeFirst();
    }
    return found;
}

void SessionReader::addData(const Talk &data)
{
    for (const Unit &unit : data.replies)
        m_session.events.append(
            { unit.timeNs, 0, ChannelKind::Data, unit.bytes, capture::Ending::None });
    addEnding(data.connection, ChannelKind::Data);
}

void SessionReader::addEnding(const capture::Connection &connection, ChannelKind channel)
{
    const capture::Stream &sent = connection.toClient, &received = connection.toServer;
    const bool first = received.ending == capture::Ending::None || sent.endNs <= received.endNs;
    if (sent.ending != capture::Ending::None && first)
        m_session.events.append({ sent.endNs, 0, channel, RecordedBytes(), sent.ending });
}

/// The end of the conversation leaves no time for the answers to the last polls.
void SessionReader::leaveOutLateQuestions(const capture::Connection &control)
{
    for (const capture::Stream *stream : { &control.toServer, &control.toClient })
        m_lastNs = qMax(m_lastNs, stream->endNs);
    for (auto answers = m_session.answers.begin(); answers != m_session.answers.end(); ++answers) {
        QVector<qint64> &timesNs = m_pollTimesNs[answers.key()];
        while (!answers->isEmpty() && !answers->last().bytes
               && m_lastNs - timesNs.last() < answerLimitNs) {
            answers->removeLast();
            timesNs.removeLast();
        }
    }
}

RecordedSession SessionReader::finish()
{
    QVector<RecordedEvent> &events = m_session.events;
    std::stable_sort(events.begin(), events.end(),
                     [](const RecordedEvent &one, const RecordedEvent &other) {
                         return one.timeNs < other.timeNs;
                     });
    int step = 0;
    for (RecordedEvent &event : events) {
        while (step < m_session.steps.size() && m_session.steps[step].timeNs <= event.timeNs)
            ++step;
        event.step = step;
    }
    return m_session;
}

} // namespace simulator
