#include "simulator/layoutserver.h"

#include "simulator/report.h"

#include <QElapsedTimer>
#include <QFile>
#include <QFileInfo>

// The script lies in a static library, where nothing else asks for it. Not within a namespace.
static void initScript()
{
    Q_INIT_RESOURCE(layoutserver);
}

namespace simulator {
namespace {

const int answerMs = 60000; // a large design may take its time
const int restartMs = 500;

} // namespace

// The process sees nothing of the user's configuration, and no package that would start this again.
bool LayoutServer::start(const QString &designFile, QString *error)
{
    m_designFile = QFileInfo(designFile).absoluteFilePath();
    if (!QFileInfo(m_designFile).isFile()) {
        *error = QStringLiteral("cannot read %1: there is no such file").arg(designFile);
        return false;
    }
    initScript();
    QFile::copy(":/layoutserver.py", m_home.filePath("layoutserver.py"));
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("KLAYOUT_HOME", m_home.path());
    environment.insert("KLAYOUT_PATH", QString());
    environment.insert("DESIGN_FILE", m_designFile);
    environment.remove("LD_PRELOAD");
    m_process.setProcessEnvironment(environment);
    m_process.setProcessChannelMode(QProcess::ForwardedErrorChannel);
    launch();
    if (!openDesign(error))
        return false;
    m_restart.setSingleShot(true);
    connect(&m_restart, &QTimer::timeout, this, &LayoutServer::launch);
    connect(&m_process, QOverload<int, QProcess::ExitStatus>::of(&QProcess::finished), this,
            &LayoutServer::restart);
    connect(&m_process, &QProcess::readyRead, this, [this] {
        QString reason;
        if (!m_ready && openDesign(&reason)) {
            report("KLayout is back");
            emit restarted();
        }
    });
    return true;
}

LayoutServer::~LayoutServer()
{
    disconnect(&m_process, nullptr, this, nullptr);
    m_process.kill();
    m_process.waitForFinished();
}

void LayoutServer::launch()
{
    m_process.start("klayout", { "-zz", "-r", m_home.filePath("layoutserver.py") });
}

bool LayoutServer::openDesign(QString *error)
{
    QByteArray kind, payload;
    if (!m_process.waitForStarted()) {
        *error = QStringLiteral("cannot start klayout, which reads the design: %1")
                     .arg(m_process.errorString());
        return false;
    }
    const QList<QByteArray> v =
        readAnswer(&kind, &payload) ? payload.split(' ') : QList<QByteArray>();
    m_ready = kind == "design" && v.size() == 5;
    if (m_ready) {
        m_databaseUnitMetres = v[0].toDouble();
        m_bounds = QRectF(QPointF(v[1].toInt(), v[2].toInt()), QPointF(v[3].toInt(), v[4].toInt()));
    } else {
        *error = QStringLiteral("cannot read %1: %2")
                     .arg(m_designFile,
                          payload.isEmpty() ? "KLayout ended" : QString::fromUtf8(payload));
    }
    return m_ready;
}

void LayoutServer::restart()
{
    if (m_ready)
        report("KLayout ended; the picture stays as it is until it is back");
    m_ready = false;
    m_restart.start(restartMs);
}

LayoutServer::Answer LayoutServer::shapes(const QRect &window)
{
    return ask(window, QSize(0, 0));
}

LayoutServer::Answer LayoutServer::picture(const QRect &window, const QSize &size)
{
    return ask(window, size);
}

LayoutServer::Answer LayoutServer::ask(const QRect &window, const QSize &size)
{
    static const struct {
        const char *name;
        Answer::Kind kind;
    } kinds[] = { { "shapes", Answer::Shapes },
                  { "many", Answer::Many },
                  { "picture", Answer::Picture } };
    Answer answer;
    if (!m_ready || m_process.state() != QProcess::Running)
        return answer;
    const QPoint corner = window.topLeft() + QPoint(window.width(), window.height());
    m_process.write(QByteArray::number(window.left()) + ' ' + QByteArray::number(window.top()) + ' '
                    + QByteArray::number(corner.x()) + ' ' + QByteArray::number(corner.y()) + ' '
                    + QByteArray::number(size.width()) + ' ' + QByteArray::number(size.height())
                    + '\n');
    QByteArray name;
    if (!readAnswer(&name, &answer.payload)) {
        m_process.kill(); // what came late would be taken for another answer
        return Answer();
    }
    for (const auto &entry : kinds)
        if (name == entry.name)
            answer.kind = entry.kind;
    return answer;
}

bool LayoutServer::readAnswer(QByteArray *kind, QByteArray *payload)
{
    QElapsedTimer clock;
    clock.start();
    while (!m_process.canReadLine())
        if (clock.elapsed() > answerMs || !m_process.waitForReadyRead(answerMs))
            return false;
    const QList<QByteArray> head = m_process.readLine().trimmed().split(' ');
    *kind = head.first();
    const int size = head.last().toInt();
    if (!waitFor(size))
        return false;
    *payload = m_process.read(size);
    return true;
}

bool LayoutServer::waitFor(qint64 bytes)
{
    while (m_process.bytesAvailable() < bytes)
        if (!m_process.waitForReadyRead(answerMs))
            return false;
    return true;
}

} // namespace simulator
