#ifndef BENCH_APPLICATION_H
#define BENCH_APPLICATION_H

#include <QApplication>
#include <QElapsedTimer>

/// Measures how long an event holds the event loop, everything included that its handling sets off.
class Application : public QApplication {
public:
    using QApplication::QApplication;

    bool notify(QObject *receiver, QEvent *event) override
    {
        QElapsedTimer timer;
        timer.start();
        const bool handled = QApplication::notify(receiver, event);
        m_longestEventNs = qMax(m_longestEventNs, timer.nsecsElapsed());
        return handled;
    }

    void forgetEvents() { m_longestEventNs = 0; }
    double longestEventMs() const { return m_longestEventNs / 1e6; }

private:
    qint64 m_longestEventNs = 0;
};

#endif
