// The smallest host of a background plugin: minimal-host LIBRARY [PICTURE]. With PICTURE it
// connects to the microscope of its settings, saves a picture of the window once images come, and
// ends.
#include "backgroundplugin.h"

#include <QApplication>
#include <QDockWidget>
#include <QFileInfo>
#include <QGraphicsPixmapItem>
#include <QGraphicsView>
#include <QMainWindow>
#include <QMouseEvent>
#include <QPluginLoader>
#include <QPushButton>
#include <QStackedWidget>
#include <QTimer>
#include <QToolBar>

#include <cstdio>

/// The design with the plugin's image behind it, and the host's side of the interface. A drag pans,
/// the wheel zooms about the cursor; in the alignment modes the mouse moves the image instead.
class Host : public QGraphicsView {
    Q_OBJECT
public:
    /// Takes ownership of `plugin`, the object that the library holds.
    Host(QMainWindow *window, QObject *plugin)
        : m_plugin(plugin)
        , m_background(qobject_cast<backgroundPlugIn *>(plugin))
        , m_dock(new QDockWidget(window))
    {
        drawDesign();
        window->setCentralWidget(this);
        window->addDockWidget(Qt::RightDockWidgetArea, m_dock);
        QToolBar *tools = window->addToolBar(m_background->getName());
        tools->addAction("Move image by two clicks", plugin, SLOT(alignAssist()));
        tools->addAction("Pan", this, SLOT(pan()));
        m_fetchPause.setSingleShot(true);
        connect(&m_fetchPause, SIGNAL(timeout()), SLOT(fetchImage()));
        connectPlugin();
        m_background->init(); // hands over the panel
        m_background->setDatabaseUnits(1e-8); // metres
    }
    ~Host()
    {
        m_background->close();
        removePanel(); // before the plugin deletes it
        delete m_plugin; // writes the settings
    }

private slots:
    // A scan tells of every piece of a frame, but 30 images a second are enough for the screen.
    void noteImage()
    {
        if (!m_fetchPause.isActive())
            m_fetchPause.start(33);
    }
    void fetchImage()
    {
        m_image->setPixmap(QPixmap::fromImage(m_background->getImage()));
        if (m_picture.isEmpty() || m_scaleX == 0 || ++m_fetched != 10)
            return;
        QImage picture(window()->size(), QImage::Format_RGB32);
        window()->render(&picture);
        QApplication::exit(picture.save(m_picture) ? 0 : 1);
    }
    void takePosition()
    {
        if (m_asking)
            return;
        const bool first = m_scaleX == 0;
        double x = m_image->x(), y = m_image->y(); // the user may have moved it
        m_asking = true;
        m_background->getPos(&x, &y, &m_scaleX, &m_scaleY, &m_shearH, &m_shearV, &m_rotation);
        m_asking = false;
        m_image->setPos(x, y);
        transformImage();
        fetchImage(); // the values may be for an image of another size
        if (first && m_scaleX != 0 && !m_centreLater)
            enlargeFirstImage();
        if (m_centreLater)
            centreImage();
    }
    void centreImage()
    {
        m_centreLater = m_asking; // asked for within getPos(), before the values are here
        if (!m_asking)
            centerOn(imageCentre());
    }
    void reportView()
    {
        // Asked for on the connection page, the view is for the first placement. A stored alignment
        // takes its place if the name comes in between: what getView() asks has to wait for that.
        const QStackedWidget *pages = m_dock->findChild<QStackedWidget *>("stackedWidget");
        const bool connecting = pages && pages->currentIndex() == 0;
        const QPoint centre = mapToScene(viewport()->rect().center()).toPoint();
        m_asking = connecting;
        m_background->getView(transform().m11(), centre.x(), centre.y(), width(), height());
        m_asking = false;
        if (!connecting)
            return;
        reportName();
        takePosition(); // now, if no alignment was stored
    }
    void reportName() { m_background->getDesignName("minimal-chip"); }
    void addPanel(QWidget *panel, const QString &name)
    {
        m_dock->setWindowTitle(name);
        m_dock->setWidget(panel);
        m_dock->show();
    }
    void removePanel()
    {
        m_dock->hide();
        if (m_dock->widget())
            m_dock->widget()->setParent(0); // the plugin's again
    }
    void keepClone()
    {
        QGraphicsPixmapItem *clone = scene()->addPixmap(m_image->pixmap());
        clone->setTransform(m_image->sceneTransform());
        clone->setZValue(m_image->zValue() - 1);
    }
    void moveByHand() { setMode(MoveByHand); }
    void moveByClicks() { setMode(FirstClick); }
    void pan() { setMode(Pan); }

private:
    enum Mode { Pan, MoveByHand, FirstClick, SecondClick };
    void mousePressEvent(QMouseEvent *event) override
    {
        const QPointF clicked = mapToScene(event->pos());
        if (m_mode == FirstClick)
            m_pixel = m_image->mapFromScene(clicked); // stays so while the stage moves the image
        else if (m_mode == SecondClick) // the next getPos() tells the plugin
            m_image->setPos(m_image->pos() + clicked - m_image->mapToScene(m_pixel));
        else
            return QGraphicsView::mousePressEvent(event);
        m_mode = m_mode == FirstClick ? SecondClick : FirstClick;
    }
    void wheelEvent(QWheelEvent *event) override
    {
        const double step = event->delta() > 0 ? 1.2 : 1 / 1.2;
        const double zoom = qBound(1e-5, transform().m11() * step, 10.0);
        setTransform(QTransform::fromScale(zoom, -zoom));
    }
    void drawDesign()
    {
        // The edge of a chip and some of its bond pads, in database units of 10 nm.
        const QPoint pads[] = { QPoint(37000, 5000), QPoint(5000, 36000), QPoint(186000, 114000) };
        const QPen outline(Qt::yellow, 0); // a pixel wide at any zoom
        setScene(new QGraphicsScene(-1e7, -1e7, 2e7, 2e7, this)); // as far as one can pan
        scene()->addRect(0, 0, 200000, 160000, outline);
        for (const QPoint &pad : pads)
            scene()->addRect(pad.x(), pad.y(), 9000, 9000, outline);
        m_image = scene()->addPixmap(QPixmap());
        m_image->setZValue(-1);
        transformImage(); // to nothing yet
        setBackgroundBrush(Qt::black);
        setFrameShape(NoFrame);
        setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setVerticalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        setTransformationAnchor(AnchorUnderMouse);
        setTransform(QTransform::fromScale(0.003, -0.003)); // screen pixels per database unit
        centerOn(100000, 80000);
        setMode(Pan);
    }
    // The plugin's class is not known here, so its signals are found by name.
    void connectPlugin()
    {
        const char *const connections[][2] = {
            { SIGNAL(imageUpdate()), SLOT(noteImage()) },
            { SIGNAL(posUpdate()), SLOT(takePosition()) },
            { SIGNAL(addWidget(QWidget *, QString)), SLOT(addPanel(QWidget *, QString)) },
            { SIGNAL(removeWidget(QWidget *)), SLOT(removePanel()) },
            { SIGNAL(centerImage()), SLOT(centreImage()) },
            { SIGNAL(requestAlignManuel()), SLOT(moveByHand()) },
            { SIGNAL(requestAlignAssist()), SLOT(moveByClicks()) },
            { SIGNAL(requestCloneImage()), SLOT(keepClone()) },
            { SIGNAL(requestView()), SLOT(reportView()) },
            { SIGNAL(requestDefaultMode()), SLOT(pan()) },
            { SIGNAL(requestDesignName()), SLOT(reportName()) },
        };
        for (const char *const *connection : connections)
            connect(m_plugin, connection[0], connection[1]);
    }
    void setMode(Mode mode)
    {
        m_mode = mode;
        setDragMode(mode == Pan ? ScrollHandDrag : NoDrag);
        m_image->setFlag(QGraphicsItem::ItemIsMovable, mode == MoveByHand);
    }
    // Image pixels to the design: translate(x, y), which is the item's position, and then these.
    void transformImage()
    {
        QTransform matrix = QTransform::fromScale(m_scaleX, -m_scaleY);
        m_image->setTransform(matrix.shear(m_shearH, m_shearV).rotate(m_rotation));
    }
    QPointF imageCentre() const
    {
        return m_image->mapToScene(m_image->pixmap().width() / 2, m_image->pixmap().height() / 2);
    }
    // Only a stored alignment places a new plugin's first image without asking to have it centred.
    // The plugin knew of no frame of n pixels yet: centred well, it is n times too small.
    void enlargeFirstImage()
    {
        const QPointF centre = imageCentre();
        m_scaleX *= m_image->pixmap().width();
        m_scaleY *= m_image->pixmap().height();
        transformImage();
        m_image->setPos(m_image->pos() + centre - imageCentre());
    }

