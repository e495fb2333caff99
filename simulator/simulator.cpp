#include "simulator/simulator.h"

#include "simulator/channel.h"
#include "simulator/controlserver.h"
#include "simulator/options.h"
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

StagePosition startOf(const Options &options, const Scene &scene)
{
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

} // namespace

struct Simulator::Parts {
    Parts(std::unique_ptr<Scene> theScene, const Options &options)
        : scene(std::move(theScene))
        , wafer(waferOf(options, *scene))
        , microscope(startOf(options, *scene), options.stageSpeedMmPerSecond, options.viewFieldMm)
        , image(scene.get(), wafer)
        , control(ChannelKind::Control, options.faults)
        , data(ChannelKind::Data, options.faults)
        , server(&control, &microscope, options.verbose)
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
    ControlServer server;
    Scanner scanner;
};

Simulator::Simulator() = default;
Simulator::~Simulator() = default;

bool Simulator::start(const Options &options, QString *error)
{
    std::unique_ptr<Scene> scene = loadScene(options.designFile, error);
    if (!scene)
        return false;
    auto parts = std::make_unique<Parts>(std::move(scene), options);
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

int Simulator::commandsServed() const
{
    return m_parts->server.commandsServed();
}

} // namespace simulator
