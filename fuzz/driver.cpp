#include "fuzz/driver.h"

#include <QApplication>
#include <QTemporaryDir>

#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace {
const int longestPiece = 97;

QByteArray bytesOf(const uint8_t *data, size_t size)
{
    return QByteArray(reinterpret_cast<const char *>(data), int(size));
}
} // namespace

int Input::integer()
{
    qint32 value = 0;
    const QByteArray bytes = take(sizeof value);
    std::memcpy(&value, bytes.constData(), size_t(bytes.size()));
    return value;
}

double Input::real()
{
    double value = 0;
    const QByteArray bytes = take(sizeof value);
    std::memcpy(&value, bytes.constData(), size_t(bytes.size()));
    return value;
}

QByteArray Input::take(int count)
{
    const QByteArray bytes = m_bytes.mid(m_position, count);
    m_position += bytes.size();
    return bytes;
}

QByteArray Cutter::next()
{
    m_state = m_state * 1664525u + 1013904223u;
    const int length = m_whole ? m_stream.size() : 1 + int(m_state >> 16) % longestPiece;
    const QByteArray piece = m_stream.mid(m_position, length);
    m_position += piece.size();
    return piece;
}

void require(bool good, const char *reason)
{
    if (good)
        return;
    std::fprintf(stderr, "broken promise: %s\n", reason);
    std::abort();
}

QString scratchFolder()
{
    static QTemporaryDir folder;
    return folder.path();
}

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // What the library prints for developers would drown what libFuzzer reports.
    if (!std::freopen("/dev/null", "w", stdout))
        return 1;
    static int arguments = 1;
    // It stays: what the platform keeps for it is no leak as long as it can be reached.
    static QApplication *const application = new QApplication(arguments, *argv);
    Q_UNUSED(application);
    Q_UNUSED(argc);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(bytesOf(data, size));
    fuzzOne(input);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::sendPostedEvents();
    return 0;
}
