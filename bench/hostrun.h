#ifndef BENCH_HOSTRUN_H
#define BENCH_HOSTRUN_H

#include "bench/stream.h"
#include "plugin/backgroundplugin.h"

#include <QEventLoop>
#include <QImage>
#include <QObject>
#include <QPluginLoader>
#include <QPointer>
#include <QWidget>

/// A host that loads the library, connects it to a sender, and fetches the image on each
/// imageUpdate.
class HostRun : public QObject {
    Q_OBJECT

public:
    enum Keeping { DropImage, KeepImage };

    HostRun(quint16 controlPort, int frameSize, Keeping keeping);
    ~HostRun();

    /// Receives all messages of the stream; returns the CPU time in ns.
    qint64 receive(const Stream &stream, const std::function<void()> &start);

private slots:
    void takePanel(QWidget *panel, QString name);
    void fetchImage();

private:
    void connectTo(quint16 controlPort, int frameSize);

    QPluginLoader m_loader;
    QPointer<QObject> m_object;
    backgroundPlugIn *m_plugin = nullptr;
    QWidget *m_panel = nullptr;
    Keeping m_keeping;
    QImage m_image;
    qint64 m_expected = 0;
    QEventLoop m_loop;
};

#endif
