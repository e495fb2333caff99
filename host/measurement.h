#ifndef HOST_MEASUREMENT_H
#define HOST_MEASUREMENT_H

#include "host/viewtransform.h"

#include <QElapsedTimer>
#include <QObject>
#include <QTimer>
#include <QVector>

namespace viewer {

class MainWindow;

/// Pans and zooms the view by itself, as fast as it paints, and reports the paint times.
class Measurement : public QObject {
    Q_OBJECT
public:
    explicit Measurement(MainWindow *window, QObject *parent = nullptr);

    void start(double seconds);

signals:
    void finished(const QString &report);

private:
    void step();
    QString report() const;

    MainWindow *m_window;
    ViewTransform m_home;
    QTimer m_timer;
    QElapsedTimer m_clock;
    double m_seconds = 0;
    QVector<qint64> m_paintNs;
};

} // namespace viewer

#endif
