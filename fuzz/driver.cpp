#include "fuzz/driver.h"

#include <QGuiApplication>

#include <cstdio>
#include <cstdlib>

QByteArray Input::take(int count)
{
    const QByteArray bytes = m_bytes.mid(m_position, count);
    m_position += bytes.size();
    return bytes;
}

QByteArray Cutter::next()
{
    m_state = m_state * 1664525u + 1013904223u;
    return m_whole ? m_stream.rest() : m_stream.take(1 + int(m_state >> 16) % 97);
}

void require(bool good, const char *reason)
{
    if (good)
        return;
    std::fprintf(stderr, "broken promise: %s\n", reason);
    std::abort();
}

extern "C" int LLVMFuzzerInitialize(int *, char ***argv)
{
    qputenv("QT_QPA_PLATFORM", "offscreen");
    // What the library prints for developers would drown what libFuzzer reports.
    if (!std::freopen("/dev/null", "w", stdout))
        return 1;
    static int arguments = 1;
    // It stays: what the platform keeps for it is no leak as long as it can be reached.
    static QGuiApplication *const application = new QGuiApplication(arguments, *argv);
    Q_UNUSED(application);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    Input input(QByteArray(reinterpret_cast<const char *>(data), int(size)));
    fuzzOne(input);
    QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    QCoreApplication::sendPostedEvents();
    return 0;
}
