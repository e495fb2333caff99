// The simulator's command reader, up to the microscope that carries the commands out.

#include "fuzz/driver.h"
#include "simulator/commands.h"
#include "simulator/microscope.h"

using namespace simulator;

namespace {
const int largestFrame = 16384;

void checkScan(const ScanRequest &request)
{
    require(QRect(QPoint(), request.frame).contains(request.window) && !request.window.isEmpty()
                && request.frame.width() <= largestFrame && request.frame.height() <= largestFrame
                && request.dwellNs > 0,
            "only a scan that fits its frame is started");
}

bool carryOut(const Message &message, Microscope *microscope)
{
    Command command;
    QString problem;
    if (!decodeCommand(message, &command, &problem)) {
        require(!problem.isEmpty(), "a refused command has a reason");
        return false;
    }
    command.text();
    const std::optional<Message> reply = microscope->execute(command);
    require(!reply || reply->name == command.name, "a reply bears its command's name");
    microscope->exposure(QSize(64, 64));
    return true;
}
} // namespace

void fuzzOne(Input &input)
{
    Microscope microscope({ 1, 2, 0, 0, 0 }, input.byte(), 0.5);
    QObject::connect(&microscope, &Microscope::scanStarted, checkScan);
    MessageSplitter splitter;
    const int cutCode = input.byte();
    for (Cutter cutter(input.rest(), cutCode); !cutter.atEnd();) {
        splitter.append(cutter.next());
        Message message;
        QString problem;
        MessageSplitter::Result result;
        while ((result = splitter.next(&message, &problem)) == MessageSplitter::Complete)
            if (!carryOut(message, &microscope))
                return;
        if (result == MessageSplitter::Malformed)
            return;
    }
}
