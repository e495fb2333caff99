#include "simulator/microscope.h"

#include "simulator/detector.h"
#include "simulator/report.h"

namespace simulator {
namespace {

const double largestFrame = 16384;
const double shortestDwellNs = 10, longestDwellNs = 1e8;
const int bitsPerPixel = 8;

const qint32 accepted = 0, refused = -1;

bool isWithin(double value, double low, double high)
{
    return value >= low && value <= high; // false for what is not a number
}

// The arguments of ScScanXY from the frame's size on.
bool readScan(const QVector<double> &arguments, ScanRequest *request)
{
    const double width = arguments[1], height = arguments[2];
    const double left = arguments[3], top = arguments[4], right = arguments[5],
                 bottom = arguments[6];
    if (!isWithin(width, 1, largestFrame) || !isWithin(height, 1, largestFrame)
        || !isWithin(right, left, width - 1) || !isWithin(bottom, top, height - 1)
        || !isWithin(arguments[8], shortestDwellNs, longestDwellNs))
        return false;
    request->frame = QSize(int(width), int(height));
    request->window = QRect(QPoint(int(left), int(top)), QPoint(int(right), int(bottom)));
    request->dwellNs = arguments[8];
    return true;
}

} // namespace

const Microscope::Entry Microscope::entries[] = {
    { CommandId::TcpRegDataPort, &Microscope::registerDataPort, true },
    { CommandId::TcpGetVersion, &Microscope::version, true },
    { CommandId::TcpGetSWVersion, &Microscope::softwareVersion, true },
    { CommandId::DtEnumDetectors, &Microscope::enumerateDetectors, true },
    { CommandId::DtSelect, &Microscope::selectDetector, false },
    { CommandId::DtEnable, &Microscope::enableDetector, false },
    { CommandId::DtAutoSignal, &Microscope::adjustSignal, false },
    { CommandId::DtGetGainBlack, &Microscope::gainAndBlack, true },
    { CommandId::GetWD, &Microscope::workingDistance, true },
    { CommandId::GetViewField, &Microscope::viewField, true },
    { CommandId::SetViewField, &Microscope::setViewField, false },
    { CommandId::ScScanXY, &Microscope::startScan, true },
    { CommandId::ScStopScan, &Microscope::stopScan, false },
    { CommandId::StgGetPosition, &Microscope::stagePosition, true },
    { CommandId::StgMoveTo, &Microscope::moveStage, false },
};

Microscope::Microscope(const StagePosition &position, double stageSpeedMmPerSecond,
                       double viewFieldMm)
    : m_stage(position, stageSpeedMmPerSecond)
    , m_viewFieldMm(viewFieldMm)
{
    m_clock.start();
}

std::optional<Message> Microscope::execute(const Command &command)
{
    for (const Entry &entry : entries) {
        if (entry.id != command.id)
            continue;
        const QByteArray body = (this->*entry.handler)(command.arguments);
        return entry.replies ? std::make_optional(Message{ command.name, 0, body }) : std::nullopt;
    }
    report("unknown command " + QString::fromLatin1(command.name));
    return std::nullopt;
}

Exposure Microscope::exposure(const QSize &frame) const
{
    const StagePosition position = m_stage.position(seconds());
    return { frame, QPointF(position[0], position[1]), m_viewFieldMm, m_detector, m_settled };
}

// The data channel is always the next port; the client's number is only noted.
QByteArray Microscope::registerDataPort(const Arguments &)
{
    return encodeInt(accepted);
}

QByteArray Microscope::version(const Arguments &)
{
    return encodeString("1.0");
}

QByteArray Microscope::softwareVersion(const Arguments &)
{
    return encodeString("microscope-simulator 1.0");
}

QByteArray Microscope::enumerateDetectors(const Arguments &)
{
    QByteArray text;
    for (int i = 0; i < detectorCount; ++i) {
        const QByteArray key = "det." + QByteArray::number(i);
        text += key + ".name=" + detectors[i].name + '\n' + key
            + ".detector=" + QByteArray::number(i) + '\n';
    }
    return encodeString(text);
}

QByteArray Microscope::selectDetector(const Arguments &arguments)
{
    if (arguments[0] != 0 || !isWithin(arguments[1], 0, detectorCount - 1)) {
        report(QStringLiteral("refused: detector %1 on channel %2")
                   .arg(arguments[1])
                   .arg(arguments[0]));
        return QByteArray();
    }
    m_settled = m_settled && m_detector == int(arguments[1]);
    m_detector = int(arguments[1]);
    return QByteArray();
}

QByteArray Microscope::enableDetector(const Arguments &arguments)
{
    if (arguments[0] != 0 || arguments[2] != bitsPerPixel)
        report(
            QStringLiteral("refused: %2 bits on channel %1").arg(arguments[0]).arg(arguments[2]));
    else
        m_enabled = arguments[1] != 0;
    return QByteArray();
}

QByteArray Microscope::adjustSignal(const Arguments &arguments)
{
    m_settled = m_settled || arguments[0] == 0;
    return QByteArray();
}

QByteArray Microscope::gainAndBlack(const Arguments &)
{
    return m_settled ? encodeString("52.4") + encodeString("38.1")
                     : encodeString("30.0") + encodeString("70.0");
}

QByteArray Microscope::workingDistance(const Arguments &)
{
    return encodeReal(9.5);
}

QByteArray Microscope::viewField(const Arguments &)
{
    return encodeReal(m_viewFieldMm);
}

QByteArray Microscope::setViewField(const Arguments &arguments)
{
    if (isWithin(arguments[0], narrowestViewMm, widestViewMm))
        m_viewFieldMm = arguments[0];
    else
        report(QStringLiteral("refused: a view field of %1 mm").arg(arguments[0]));
    return QByteArray();
}

QByteArray Microscope::startScan(const Arguments &arguments)
{
    ScanRequest request;
    if (!m_enabled || !readScan(arguments, &request)) {
        report(m_enabled ? "refused: a scan of this size"
                         : "refused: a scan without a detector enabled");
        return encodeInt(refused);
    }
    emit scanStarted(request);
    return encodeInt(accepted);
}

QByteArray Microscope::stopScan(const Arguments &)
{
    emit scanStopped();
    return QByteArray();
}

QByteArray Microscope::stagePosition(const Arguments &)
{
    QByteArray body;
    for (double value : m_stage.position(seconds()))
        body += encodeReal(value);
    return body;
}

QByteArray Microscope::moveStage(const Arguments &arguments)
{
    StagePosition target;
    std::copy(arguments.begin(), arguments.end(), target.begin());
    if (!m_stage.moveTo(target, seconds()))
        report(QStringLiteral("refused: a stage move to %1, %2, %3, %4, %5")
                   .arg(target[0])
                   .arg(target[1])
                   .arg(target[2])
                   .arg(target[3])
                   .arg(target[4]));
    return QByteArray();
}

} // namespace simulator
