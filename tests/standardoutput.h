#ifndef TESTS_STANDARDOUTPUT_H
#define TESTS_STANDARDOUTPUT_H

#include <QTemporaryFile>

#include <cstdio>
#include <unistd.h>

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
