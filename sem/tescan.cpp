#include "sem/tescan.h"

#include "sem/connectionwatch.h"

#include <cstdlib>

namespace {
const int pollMs = 500;
const QRgb emptyFrame = 0xFF646464;
} // namespace

tescan::tescan(int detectorIndex, int dwellNs, int scanSize)
    : controlSocket(0)
    , dataSocket(0)
    , headerFlags(0)
    , dataPort(40154 + 2 * (std::rand() % 3000))
    , scanSize(scanSize)
    , linkState(NotConnected)
    , semPort(0)
    , detectorIndex(detectorIndex)
    , dwellNs(dwellNs)
    , m_skipControl(0)
    , m_skipData(0)
    , m_handlingReplies(false)
    , m_handlingData(false)
    , m_handler(0)
    , m_attempt(0)
{
    connect(&timer, SIGNAL(timeout()), this, SLOT(triggerTimer()));
    timer.setSingleShot(false);
    connect(&m_readPause, SIGNAL(timeout()), this, SLOT(readData()));
    m_readPause.setSingleShot(true);
    init();
    pixelColumn = pixelRow = 0;
    stageX = stageY = stageValue3 = stageValue4 = stageValue5 = viewField = 0.0;
    scanning = false;
}

tescan::~tescan()
{
    timer.stop();
    QList<QPointer<QObject>> objects;
    QTcpSocket *const sockets[] = { controlSocket, dataSocket };
    for (int i = 0; i < 2; ++i) {
        sockets[i]->disconnect(this);
        sockets[i]->abort();
        objects.append(QPointer<QObject>(sockets[i]));
    }
    Handover::release(m_handler, objects);
}

void tescan::init()
{
    timer.start(pollMs);
    delete controlSocket;
    delete dataSocket;
    controlSocket = createSocket(SLOT(connected()), SLOT(read()), "connection failed: ");
    dataSocket = createSocket(SLOT(connectedData()), SLOT(readData()), "data connection failed: ");
    linkState = Initialised;
    createImage();
}

QTcpSocket *tescan::createSocket(const char *onConnected, const char *onData, const char *failure)
{
    QTcpSocket *socket = new QTcpSocket;
    socket->setReadBufferSize(readBytes);
    ConnectionWatch *watch = new ConnectionWatch(socket, QLatin1String(failure), this);
    connect(socket, SIGNAL(connected()), this, onConnected);
    connect(socket, SIGNAL(disconnected()), this, SLOT(disconnected()));
    connect(socket, SIGNAL(readyRead()), this, onData);
    connect(watch, SIGNAL(failed(QString)), this, SIGNAL(setStatus(QString)));
    return socket;
}

void tescan::createImage()
{
    image = QImage();
    if (scanSize > 0 && scanSize <= maximumScanSize)
        image = QImage(scanSize, scanSize, QImage::Format_RGB32);
    image.fill(emptyFrame);
    m_frames.reset();
}

void tescan::close()
{
    timer.stop();
}
