#ifndef SEM_CONNECTIONWATCH_H
#define SEM_CONNECTIONWATCH_H

#include <QAbstractSocket>
#include <QObject>
#include <QString>

/// Reports why a connection attempt failed. A connection that was up and breaks is not its
/// business: the socket's disconnected() tells that.
class ConnectionWatch : public QObject {
    Q_OBJECT

public:
    /// Watches `socket` until either is deleted; reports begin with `prefix`.
    ConnectionWatch(QAbstractSocket *socket, const QString &prefix, QObject *parent);

signals:
    void failed(QString);

private slots:
    void socketError();

private:
    QAbstractSocket *m_socket;
    QString m_prefix;
};

#endif
