#ifndef SIMULATOR_LAYOUTPROCESS_H
#define SIMULATOR_LAYOUTPROCESS_H

#include <QProcess>
#include <QRectF>
#include <QTemporaryDir>
#include <QTimer>

namespace simulator {

/// A child in a session of its own: what ends the program from the terminal leaves the child the
/// time to clean up.
class SessionProcess : public QProcess {
protected:
    void setupChildProcess() override;
};

/// A KLayout process in batch mode that has a design open and answers requests, see
/// designwindow.py. One that dies is started again; it ends with this program, however that ends.
class LayoutProcess : public QObject {
    Q_OBJECT
public:
    LayoutProcess();
    ~LayoutProcess() override;

    /// Waits until the design is open. Returns false with the reason in `error`.
    bool start(const QString &designFile, QString *error);

    double databaseUnitMetres() const { return m_databaseUnitMetres; }
    QRectF bounds() const { return m_bounds; } ///< of the design, database units

    bool isOpen() const { return m_open; } ///< requests are answered
    void ask(const QByteArray &request); ///< one at a time, only while it is open

signals:
    void answered(const QByteArray &kind, const QByteArray &payload);
    void ended(); ///< what has been asked is not answered any more

private:
    void launch();
    void receive();
    void take(const QByteArray &payload);
    bool openDesign(const QByteArray &description);
    void noteEnd();

    QTemporaryDir m_home;
    SessionProcess m_process;
    QTimer m_restart;
    bool m_open = false, m_started = false;
    double m_databaseUnitMetres = 1e-9;
    QRectF m_bounds;
    QByteArray m_kind; // of the answer that is arriving
    qint64 m_size = 0; // of its payload
    QByteArray m_reason; // why the design is not open
};

} // namespace simulator

#endif
