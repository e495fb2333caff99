#include "simulator/layoutprocess.h"

#include "simulator/report.h"

#include <QFile>
#include <QFileInfo>

#include <unistd.h>

// The script lies in a static library, where nothing else asks for it. Not within a namespace.
static void initScript()
{
    Q_INIT_RESOURCE(designwindow);
}

namespace simulator {
namespace {

const char script[] = "designwindow.py";
const int restartMs = 500;

} // namespace

void SessionProcess::setupChildProcess()
{
    ::setsid();
}

LayoutProcess::LayoutProcess()
{
    m_restart.setSingleShot(true);
    connect(&m_restart, &QTimer::timeout, this, &LayoutProcess::launch);
    connect(&m_process, &QProcess::readyRead, this, &LayoutProcess::receive);
}

LayoutProcess::~LayoutProcess()
{
    m_process.disconnect(this);
    m_process.kill();
    m_process.waitForFinished();
}

// The process sees nothing of the user's configuration, and no package that would start this again.
bool LayoutProcess::start(const QString &designFile, QString *error)
{
    const QFileInfo file(designFile);
    if (!file.isFile()) {
        *error = QStringLiteral("cannot read %1: there is no such file").arg(designFile);
        return false;
    }
    initScript();
    if (!QFile::copy(QStringLiteral(":/") + script, m_home.filePath(script))) {
        *error = QStringLiteral("cannot write to %1").arg(m_home.path());
        return false;
    }
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("KLAYOUT_HOME", m_home.path());
    environment.insert("KLAYOUT_PATH", QString());
    environment.insert("DESIGN_FILE", file.absoluteFilePath());
    environment.remove("LD_PRELOAD");
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    launch();
    if (!m_process.waitForStarted()) {
        *error = QStringLiteral("cannot start klayout, which reads the design: %1")
                     .arg(m_process.errorString());
        return false;
    }
    m_reason = "KLayout ended";
    while (!m_open && m_process.waitForReadyRead(-1)) { } // a large design may take its time
    if (!m_open) {
        *error = QStringLiteral("cannot read %1: %2").arg(designFile, QString::fromUtf8(m_reason));
        return false;
    }
    m_started = true;
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &LayoutProcess::noteEnd);
    return true;
}

void LayoutProcess::launch()
{
    m_kind.clear();
    m_process.start("klayout", { "-zz", "-r", m_home.filePath(script) });
}

void LayoutProcess::noteEnd()
{
    if (m_open)
        report("KLayout ended; the picture stays as it is until it is back");
    m_open = false;
    m_restart.start(restartMs);
    emit ended();
}

void LayoutProcess::ask(const QByteArray &request)
{
    m_process.write(request + '\n');
}

void LayoutProcess::receive()
{
    while (!m_kind.isEmpty() || m_process.canReadLine()) {
        if (m_kind.isEmpty()) {
            const QByteArray head = m_process.readLine().trimmed();
            m_kind = head.left(head.indexOf(' '));
            m_size = head.mid(m_kind.size()).trimmed().toLongLong();
        }
        if (m_process.bytesAvailable() < m_size)
            return;
        take(m_process.read(m_size));
    }
}

void LayoutProcess::take(const QByteArray &payload)
{
    const QByteArray kind = m_kind;
    m_kind.clear();
    if (m_open)
        emit answered(kind, payload);
    else if (kind != "design" || !openDesign(payload))
        m_reason = payload;
    else if (m_started)
        report("KLayout is back");
}

bool LayoutProcess::openDesign(const QByteArray &description)
{
    const QList<QByteArray> v = description.split(' ');
    if (v.size() != 5)
        return false;
    m_databaseUnitMetres = v[0].toDouble();
    m_bounds = QRectF(QPointF(v[1].toInt(), v[2].toInt()), QPointF(v[3].toInt(), v[4].toInt()));
    m_open = true;
    return true;
}

} // namespace simulator
