// A capture of whatever bytes, up to the sessions that a replay serves from it.

#include "fuzz/driver.h"
#include "simulator/recording.h"

#include <QFile>

#include <sys/mman.h>
#include <unistd.h>

using namespace simulator;

namespace {
void checkSession(const RecordedSession &session)
{
    qint64 timeNs = std::numeric_limits<qint64>::min();
    for (const RecordedEvent &event : session.events) {
        require(event.timeNs >= timeNs, "what the microscope did is in the order of its times");
        require(event.step >= 0 && event.step <= session.steps.size(), "it comes behind a command");
        require(event.bytes.size() >= 0, "no size overflows");
        timeNs = event.timeNs;
    }
    for (const RecordedStep &step : session.steps) {
        require(!isPoll(step.message.name), "polls are no steps");
        require(isSameCommand(step, step.message), "a command is the same as itself");
        textOf(step.message);
    }
    for (const QVector<RecordedAnswer> &answers : session.answers)
        for (const RecordedAnswer &answer : answers)
            require(answer.step <= session.steps.size(), "an answer comes behind a command");
}
} // namespace

void fuzzOne(Input &input)
{
    const QByteArray bytes = input.rest();
    const int file = memfd_create("capture", MFD_CLOEXEC);
    require(write(file, bytes.constData(), size_t(bytes.size())) == bytes.size(), "there is room");
    Recording recording;
    QString error;
    const QString name = QStringLiteral("/proc/self/fd/%1").arg(file);
    require(loadRecording(name, &recording, &error) || !error.isEmpty(), "a refusal has a reason");
    close(file);
    for (const RecordedSession &session : recording.sessions)
        checkSession(session);
}
