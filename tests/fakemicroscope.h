#ifndef TESTS_FAKEMICROSCOPE_H
#define TESTS_FAKEMICROSCOPE_H

#include <QCoreApplication>
#include <QDeadlineTimer>
#include <QMap>
#include <QPointer>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>

// Values and messages as they go over the wire.
namespace wire {
QByteArray uint32(quint32 value);
QByteArray text(const QByteArray &latin1);
QByteArray real(double value); ///< at full precision
QByteArray position(double x, double y, double value3 = 3, double value4 = 4, double value5 = 5);
QByteArray message(const QByteArray &name, const QByteArray &body = QByteArray());
/// A header that announces `bodySize` bytes, whatever follows it.
QByteArray header(const QByteArray &name, quint32 bodySize);
QByteArray scanData(quint32 pixelIndex, const QByteArray &grey);
} // namespace wire

/// Runs the event loop until `condition` holds; false if it does not within 20 seconds.
template <typename Condition> bool spinUntil(Condition condition)
{
    const QDeadlineTimer deadline(20000);
    while (!condition()) {
        if (deadline.hasExpired())
            return false;
        QThread::usleep(100);
        QCoreApplication::processEvents(QEventLoop::AllEvents, 10);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::DeferredDelete);
    }
    return true;
}

/// Like QTRY_COMPARE, but without its pauses of 50 ms.
#define SPIN_COMPARE(actual, expected)                                                             \
    do {                                                                                           \
        spinUntil([&] { return (actual) == (expected); });                                         \
        QCOMPARE(actual, expected);                                                                \
    } while (false)
#define SPIN_VERIFY(condition) QVERIFY(spinUntil([&] { return bool(condition); }))

/// A microscope at the other end of the wire: listens on two neighbouring ports of 127.0.0.1, notes
/// every command and answers those it has an answer for. It shares no code with the link.
class FakeMicroscope : public QObject {
public:
    enum Channel { Control, Data };

    FakeMicroscope();

    quint16 port() const { return controlServer.serverPort(); }

    /// What came since forget(), without the polls, as "name values" or "name[flags] values"; a
    /// header with anything else set reads "name MALFORMED".
    QStringList commands() const;
    /// How many times the stage position was asked for since forget().
    int polls() const;
    void forget() { received.clear(); }

    /// Changes what the polls are answered with, and reports it at once.
    void setViewField(double viewFieldMm);
    void setStage(double x, double y, double value3 = 3, double value4 = 4, double value5 = 5);

    void reply(const QByteArray &bytes) { write(control, bytes); }
    void scan(const QByteArray &bytes) { write(data, bytes); }
    void dropConnections();
    /// Ends the conversation as soon as so many bytes have gone out on the channel; `bytesLeft` is
    /// negative from then on.
    void cutAfter(int bytes, Channel channel, bool byReset);
    /// Whether neither channel is open.
    bool isAlone() const;

    QList<QByteArray> received; ///< whole messages since forget()
    QMap<QByteArray, QByteArray> answers; ///< command name to body of the reply
    QPointer<QTcpSocket> control; ///< null or unconnected while nobody is there
    QPointer<QTcpSocket> data;
    QTcpServer controlServer;
    QTcpServer dataServer; ///< close() it to refuse data channels
    int bytesLeft = -1;

private:
    void takeMessages();
    void report(const QByteArray &name, const QByteArray &body);
    void write(QTcpSocket *socket, const QByteArray &bytes);

    QByteArray m_buffer;
    Channel m_cutChannel = Control;
    bool m_cutByReset = false;
};

#endif
