#include "bench/hostrun.h"

#include <QComboBox>
#include <QCoreApplication>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QSettings>
#include <QSpinBox>

HostRun::HostRun(quint16 controlPort, int frameSize, Keeping keeping)
    : m_loader(LIBRARY_FILE)
    , m_keeping(keeping)
{
    m_object = m_loader.instance();
    m_plugin = qobject_cast<backgroundPlugIn *>(m_object.data());
    if (!m_plugin)
        qFatal("%s", qPrintable(m_loader.errorString()));
    connect(m_object, SIGNAL(addWidget(QWidget *, QString)), SLOT(takePanel(QWidget *, QString)));
    m_plugin->init();
    connectTo(controlPort, frameSize);
    connect(m_object, SIGNAL(imageUpdate()), SLOT(fetchImage()));
}

HostRun::~HostRun()
{
    m_image = QImage();
    delete m_object.data();
    QSettings().clear();
}

void HostRun::takePanel(QWidget *panel, QString)
{
    m_panel = panel;
}

void HostRun::connectTo(quint16 controlPort, int frameSize)
{
    m_panel->findChild<QRadioButton *>("displayLive")->click();
    auto *size = m_panel->findChild<QComboBox *>("imageSize");
    size->setCurrentIndex(size->findText(QString::number(frameSize) + 'x', Qt::MatchStartsWith));
    m_panel->findChild<QLineEdit *>("host")->setText("127.0.0.1");
    m_panel->findChild<QSpinBox *>("port")->setValue(controlPort);
    m_panel->findChild<QPushButton *>("connectButton")->click();
    auto *status = m_panel->findChild<QLabel *>("statusDisplay");
    while (status->text() != "start scanning")
        QCoreApplication::processEvents(QEventLoop::WaitForMoreEvents);
}

void HostRun::fetchImage()
{
    if (m_keeping == KeepImage)
        m_image = m_plugin->getImage();
    else
        m_plugin->getImage();
    if (--m_expected == 0)
        m_loop.quit();
}

qint64 HostRun::receive(const Stream &stream, const std::function<void()> &start)
{
    m_expected += stream.messages(); // less those of the next stream that came along with the last
    start();
    const qint64 begin = cpuNs();
    m_loop.exec();
    return cpuNs() - begin;
}
