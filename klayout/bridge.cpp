#include "klayout/bridge.h"
#include "klayout/clonefile.h"
#include "klayout/host.h"
#include "klayout/language.h"

#include <QApplication>

using namespace klayout;

static QPointer<Host> host;

static const char *kept(const QString &text)
{
    static QByteArray bytes;
    bytes = text.toUtf8();
    return bytes.constData();
}

static QMainWindow *mainWindow()
{
    for (QWidget *widget : QApplication::topLevelWidgets())
        if (auto *window = qobject_cast<QMainWindow *>(widget))
            return window;
    return nullptr;
}

const char *sem_start(const char *library, sem_event event)
{
    QMainWindow *window = mainWindow();
    speakUsersLanguage();
    if (!window || host)
        return window ? kept(Host::tr("The microscope's image is already there."))
                      : kept(Host::tr("There is no main window."));
    host = new Host(window, [event](const char *name, const QString &argument) {
        event(name, argument.toUtf8().constData());
    });
    host->setParent(window); // by which it can be found
    QString error;
    if (host->start(QString::fromUtf8(library), &error))
        return nullptr;
    delete host;
    return kept(error);
}

void sem_stop()
{
    delete host;
}

void sem_arrange_docks()
{
    if (host)
        host->arrangeDocks();
}

int sem_take_canvas()
{
    return host && host->takeCanvas();
}

void sem_set_view(double magnification, double x, double y, int width, int height)
{
    if (host)
        host->setView(magnification, QPointF(x, y), QSize(width, height));
}

void sem_set_design(const char *name, double databaseUnitMetres, double left, double bottom,
                    double right, double top)
{
    if (host)
        host->setDesign({ QString::fromUtf8(name), databaseUnitMetres,
                          QRectF(QPointF(left, bottom), QPointF(right, top)) });
}

void sem_set_ground(const char *colour)
{
    if (host)
        host->overlay()->setGround(QColor(QString::fromUtf8(colour)));
}

void sem_show_tab(const char *title, int elsewhere)
{
    if (host)
        host->dock()->showTab(QString::fromUtf8(title), elsewhere);
}

void sem_set_mode(int mode)
{
    if (host)
        host->setMode(hosting::AlignMode::Mode(mode));
}

void sem_act(const char *action)
{
    if (host)
        host->act(QString::fromUtf8(action));
}

void sem_connect(const char *address, int port)
{
    if (host)
        host->connectTo(QString::fromUtf8(address), port);
}

void sem_take_shapes(const int *numbers, int count)
{
    if (host)
        host->takeShapes(numbers, count);
}

const char *sem_write_clone(const char *file)
{
    const QString matrix = host ? host->writeClone(QString::fromUtf8(file)) : QString();
    return matrix.isNull() ? nullptr : kept(matrix);
}

int sem_copy_clone(const char *from, const char *to, const double *m)
{
    QString error;
    Clone clone = readClone(QString::fromUtf8(from), &error);
    clone.toMicrometres = QTransform(m[0], m[1], m[2], m[3], m[4], m[5]);
    const bool done = !clone.image.isNull() && writeClone(QString::fromUtf8(to), clone, &error);
    if (!done && host)
        host->warn(error);
    return done;
}

void sem_list_clones(const char *lines)
{
    if (host)
        host->dock()->showClones(QString::fromUtf8(lines));
}
