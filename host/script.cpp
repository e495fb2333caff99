#include "host/script.h"
#include "host/layoutview.h"
#include "host/mainwindow.h"
#include "host/measurement.h"

#include <QAbstractButton>
#include <QComboBox>
#include <QCoreApplication>
#include <QLineEdit>
#include <QSpinBox>
#include <QTextStream>
#include <QTimer>

namespace viewer {

Script::Script(MainWindow *window, const Options &options, QObject *parent)
    : QObject(parent)
    , m_window(window)
    , m_options(options)
{
}

bool Script::start(QString *error)
{
    chooseView();
    if (m_options.zoomToImage)
        connect(m_window->session(), &PluginSession::centreRequested, this, [this] {
            if (!m_zoomed)
                m_window->view()->fitImage();
            m_zoomed = true;
        });
    if (!pressDisplay(error) || !chooseFromLists(error) || !pressConnect(error))
        return false;
    if (m_options.isScripted())
        QTimer::singleShot(int(m_options.afterSeconds * 1000), this, &Script::finish);
    return true;
}

template <typename Control>
static Control *control(QWidget *panel, const QString &name, QString *error)
{
    Control *found = panel ? panel->findChild<Control *>(name) : nullptr;
    if (!found)
        *error = panel ? QString("The plugin's panel has no \"%1\".").arg(name)
                       : QString("The plugin has no panel.");
    return found;
}

bool Script::pressDisplay(QString *error)
{
    if (m_options.display.isEmpty())
        return true;
    QString name = m_options.display;
    name = "display" + name.replace(0, 1, name[0].toUpper());
    auto *button = control<QAbstractButton>(m_window->panel(), name, error);
    if (button)
        button->click();
    return button;
}

bool Script::chooseFromLists(QString *error)
{
    for (const QString &choice : m_options.listChoices) {
        const QString name = choice.section('=', 0, 0), entry = choice.section('=', 1);
        auto *list = control<QComboBox>(m_window->panel(), name, error);
        if (!list)
            return false;
        const int index = list->findText(entry);
        if (index < 0) {
            *error = QString("The list \"%1\" has no entry \"%2\".").arg(name, entry);
            return false;
        }
        list->setCurrentIndex(index);
    }
    return true;
}

bool Script::pressConnect(QString *error)
{
    if (!m_options.connects)
        return true;
    auto *host = control<QLineEdit>(m_window->panel(), "host", error);
    auto *port = control<QSpinBox>(m_window->panel(), "port", error);
    auto *button = control<QAbstractButton>(m_window->panel(), "connectButton", error);
    if (!host || !port || !button)
        return false;
    if (!m_options.host.isEmpty()) {
        host->setText(m_options.host);
        port->setValue(m_options.port);
    }
    button->click();
    return true;
}

void Script::chooseView()
{
    if (m_options.viewWidthUm <= 0 || !m_window->design())
        return;
    const double unitsPerUm = 1e-6 / m_window->design()->databaseUnitMetres();
    m_window->view()->showWidth(QPointF(m_options.viewXUm, m_options.viewYUm) * unitsPerUm,
                                m_options.viewWidthUm * unitsPerUm);
}

void Script::finish()
{
    if (m_options.measureSeconds <= 0)
        return takeScreenshot();
    auto *measurement = new Measurement(m_window, this);
    connect(measurement, &Measurement::finished, this, [this](const QString &report) {
        QTextStream(stdout) << report << Qt::endl;
        if (m_options.screenshotFile.isEmpty())
            QCoreApplication::exit(0);
        else
            takeScreenshot();
    });
    measurement->start(m_options.measureSeconds);
}

void Script::takeScreenshot()
{
    m_window->view()->finishDrawing();
    const bool written = m_window->grab().save(m_options.screenshotFile, "PNG");
    if (!written)
        QTextStream(stderr) << "layout-viewer: cannot write " << m_options.screenshotFile
                            << Qt::endl;
    QCoreApplication::exit(written ? 0 : 1);
}

} // namespace viewer
