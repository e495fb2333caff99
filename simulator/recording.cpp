#include "simulator/recording.h"

#include "simulator/microscope.h"
#include "simulator/sessionreader.h"

#include <algorithm>

namespace simulator {
namespace {

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
