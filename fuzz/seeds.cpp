// Makes seeds for the fuzz targets from captures: seeds FOLDER CAPTURE... writes to
// FOLDER/<target>. A seed is what its target takes: codes for how the stream is cut and run, then
// the stream.

#include "recorder/conversation.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <cstdio>

namespace {

const int largestStream = 16 * 1024; // longer ones are cut there: small seeds run more often
const char cutCodes[] = { 0, 1, 9 }; // in one piece, or in two ways in several

QByteArray bytesOf(const capture::Stream &stream)
{
    QByteArray bytes;
    for (const capture::Piece &piece : stream.pieces) {
        if (bytes.size() >= largestStream)
            break;
        bytes += piece.bytes + QByteArray(int(qMin<qint64>(piece.missing, largestStream)), '\0');
    }
    return bytes.left(largestStream);
}

bool writeSeed(const QDir &folder, const QString &name, const QByteArray &bytes)
{
    QFile file(folder.filePath(name));
    return folder.mkpath(".") && file.open(QIODevice::WriteOnly)
        && file.write(bytes) == bytes.size();
}

// The simulator's commands with a stage of speed 2, the link's replies, and its scan data in a
// frame of 32 pixels.
bool writeStreams(const QDir &folder, const QString &name, const capture::Connection &connection)
{
    const QByteArray toServer = bytesOf(connection.toServer),
                     toClient = bytesOf(connection.toClient);
    const bool isData = toServer.isEmpty() && !toClient.isEmpty();
    bool good = true;
    for (const char code : cutCodes) {
        const QString seed = QStringLiteral("%1-%2").arg(name).arg(int(code));
        if (!toServer.isEmpty())
            good = good && writeSeed(folder.filePath("commands"), seed, '\2' + (code + toServer))
                && writeSeed(folder.filePath("control"), seed, code + toClient);
        if (isData)
            good = good && writeSeed(folder.filePath("data"), seed, code + ('\3' + toClient));
    }
    return good;
}

bool makeSeeds(const QDir &folder, const QString &file)
{
    capture::Conversation conversation;
    QString error;
    if (!capture::readConversation(file, &conversation, &error)) {
        std::fprintf(stderr, "seeds: %s\n", qPrintable(error));
        return false;
    }
    const QString name = QFileInfo(file).baseName();
    bool good = true;
    for (int i = 0; i < conversation.connections.size(); ++i)
        good = good
            && writeStreams(folder, QStringLiteral("%1-%2").arg(name).arg(i),
                            conversation.connections[i]);
    QFile whole(file);
    return good && whole.open(QIODevice::ReadOnly)
        && writeSeed(folder.filePath("capture"), name, whole.readAll());
}

} // namespace

int main(int argc, char **argv)
{
    bool good = argc > 2;
    for (int i = 2; i < argc; ++i)
        good = makeSeeds(QDir(argv[1]), argv[i]) && good;
    return good ? 0 : 1;
}
