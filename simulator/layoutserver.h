#ifndef SIMULATOR_LAYOUTSERVER_H
#define SIMULATOR_LAYOUTSERVER_H

#include <QProcess>
#include <QRectF>
#include <QTemporaryDir>
#include <QTimer>

namespace simulator {

/// A KLayout process in batch mode that has a design open and says what lies where in it. One that
/// dies is started again; it ends with this program, however that ends.
class LayoutServer : public QObject {
    Q_OBJECT
public:
    /// Waits until the design is open. Returns false with the reason in `error`.
    bool start(const QString &designFile, QString *error);
    ~LayoutServer() override;

    double databaseUnitMetres() const { return m_databaseUnitMetres; }
    QRectF bounds() const { return m_bounds; } ///< of the design, database units
    qint64 processId() const { return m_process.processId(); }

    struct Answer {
        enum Kind { None, Shapes, Many, Picture };
        Kind kind = None; ///< None while there is no process to ask
        QByteArray payload; ///< see layoutserver.py
    };
    /// What lies in `window` (database units): the shapes while they are few, else Many.
    Answer shapes(const QRect &window);
    /// A picture of `window` with so many pixels.
    Answer picture(const QRect &window, const QSize &size);

signals:
    void restarted(); ///< after it had died: what could not be answered can be now

private:
    void launch();
    bool openDesign(QString *error);
    void restart();
    Answer ask(const QRect &window, const QSize &size);
    bool readAnswer(QByteArray *kind, QByteArray *payload);
    bool waitFor(qint64 bytes);

    QString m_designFile;
    QTemporaryDir m_home;
    QProcess m_process;
    QTimer m_restart;
    bool m_ready = false;
    double m_databaseUnitMetres = 1e-9;
    QRectF m_bounds;
};

} // namespace simulator

#endif
