#ifndef SEM_TESCAN_H
#define SEM_TESCAN_H

#include "sem/framestore.h"
#include "sem/handover.h"

#include <QByteArray>
#include <QImage>
#include <QObject>
#include <QString>
#include <QTcpSocket>
#include <QTimer>

/// The link to a TESCAN scanning electron microscope through its remote-control protocol.
///
/// Two TCP connections: on the control channel commands go out and replies come back, matched by
/// their names only; on the data channel (control port + 1) the scan arrives. Everything runs on
/// the thread that owns the object. Stage values and the view field are kept as the microscope
/// reports them, unconverted. Nothing here throws; the user is told through setStatus(), and what
/// only a developer wants to know goes to standard output.
class tescan : public QObject {
    Q_OBJECT

public:
    /// The largest frame edge that is ever allocated, in pixels, the largest that the microscope
    /// scans.
    static const int maximumScanSize = 8192;

    /// detectorIndex: number of the detector in the microscope's list; dwellNs: dwell time per
    /// pixel; scanSize: edge of the square frame in pixels, 1 to maximumScanSize. With any other
    /// size `image` is null and scan data is skipped.
    tescan(int detectorIndex, int dwellNs, int scanSize);
    ~tescan();

    void init();
    /// Drops whatever attempt or connection there is, then starts connecting to the microscope.
    void connectToSEM(QString semHost, int semPort, int);
    /// Stops the polling timer.
    void close();

    // Building a message: createHeader(), one append per value, send(). One at a time.
    void createHeader(QString name);
    void sendInt(int value);
    void sendUint(unsigned int value);
    void sendString(QString text);
    void sendFloat(double value);
    /// Fills in the body size and writes the message; without a control channel it is lost.
    void send();

    // Reading values: at *pos in the received bytes, which advances past the value. What lies
    // beyond the received bytes reads as zero or as an empty text.
    int getUint8(int *pos);
    unsigned int getUint32(int *pos);
    int getInt32(int *pos);
    QString getString(int *pos);
    double getFloat(int *pos); ///< 0.0 for a text that is no number
    int getUint8Data(int *pos);
    unsigned int getUint32Data(int *pos);
    int getInt32Data(int *pos);

    // The microscope's commands, each sent at once with its values in the order of the arguments.
    void TcpRegDataPort(int dataPort);
    void TcpGetVersion();
    void TcpGetSWVersion();
    void DtEnumDetectors();
    void DtSelect(int channel, int detector);
    void DtEnable(int channel, int enable, int bitsPerPixel);
    void DtAutoSignal(int channel);
    void DtGetGainBlack(int channel);
    void GetWD();
    void GetViewField();
    void SetViewField(float viewField);
    /// left, top, right, bottom: corners of the scanned rectangle, inclusive.
    void ScScanXY(unsigned int frameId, unsigned int width, unsigned int height, unsigned int left,
                  unsigned int top, unsigned int right, unsigned int bottom, int single,
                  unsigned int dwellNs);
    void ScStopScan();
    void StgGetPosition();
    /// The five stage values in the order in which StgGetPosition reports them.
    void StgMoveTo(double x, double y, double value3, double value4, double value5);

    QImage image; ///< the live frame, scanSize x scanSize, Format_RGB32
    QTimer timer; ///< every 500 ms: polls stage position and view field
    QTcpSocket *controlSocket;
    QTcpSocket *dataSocket;
    QByteArray sendBuffer; ///< the message being built
    QByteArray receiveBuffer; ///< control channel bytes not yet consumed
    QByteArray dataBuffer; ///< data channel bytes not yet consumed
    unsigned char headerFlags; ///< header byte 25 of the next message: 0, or 9 to start a scan
    int dataPort; ///< the port number registered with TcpRegDataPort
    int pixelColumn; ///< where the next pixel of the scan goes
    int pixelRow;
    int scanSize; ///< edge of the frame in pixels
    double stageX;
    double stageY;
    double stageValue4;
    double viewField;
    double stageValue5;
    double stageValue3;
    int linkState; ///< see LinkState
    QString semHost;
    int semPort; ///< control port; the data channel uses the next one
    int detectorIndex;
    int dwellNs;
    bool scanning; ///< live acquisition is wanted; survives a disconnect

    enum LinkState {
        NotConnected = 0,
        Initialised = 1,
        AwaitDataPort = 2, ///< control channel up, TcpRegDataPort not answered yet
        AwaitDataPortLast = 8,
        DataConnecting = 9,
        LinkUp = 10
    };

signals:
    void setStatus(QString);
    void imageChanged(); ///< once for each scan data message written into `image`
    void detectorInfo(QString, int);
    void stageMoved();
    void zoomed();

public slots:
    void triggerTimer();
    void connected();
    void connectedData();
    void disconnected();
    void read();
    void readData();
    void setDetector(QString text); ///< "<index> - <name>"
    void setDewellTime(QString text); ///< "<nanoseconds>ns"
    void setImageSize(int size); ///< ignored unless 1 to maximumScanSize
    void stopScan();
    void startScan();

private:
    struct Reply;

    /// What is read at a time: it bounds how long the host waits for its event loop, and stays in
    /// the cache on its way to the frame.
    static const int readBytes = 256 * 1024;

    QTcpSocket *createSocket(const char *onConnected, const char *onData, const char *failure);
    bool dropConnection();
    bool tell(const char *status);
    void createImage();

    int receive(QTcpSocket *socket, QByteArray *buffer, int maximum, qint64 *skip);
    bool complete(QByteArray *buffer, int start, qint64 length, int maximum, qint64 *skip);

    void processResponce();
    void handleReply(const QString &name, unsigned int bodySize, int *pos);
    static void unsupported(const QString &name, unsigned int bodySize);
    void replyGainBlack(int *pos);
    void replyWD(int *pos);
    void replyVersion(int *pos);
    void replySWVersion(int *pos);
    void replyDataPort(int *pos);
    void replyDetectors(int *pos);
    void replyPosition(int *pos);
    void replyScan(int *pos);
    void replyViewField(int *pos);
    bool storeIfNew(double value, double *field);

    void dataEnded();
    void processData();
    int processMessages();
    void placeScanData(int start, int length);
    void rejectData(int start);
    void writePixels(int pos, int count);

    void selectDetector();
    void restartScan(bool optimizeContrast);
    void scanFrame();

    QTimer m_readPause; ///< while it runs, arriving data waits
    FrameStore m_frames; ///< lets pixels be written while the host still holds the frame
    qint64 m_skipControl; ///< bytes of an oversized message still to be thrown away
    qint64 m_skipData;
    bool m_handlingReplies; ///< a handler runs, and may run an event loop of its own
    bool m_handlingData;
    Handover *m_handler; ///< the innermost one that handles a signal of the sockets
    int m_attempt; ///< counts connectToSEM(), so that a loop notices when its buffer was emptied
};

#endif
