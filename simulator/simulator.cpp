#include "simulator/simulator.h"

#include "simulator/channel.h"
#include "simulator/controlserver.h"
#include "simulator/options.h"
#include "simulator/replay.h"
#include "simulator/report.h"
#include "simulator/scene.h"

namespace simulator {
namespace {

const int pairAttempts = 100;

std::unique_ptr<Scene> loadScene(const QString &designFile, QString *error)
{
    return designFile.isEmpty() ? makePatternScene() : openDesignScene(designFile, error);
}

Wafer waferOf(const Options &options, const Scene &scene)
{
    return { scene.databaseUnitMetres(), options.offsetMm, options.rotationDegrees, options.scale };
}

StagePosition startOf(const Options &options, const Recording &recording, const Scene &scene)
{
    if (recording.stage)
        return *recording.stage;
    Wafer nominal;
    nominal.databaseUnitMetres = scene.databaseUnitMetres();
    const QPointF stageMm =
        options.stageMm.value_or(nominal.stageToDesign().inverted().map(scene.centre()));
    return { stageMm.x(), stageMm.y(), 0, 0, 0 };
}

bool listen(Channel *control, Channel *data, const Options &options, QString *error)
{
    for (int attempt = 0; attempt < (options.port == 0 ? pairAttempts : 1); ++attempt) {
        if (!control->listen(options.address, quint16(options.port))) {
            *error = QStringLiteral("cannot listen on port %1: %2")
                         .arg(options.port)
                         .arg(control->errorString());
            return false;
        }
        const int dataPort = control->port() + 1;
        if (dataPort <= 65535 && data->listen(options.address, quint16(dataPort)))
            return true;
        *error =
            QStringLiteral("cannot listen on port %1: %2").arg(dataPort).arg(data->errorString());
        control->stopListening();
    }
    return false;
}

std::unique_ptr<Replay> makeReplay(const Recording &recording, const Options &options,
                                   Channel *control, Channel *data)
{
    if (options.replayFile.isEmpty())
        return nullptr;
    return std::make_unique<Replay>(recording, options.scan.fast, options.strict, control, data);
}

bool readReplay(const Options &options, Recording *recording, QString *error)
{
    if (options.replayFile.isEmpty())
        return true;
    const bool read = loadRecording(options.replayFile, recording, error);
    for (const QString &remark : recording->remarks)
        report("replay: " + remark);
    return read;
}

} // namespace

struct Simulator::Parts {
    Parts(std::unique_ptr<Scene> theScene, const Recording &recording, const Options &options)
        : scene(std::move(theScene))
        , wafer(waferOf(options, *scene))
        , microscope(startOf(options, recording, *scene), options.stageSpeedMmPerSecond,
                     recording.viewFieldMm.value_or(options.viewFieldMm))
        , image(scene.get(), wafer)
        , control(ChannelKind::Control, options.faults)
        , data(ChannelKind::Data, options.faults)
        , replay(makeReplay(recording, options, &control, &data))
        , server(&control, &microscope, replay.get(), options.verbose)
        , scanner(&data, &microscope, &image, options.scan)
    {
        // the next client begins with a microscope at rest
        QObject::connect(&control, &Channel::closed, &scanner, &Scanner::stop);
    }

    std::unique_ptr<Scene> scene;
    Wafer wafer;
    Microscope microscope;
    SemImage image;
    Channel control, data;
    std::unique_ptr<Replay> replay; // null: none
    ControlServer server;
    Scanner scanner;
};

Simulator::Simulator() = default;
Simulator::~Simulator() = default;

bool Simulator::start(const Options &options, QString *error)
{
    Recording recording;
    if (!readReplay(options, &recording, error))
        return false;
    std::unique_ptr<Scene> scene = loadScene(options.designFile, error);
    if (!scene)
        return false;
    auto parts = std::make_unique<Parts>(std::move(scene), recording, options);
    if (!listen(&parts->control, &parts->data, options, error))
        return false;
    m_parts = std::move(parts);
    return true;
}

quint16 Simulator::controlPort() const
{
    return m_parts->control.port();
}

quint16 Simulator::dataPort() const
{
    return m_parts->data.port();
}

const Wafer &Simulator::wafer() const
{
    return m_parts->wafer;
}

QTransform Simulator::frameToDesign(const QSize &frame) const
{
    const Exposure exposure = m_parts->microscope.exposure(frame);
    return m_parts->wafer.frameToDesign(exposure.stageMm, exposure.viewFieldMm, frame);
}

bool Simulator::finishReplay()
{
    return !m_parts->replay || m_parts->replay->finish();
}

int Simulator::commandsServed() const
{
    return m_parts->server.commandsServed();
}

} // namespace simulator