    QObject *m_plugin;
    backgroundPlugIn *m_background;
    const QString m_picture = QApplication::arguments().value(2);
    QDockWidget *m_dock;
    QGraphicsPixmapItem *m_image = 0; ///< its position is x and y
    double m_scaleX = 0, m_scaleY = 0; ///< 0 until the plugin has placed the image
    double m_shearH = 0, m_shearV = 0, m_rotation = 0;
    QTimer m_fetchPause;
    int m_fetched = 0; ///< images for the picture
    bool m_asking = false, m_centreLater = false; ///< in a call that makes the plugin ask back
    Mode m_mode = Pan;
    QPointF m_pixel; ///< the image pixel of the first click
};

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    // The plugin keeps its settings under these names and reads them in init().
    QCoreApplication::setOrganizationName("example");
    QCoreApplication::setApplicationName("minimal-host");
    const QString file = application.arguments().value(1);
    QPluginLoader loader(QFileInfo(file).absoluteFilePath()); // a bare name would be searched for
    if (!qobject_cast<backgroundPlugIn *>(loader.instance())) {
        const QString reason = loader.instance() ? "no background plugin" : loader.errorString();
        std::fprintf(stderr, "Cannot load '%s': %s\n", qPrintable(file), qPrintable(reason));
        return 1;
    }
    QMainWindow window;
    window.resize(1000, 700);
    Host host(&window, loader.instance());
    window.show();
    if (application.arguments().size() > 2)
        window.findChild<QPushButton *>("connectButton")->click();
    return application.exec();
}

#include "main.moc"
