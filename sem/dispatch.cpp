// The receive path of the control channel: replies are told apart by their names only, and handled
// in the order in which they arrive, whether or not this link asked for them.

#include "sem/messageheader.h"
#include "sem/tescan.h"

#include <QPointer>

#include <cstdio>

namespace {
// The longest reply is a list of detectors, a few kilobytes.
const int maximumReply = 1 << 20;
// Without the socket's own buffer, since at full scan rate every copy counts. In Qt 4 a socket
// without one does not reliably notice that the other end has closed.
#if QT_VERSION < 0x050000
const QIODevice::OpenMode dataMode = QIODevice::ReadWrite;
#else
const QIODevice::OpenMode dataMode = QIODevice::ReadWrite | QIODevice::Unbuffered;
#endif
} // namespace

struct tescan::Reply {
    const char *name;
    void (tescan::*handle)(int *pos);
};

void tescan::read()
{
    const Handover handler(&m_handler);
    const QPointer<tescan> alive(this);
    // Until nothing is left: while a handler runs an event loop of its own, the socket announces
    // nothing, and it stops reading when its buffer is full.
    while (alive && receive(controlSocket, &receiveBuffer, readBytes, &m_skipControl) > 0)
        if (receiveBuffer.size() >= headerSize && !m_handlingReplies)
            processResponce();
}

void tescan::processResponce()
{
    const QPointer<tescan> alive(this);
    int attempt = m_attempt;
    int start = 0;
    m_handlingReplies = true;
    while (receiveBuffer.size() - start >= headerSize) {
        int pos = start + bodySizeOffset;
        const unsigned int bodySize = getUint32(&pos);
        const qint64 length = headerSize + qint64(bodySize);
        const QString name = messageName(receiveBuffer, start);
        if (!complete(&receiveBuffer, start, length, maximumReply, &m_skipControl)) {
            if (m_skipControl > 0) {
                unsupported(name, bodySize);
                start = receiveBuffer.size();
            }
            break;
        }
        pos = start + headerSize;
        handleReply(name, bodySize, &pos);
        if (!alive)
            return;
        // A handler that connected again emptied the buffer.
        start = attempt == m_attempt ? start + int(length) : 0;
        attempt = m_attempt;
    }
    receiveBuffer.remove(0, start);
    m_handlingReplies = false;
}

void tescan::handleReply(const QString &name, unsigned int bodySize, int *pos)
{
    static const Reply replies[] = {
        { "DtGetGainBlack", &tescan::replyGainBlack },
        { "GetWD", &tescan::replyWD },
        { "TcpGetVersion", &tescan::replyVersion },
        { "TcpGetSWVersion", &tescan::replySWVersion },
        { "TcpRegDataPort", &tescan::replyDataPort },
        { "DtEnumDetectors", &tescan::replyDetectors },
        { "StgGetPosition", &tescan::replyPosition },
        { "ScScanXY", &tescan::replyScan },
        { "GetViewField", &tescan::replyViewField },
    };
    for (size_t i = 0; i < sizeof replies / sizeof replies[0]; ++i)
        if (name == QLatin1String(replies[i].name))
            return (this->*replies[i].handle)(pos);
    unsupported(name, bodySize);
}

void tescan::unsupported(const QString &name, unsigned int bodySize)
{
    std::printf("unsupported responce %s size: %d\n", name.toLatin1().constData(), int(bodySize));
    std::fflush(stdout);
}

void tescan::replyGainBlack(int *pos)
{
    const QByteArray gain = getString(pos).toLatin1();
    const QByteArray black = getString(pos).toLatin1();
    std::printf("DtGetGainBlack gain: %s\n", gain.constData());
    std::printf("DtGetGainBlack black: %s\n", black.constData());
    std::fflush(stdout);
}

void tescan::replyWD(int *pos)
{
    std::printf("working distance: %f\n", getFloat(pos));
    std::fflush(stdout);
}

void tescan::replyVersion(int *pos)
{
    emit setStatus("info: Version: " + getString(pos));
}

void tescan::replySWVersion(int *pos)
{
    emit setStatus("info: SW-Version: " + getString(pos));
}

void tescan::replyDataPort(int *pos)
{
    getInt32(pos);
    linkState = DataConnecting;
    if (dataSocket->state() == QAbstractSocket::UnconnectedState)
        dataSocket->connectToHost(semHost, quint16(semPort + 1), dataMode);
}

void tescan::replyDetectors(int *pos)
{
    emit detectorInfo(getString(pos), detectorIndex);
}

void tescan::replyPosition(int *pos)
{
    bool changed = storeIfNew(getFloat(pos), &stageX);
    changed |= storeIfNew(getFloat(pos), &stageY);
    stageValue3 = getFloat(pos);
    changed |= storeIfNew(getFloat(pos), &stageValue4);
    stageValue5 = getFloat(pos);
    if (changed && viewField != 0.0)
        emit stageMoved();
}

void tescan::replyScan(int *pos)
{
    getInt32(pos);
}

void tescan::replyViewField(int *pos)
{
    if (storeIfNew(getFloat(pos), &viewField))
        emit zoomed();
}

bool tescan::storeIfNew(double value, double *field)
{
    if (value == *field)
        return false;
    *field = value;
    return true;
}
