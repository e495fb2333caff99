#ifndef TESTS_RESOURCES_H
#define TESTS_RESOURCES_H

#include <QDir>
#include <QFile>

#include <malloc.h>

// What this process holds. Under AddressSanitizer, which keeps freed memory back for a while, its
// size says nothing; there LeakSanitizer looks for what was lost.
#if defined(__SANITIZE_ADDRESS__)
constexpr bool sanitized = true;
#else
constexpr bool sanitized = false;
#endif

/// Resident memory in KiB, after what is free was given back.
inline qint64 residentKb()
{
    malloc_trim(0);
    QFile file("/proc/self/status");
    if (!file.open(QIODevice::ReadOnly))
        return -1;
    for (const QByteArray &line : file.readAll().split('\n'))
        if (line.startsWith("VmRSS:"))
            return line.simplified().split(' ').value(1).toLongLong();
    return -1;
}

/// Open file descriptors, sockets among them.
inline int openDescriptors()
{
    return QDir("/proc/self/fd")
        .entryList(QDir::NoDotAndDotDot | QDir::AllEntries | QDir::System)
        .size();
}

#endif
