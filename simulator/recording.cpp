#include "simulator/recording.h"

#include "simulator/microscope.h"

#include <algorithm>

namespace simulator {
namespace {

const qint64 answerLimitNs = 1000000000; // two periods of the polls
const int mostOvertaken = 64; // a reply that comes later belongs to nothing

/// A connection of the capture, cut into its messages.
struct Talk {
    capture::Connection connection;
    QVector<Unit> commands, replies;
    int understood = 0; // commands that the microscope knows
    qint64 leftOutBytes = 0;
};

Message messageOf(const Unit &unit)
{
    const QByteArray bytes = unit.bytes.filled();
    return { unit.name, quint8(bytes.size() > flagsOffset ? bytes.at(flagsOffset) : 0),
             bytes.mid(headerBytes) };
}

bool isUnderstood(const Unit &unit)
{
    Command command;
    QString problem;
    return unit.complete && unit.bytes.size() <= headerBytes + qint64(maxCommandBytes)
        && decodeCommand(messageOf(unit), &command, &problem) && command.id != CommandId::Unknown;
}

Talk cutTalk(const capture::Connection &connection)
{
    Talk talk;
    talk.connection = connection;
    talk.commands = cutIntoUnits(connection.toServer, &talk.leftOutBytes);
    talk.replies = cutIntoUnits(connection.toClient, &talk.leftOutBytes);
    talk.understood = int(std::count_if(talk.commands.begin(), talk.commands.end(), isUnderstood));
    return talk;
}

// Which end is the microscope was guessed where the beginning was not captured.
Talk readTalk(capture::Connection connection)
{
    const Talk talk = cutTalk(connection);
    if (connection.beginningSeen)
        return talk;
    std::swap(connection.client, connection.server);
    std::swap(connection.toServer, connection.toClient);
    const Talk turned = cutTalk(connection);
    return turned.understood > talk.understood ? turned : talk;
}

/// Puts the two channels' traffic together to a session.
class SessionReader {
public:
    explicit SessionReader(const Talk &control);
    void addData(const Talk &data);
    RecordedSession finish();

private:
    void addCommand(const Unit &unit);
    void addReply(const Unit &unit);
    void addEnding(const capture::Connection &connection, ChannelKind channel);
    void leaveOutLateQuestions(const capture::Connection &control);

    struct Asked {
        int place; // among the steps, or the poll's answers
        qint64 number; // of all commands
        int overtaken = 0; // by replies to commands behind it
        qint64 overtakenAfter = 0; // the last command sent by then
    };
    Asked takeAsked(const QByteArray &name);

