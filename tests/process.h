#ifndef TESTS_PROCESS_H
#define TESTS_PROCESS_H

#include <QDir>
#include <QFile>
#include <QTemporaryFile>

#include <cstdio>
#include <malloc.h>
#include <unistd.h>

// Under AddressSanitizer, which keeps freed memory back for a while, the size of a process says
// nothing; there LeakSanitizer looks for what was lost.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// Resident memory of this process in KiB, after what is free was given back.
inline qint64 residentKb()
{
    malloc_trim(0);
    QFile file("/proc/self/statm");
    file.open(QIODevice::ReadOnly);
    return file.readAll().split(' ').value(1).toLongLong() * sysconf(_SC_PAGESIZE) / 1024;
}

/// Open file descriptors of this process, sockets among them.
inline int openDescriptors()
{
    return int(QDir("/proc/self/fd").entryList(QDir::AllEntries | QDir::System).size());
}

/// Everything printed to standard output until text() is called.
class StandardOutput {
public:
    StandardOutput()
    {
        m_file.open();
        std::fflush(stdout);
        m_saved = dup(STDOUT_FILENO);
        dup2(m_file.handle(), STDOUT_FILENO);
    }
    ~StandardOutput()
    {
        if (m_saved >= 0) // a check failed, and what it said is among it
            std::fputs(text().constData(), stdout);
    }
    QByteArray text()
    {
        if (m_saved >= 0) {
            std::fflush(stdout);
            dup2(m_saved, STDOUT_FILENO);
            ::close(m_saved);
            m_saved = -1;
        }
        m_file.seek(0);
        return m_file.readAll();
    }

private:
    QTemporaryFile m_file;
    int m_saved;
};

#endif