    RecordedSession m_session;
    QMap<QByteArray, QList<Asked>> m_asked; // without an answer yet, by name
    QMap<QByteArray, QVector<qint64>> m_pollTimesNs;
    qint64 m_commands = 0, m_lastNs = 0;
};

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

// Connections to it in which nothing was said count, too.
bool isControlPort(const capture::Endpoint &server, const QVector<Talk> &talks)
{
    return std::any_of(talks.begin(), talks.end(), [&](const Talk &talk) {
        return talk.understood > 0 && talk.connection.server == server;
    });
}

QVector<RecordedSession> sessionsOf(const QVector<Talk> &talks, int *others, qint64 *leftOutBytes)
{
    QVector<const Talk *> controls;
    for (const Talk &talk : talks)
        if (isControlPort(talk.connection.server, talks))
            controls.append(&talk);
    QVector<bool> used(talks.size(), false);
    QVector<RecordedSession> sessions;
    for (int i = 0; i < controls.size(); ++i) {
        SessionReader reader(*controls[i]);
        *leftOutBytes += controls[i]->leftOutBytes;
        capture::Endpoint dataPort = controls[i]->connection.server;
        ++dataPort.port;
        for (int k = 0; k < talks.size(); ++k) {
            const capture::Connection &connection = talks[k].connection;
            const bool isNext = i + 1 < controls.size()
                && connection.openedNs >= controls[i + 1]->connection.openedNs;
            if (used[k] || isNext || !(connection.server == dataPort))
                continue;
            used[k] = true;
            reader.addData(talks[k]);
            *leftOutBytes += talks[k].leftOutBytes;
        }
        sessions.append(reader.finish());
    }
    *others = talks.size() - controls.size() - used.count(true);
    return sessions;
}

/// The numbers of the first answer to this poll that are possible; empty if none is.
template <typename Condition>
QVector<double> firstReport(const QVector<RecordedSession> &sessions, const char *name, int count,
                            Condition isPossible)
{
    for (const RecordedSession &session : sessions) {
        for (const RecordedAnswer &answer : session.answers.value(name)) {
            BodyReader reader(answer.bytes.value_or(RecordedBytes()).filled().mid(headerBytes));
            QVector<double> numbers;
            for (int i = 0; i < count; ++i)
                numbers.append(reader.readReal());
            if (reader.good() && isPossible(numbers))
                return numbers;
        }
    }
    return {};
}

StagePosition positionOf(const QVector<double> &numbers)
{
    StagePosition position;
    std::copy(numbers.begin(), numbers.end(), position.begin());
    return position;
}

// Where the simulated instrument takes over it has to be where it can be.
void readState(Recording *recording)
{
    const auto isReached = [](const QVector<double> &numbers) {
        return Stage(StagePosition(), 0).moveTo(positionOf(numbers), 0);
    };
    const auto isWithin = [](const QVector<double> &numbers) {
        return numbers[0] >= narrowestViewMm && numbers[0] <= widestViewMm;
    };
    const auto stage = firstReport(recording->sessions, "StgGetPosition", 5, isReached);
    if (!stage.isEmpty())
        recording->stage = positionOf(stage);
    const auto viewField = firstReport(recording->sessions, "GetViewField", 1, isWithin);
    if (!viewField.isEmpty())
        recording->viewFieldMm = viewField[0];
}

} // namespace

bool loadRecording(const QString &file, Recording *recording, QString *error)
{
    capture::Conversation conversation;
    if (!capture::readConversation(file, &conversation, error))
        return false;
    QVector<Talk> talks;
    for (const capture::Connection &connection : conversation.connections)
        talks.append(readTalk(connection));
    int others = 0;
    qint64 leftOutBytes = 0;
    recording->sessions = sessionsOf(talks, &others, &leftOutBytes);
    recording->remarks = conversation.remarks;
    if (others > 0)
        recording->remarks.append(
            QStringLiteral("connections left out that are not the microscope's: %1").arg(others));
    if (leftOutBytes > 0)
        recording->remarks.append(
            QStringLiteral("bytes left out that mean nothing without those before them: %1")
                .arg(leftOutBytes));
    readState(recording);
    *error =
        QStringLiteral("%1 holds no conversation with a microscope%2")
            .arg(file,
                 recording->remarks.isEmpty() ? QString() : "; " + recording->remarks.join("; "));
    return !recording->sessions.isEmpty();
}

bool isPoll(const QByteArray &name)
{
    return name == "StgGetPosition" || name == "GetViewField" || name == "TcpRegDataPort";
}

bool isSameCommand(const RecordedStep &recorded, const Message &other)
{
    const Message &one = recorded.message;
    Command first, second;
    QString problem;
    if (one.name != other.name)
        return false;
    if (recorded.capturedBody < one.body.size())
        return one.body.size() == other.body.size()
            && one.body.left(recorded.capturedBody) == other.body.left(recorded.capturedBody);
    return one.body == other.body
        || (decodeCommand(one, &first, &problem) && decodeCommand(other, &second, &problem)
            && first.id != CommandId::Unknown && first.arguments == second.arguments);
}

QString textOf(const Message &message)
{
    Command command;
    QString problem;
    if (decodeCommand(message, &command, &problem) && command.id != CommandId::Unknown)
        return command.text();
    return QStringLiteral("%1 with %2 bytes")
        .arg(QString::fromLatin1(message.name))
        .arg(message.body.size());
}

} // namespace simulator
