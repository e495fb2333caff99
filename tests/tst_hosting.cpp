// The host's side of the plugin interface, as the plugin, the microscope and the user see it.
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/canvasoverlay.h"
#include "hosting/pluginsession.h"
#include "tests/fakemicroscope.h"
#include "tests/stubplugin.h"

#include <QBackingStore>
#include <QLibraryInfo>
#include <QPainter>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <cmath>

using namespace hosting;

namespace {

const Design chip = { "chip/TOP", 1e-9 }, other = { "other/TOP", 1e-8 };
const QPointF viewCentre(1000, 2000);

QImage plain(int size, const QColor &colour)
{
    QImage image(size, size, QImage::Format_RGB32);
    image.fill(colour);
    return image;
}

/// A host with the library, a microscope whose wafer lies turned and stretched, and the user.
struct Laboratory {
    QTemporaryDir folder;
    FakeMicroscope microscope;
    Background background;
    QScopedPointer<PluginSession> session;
    QPointF stageMm = { 1, 2 };
    double fieldMm = 0.5;
    int pixels = 512;
    Pose pose = { 1.05, 1.03, 0.02, 0, 11 }; ///< in which the user puts the image
    bool connected = false, shownElsewhere = false;

    Laboratory()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
        QObject::connect(&microscope.dataServer, &QTcpServer::newConnection, &background,
                         [this] { tell(); });
        const auto look = [this] { shownElsewhere |= background.isShown() && !isInPlace(); };
        QObject::connect(&background, &Background::changed, &background, look,
                         Qt::QueuedConnection);
        start();
    }
    void start()
    {
        session.reset();
        session.reset(new PluginSession(&background));
        session->setView({ viewCentre, 0.001, { 800, 600 } });
        session->setDesign(chip);
        QString error;
        if (!session->load(LIBRARY_FILE, &error))
            qFatal("%s", qPrintable(error));
    }
    void connectAll()
    {
        session->panel()->setAddress("127.0.0.1", microscope.port());
        connected = session->panel()->press("connectButton");
    }
    void tell()
    {
        microscope.setStage(stageMm.x(), stageMm.y());
        microscope.setViewField(fieldMm);
    }
    bool report(const QPointF &toMm, double viewFieldMm)
    {
        const QTransform before = background.placement().toTransform();
        stageMm = toMm;
        fieldMm = viewFieldMm;
        tell();
        return spinUntil([&] { return background.placement().toTransform() != before; });
    }
    bool move(double x, double y) { return report(stageMm + QPointF(x, y), fieldMm); }
    /// Once the image is where it can be for now.
    bool isSettled()
    {
        return spinUntil([this] {
            const bool live = session->panel()->showsOperatingPage() && background.isShown();
            return live || !connected || !session->notice().isEmpty();
        });
    }

    double nominal() const { return fieldMm * 1e6 / pixels; } ///< database units per pixel
    Placement expected() const
    {
        const auto wafer = QTransform(-1.02e6, 0, 0, -1.02e6, 3e5, -2e5).rotate(12);
        const Placement p = { 0,           0, pose.scaleX * nominal(), pose.scaleY * nominal(),
                              pose.shearH, 0, pose.rotationDegrees };
        return p.moved(wafer.map(stageMm) - p.centre(pixels));
    }
    /// To a hundredth of a pixel at each corner.
    bool isInPlace() const
    {
        const QRectF frame(0, 0, pixels, pixels);
        const QPolygonF is = background.outline(), should = expected().toTransform().map(frame);
        double worst = 0;
        for (int i = 0; i < 4; ++i)
            worst = qMax(worst, QLineF(is[i], should[i]).length());
        return worst < 0.01 * nominal();
    }
    bool align()
    {
        connectAll();
        bool done = isSettled();
        for (const char *row : { "align1", "align2" }) {
            done = done && move(0.7, -0.4);
            session->panel()->press(row);
            background.setPlacement(expected());
            session->panel()->press(row);
        }
        return done;
    }

    bool act(const QString &what)
    {
        Placement p = background.placement();
        ControlPanel *panel = session->panel();
        shownElsewhere = false;
        if (what == "restart")
            start();
        if (what == "restart" || what == "connect")
            connectAll();
        else if (what == "disconnect")
            connected = !panel->press("disconnectButton");
        else if (what == "origin" || what == "away")
            stageMm *= what == "origin" ? 0 : 2;
        else if (what == "pair")
            panel->press("align3"), background.setPlacement(p.turned({}, 30));
        else if (what == "clear")
            panel->press("alignClear");
        else if (what == "back")
            session->bringBackAlignment();
        else if (what == "turn")
            pose.rotationDegrees = p.rotationDegrees += 5, background.setPlacement(p);
        else if (what == "grow") // more than the plugin keeps when the view field changes
            pose.scaleX = pose.scaleY = 1, background.setPlacement(p.scaled({}, 1.5));
        else if (what == "zoom")
            return report(stageMm, 0.2);
        else if (what == "1024x1024")
            pixels = 1024, panel->setScanSettings({ "500ns", what });
        else
            session->setDesign(what == "chip" ? chip : what == "other" ? other : Design());
        if (what == "other" && connected)
            return isSettled() && background.centre() == viewCentre
                && qFuzzyCompare(background.placement().scaleX, nominal() / 10);
        return isSettled();
    }
};

struct StubbedHost {
    Background background;
    PluginSession session{ &background };
    QPointer<StubPlugin> plugin;

    StubbedHost()
    {
        session.setDesign(chip);
        session.setView({ { 1000.6, -250.4 }, 0.125, { 400, 300 } });
        session.start([this] { return plugin = new StubPlugin; });
    }
    QString said(void (StubPlugin::*request)())
    {
        plugin->calls.clear();
        emit(plugin->*request)();
        return plugin->calls.join(", ");
    }
};

/// A canvas whose design fills its right half, and which counts what comes to it.
class Canvas : public QWidget {
public:
    using QWidget::QWidget;
    QColor ground = Qt::white, design = "#c86400";
    int painted = 0, input = 0;

    void paintEvent(QPaintEvent *) override
    {
        ++painted;
        QPainter painter(this);
        painter.fillRect(rect(), ground);
        painter.fillRect(width() / 2, 0, width(), height(), design);
    }
    void mousePressEvent(QMouseEvent *) override { ++input; }
    void keyPressEvent(QKeyEvent *) override { ++input; }
};

/// A window with two canvases of 200 x 200 pixels. The first shows the image: 100 x 100 pixels in
/// its middle.
struct Screen {
    Background background;
    PluginSession session{ &background };
    AlignMode mode{ &background };
    QWidget window;
    Canvas canvas{ &window }, second{ &window };
    CanvasOverlay overlay{ &session, &background, &mode };

    explicit Screen(double zoom = 1)
    {
        window.setFixedSize(460, 250);
        canvas.setGeometry(20, 30, 200, 200);
        second.setGeometry(240, 30, 200, 200);
        session.setView({ { 0, 0 }, zoom, canvas.size() });
        background.setImage(plain(100, "#b4b4b4"));
        background.setPlacement({ -50, 50, 1, 1, 0, 0, 0 });
        overlay.setCanvas(&canvas);
        overlay.setDesignOffKey(Qt::Key_D);
        window.show();
    }
    static bool look(const QImage &seen, const QPoint &origin, const QVector<QPointF> &points,
                     const QStringList &colours)
    {
        for (int i = 0; i < points.size(); ++i) {
            const QPoint at = ((origin + points[i]) * seen.devicePixelRatio()).toPoint();
            const QColor is = seen.valid(at) ? seen.pixelColor(at) : QColor(), should(colours[i]);
            const int off[] = { is.red() - should.red(), is.green() - should.green(),
                                is.blue() - should.blue() };
            if (!is.isValid() || qMax(qMax(qAbs(off[0]), qAbs(off[1])), qAbs(off[2])) > 2)
                return false; // of 255, for rounding
        }
        return true;
    }
    /// Whether the user comes to see these colours at these points of a canvas.
    bool shows(const QWidget &on, const QVector<QPointF> &points, const QString &colours)
    {
        return spinUntil([&] {
            const QPaintDevice *drawn = window.backingStore()->paintDevice(); // or grab() repaints
            return drawn && drawn->devType() == QInternal::Image
                && look(*static_cast<const QImage *>(drawn), on.pos(), points, colours.split(' '));
        });
    }
    void mouse(QEvent::Type type, const QPointF &at, Qt::KeyboardModifiers modifiers)
    {
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, button, Qt::LeftButton, modifiers);
        QCoreApplication::sendEvent(&canvas, &event);
    }
};

/// Where the image lies alone, over the design, where the design is alone, and neither.
const QVector<QPointF> places({ { 75, 100 }, { 125, 100 }, { 175, 100 }, { 25, 100 } });

} // namespace

class TestHosting : public QObject {
    Q_OBJECT
private slots:
    void alignmentHolds_data();
    void alignmentHolds();
    void posesAreWrittenWithTheAlignments();
    void designAndViewAreReported();
    void positionIsTakenBeforeTheRest();
    void anotherDesignGetsAnotherObject();
    void hostEndsThePluginAtAnyTime();
    void imagesComeNotTooOftenAndToTheLast();
    void filesThatHoldNoPlugin();
    void imageLiesWhereTheValuesSay();
    void imageAndDesignAreBlended();
    void canvasPaintsWhenItChanged();
    void userMovesTheImage();
};

// What is done to a host that was aligned, and what the user reads then.
void TestHosting::alignmentHolds_data()
{
    QTest::addColumn<QString>("notice");
    for (const char *story :
         { "restart", "disconnect connect", "disconnect away connect", "pair disconnect connect",
           "clear disconnect connect", "clear back", "other chip", "disconnect other connect chip",
           "close chip", "disconnect close connect chip", "turn restart",
           "1024x1024 zoom turn restart", "grow zoom turn restart" })
        QTest::newRow(story) << QString();
    QTest::newRow("origin restart") << "next stage move";
    QTest::newRow("disconnect close connect") << "No design is open";
}

void TestHosting::alignmentHolds()
{
    QFETCH(QString, notice);
    const QString story = QTest::currentDataTag();
    const bool aligned = story != "clear disconnect connect";
    Laboratory lab;
    QVERIFY(lab.align() && lab.move(-2, 1) && lab.isInPlace());
    for (const QString &what : story.split(' '))
        QVERIFY2(lab.act(what), qPrintable(what));
    if (story.contains("away")) // the host learns it from the microscope
        lab.shownElsewhere = !spinUntil([&] { return lab.isInPlace(); });
    QCoreApplication::processEvents();
    QCOMPARE(lab.shownElsewhere, !aligned);
    QVERIFY(notice.isEmpty() ? lab.session->notice().isEmpty()
                             : lab.session->notice().contains(notice));
    QCOMPARE(lab.background.isShown(), notice.isEmpty());
    if (!lab.session->design().isOpen())
        return;
    QVERIFY(lab.move(3, -2));
    QCOMPARE(lab.isInPlace(), aligned);
    QVERIFY(lab.background.isShown() && lab.session->notice().isEmpty());
}

// Either without the other would be of no use with the next run.
void TestHosting::posesAreWrittenWithTheAlignments()
{
    for (const bool connected : { false, true }) {
        Laboratory lab;
        QVERIFY(lab.align());
        QVERIFY(connected || lab.act("disconnect"));
        lab.session->stop();
        for (const char *key : { "tescan/alignMap", "background/poses" })
            QCOMPARE(QSettings().contains(key), connected);
    }
}

// The unit first: view and alignments are reckoned in it.
void TestHosting::designAndViewAreReported()
{
    StubbedHost host;
    const auto asked = &StubPlugin::requestView;
    QCOMPARE(host.said(asked), QString("units 1e-09, view 0.125 1001 -250 400 300, name chip/TOP"));
    host.plugin->pages->setCurrentIndex(1);
    QCOMPARE(host.said(asked), QString("view 0.125 1001 -250 400 300"));
    host.session.setView({ { 1e12, -1e12 }, 2, { 400, 300 } });
    QCOMPARE(host.said(asked), QString("view 2 2147483647 -2147483647 400 300"));
    for (const double zoom : { 0.0, std::nan("") }) {
        host.session.setView({ { 0, 0 }, zoom, { 400, 300 } });
        QCOMPARE(host.said(asked), QString());
    }
}

// The plugin asks for all this from inside getPos, before the host has the values.
void TestHosting::positionIsTakenBeforeTheRest()
{
    StubbedHost host;
    QPointF centred;
    connect(&host.session, &PluginSession::centreRequested, &host.background,
            [&] { centred = host.background.centre(); });
    host.plugin->correct = [&](Placement *p) {
        *p = { 5000, 7000, 2, 2, 0, 0, 0 };
        host.plugin->image = plain(100, Qt::gray);
        emit host.plugin->posUpdate();
        emit host.plugin->imageUpdate();
        emit host.plugin->centerImage();
    };
    emit host.plugin->posUpdate();
    QCOMPARE(centred, QPointF(5100, 6900));
}

void TestHosting::anotherDesignGetsAnotherObject()
{
    StubbedHost host;
    host.said(&StubPlugin::requestView);
    host.plugin->pages->setCurrentIndex(1);
    host.plugin->imageSize->setCurrentText("chosen");
    const QPointer<QWidget> panel = host.plugin->panel;
    host.session.setDesign(other);
    SPIN_VERIFY(!panel);
    QCOMPARE(host.plugin->calls, QStringList("connect"));
    QCOMPARE(host.plugin->imageSize->currentText(), QString("chosen"));
    QVERIFY(host.said(&StubPlugin::requestView).startsWith("units 1e-08"));
}

void TestHosting::hostEndsThePluginAtAnyTime()
{
    using Session = PluginSession;
    using Stub = StubPlugin;
    for (auto within : { &Session::viewRequested, &Session::manualAlignmentRequested,
                         &Session::cloneRequested, &Session::assistedAlignmentRequested,
                         &Session::defaultModeRequested, &Session::centreRequested })
        for (const bool byStop : { true, false }) {
            StubbedHost host;
            connect(&host.session, within, &host.background, [&host, byStop] {
                byStop ? host.session.stop() : delete host.session.plugin();
            });
            for (auto request :
                 { &Stub::requestAlignManuel, &Stub::requestView, &Stub::requestAlignAssist,
                   &Stub::requestCloneImage, &Stub::posUpdate, &Stub::centerImage })
                if (host.plugin)
                    emit(host.plugin->*request)();
            QVERIFY(!host.plugin && !host.session.invoke("alignClear"));
            QCOMPARE(host.session.pluginName(), QString());
        }
}

void TestHosting::imagesComeNotTooOftenAndToTheLast()
{
    StubbedHost host;
    QElapsedTimer since;
    since.start();
    SPIN_VERIFY((emit host.plugin->imageUpdate(), host.plugin->fetched >= 12));
    QVERIFY2(since.elapsed() >= 11 * 32, qPrintable(QString::number(since.elapsed())));
    host.plugin->image = plain(8, Qt::gray);
    emit host.plugin->imageUpdate();
    SPIN_COMPARE(host.background.image().width(), 8);
}

void TestHosting::filesThatHoldNoPlugin()
{
    const QString plugins = QLibraryInfo::location(QLibraryInfo::PluginsPath);
    for (const QString &file :
         { QString("missing.so"), QString(SAMPLE_LAYOUT), plugins + "/imageformats/libqgif.so" }) {
        Background background;
        PluginSession session(&background);
        QString error;
        QVERIFY(!session.load(file, &error));
        QVERIFY2(error.contains(file), qPrintable(error));
        QVERIFY(session.load(LIBRARY_FILE, &error));
    }
}

// The values map a pixel by rotation, shear, scale and offset in that order. The centres of the
// four pixels were worked out by hand.
void TestHosting::imageLiesWhereTheValuesSay()
{
    const struct {
        Placement placement;
        QVector<QPointF> centres; ///< red, green, blue, black; none for no image
    } rows[] = {
        { { -100, 100, 50, 25, 0, 0, 0 },
          { { -75, 87.5 }, { -25, 87.5 }, { -75, 62.5 }, { -25, 62.5 } } },
        { { 0, 0, 50, 25, 0, 0, 90 },
          { { -25, -12.5 }, { -25, -37.5 }, { -75, -12.5 }, { -75, -37.5 } } },
        { { 0, 0, 50, 50, 0, 1, 0 }, { { 25, -50 }, { 75, -100 }, { 25, -100 }, { 75, -150 } } },
        { { 0, 0, 50, 50, 1, 0, 90 }, { { 0, -25 }, { 50, -75 }, { -50, -25 }, { 0, -75 } } },
        { { std::nan(""), 0, 50, 50, 0, 0, 0 }, {} },
        { { -50, 50, 50, 0, 0, 0, 0 }, {} },
        { { -50, 50, 50, 50, 1, 1, 0 }, {} },
    };
    QImage image(2, 2, QImage::Format_RGB32);
    const QStringList colours({ "#ff0000", "#00ff00", "#0000ff", "#000000" });
    for (int i = 0; i < 4; ++i)
        image.setPixelColor(i % 2, i / 2, colours[i]);
    for (const auto &row : rows) {
        Screen screen(0.5);
        screen.canvas.design = screen.canvas.ground;
        screen.background.setImage(image);
        screen.background.setPlacement(row.placement);
        const QPolygonF points = screen.session.view().toScreen().map(QPolygonF(row.centres));
        QVERIFY(row.centres.isEmpty() ? screen.shows(screen.canvas, { { 75, 100 } }, "#ffffff")
                                      : screen.shows(screen.canvas, points, colours.join(' ')));
    }
}

void TestHosting::imageAndDesignAreBlended()
{
    using S = DrawingStyle;
    const struct {
        S style;
        const char *ground, *seen;
        bool designOff = false;
    } rows[] = {
        { { S::Behind, 1, 1 }, "#ffffff", "#b4b4b4 #c86400 #c86400" },
        { { S::Behind, 1, 1 }, "#000000", "#b4b4b4 #c86400 #c86400" },
        { { S::Behind, 0.5, 1 }, "#ffffff", "#d9d9d9 #c86400 #c86400" },
        { { S::Behind, 1, 0.5 }, "#ffffff", "#b4b4b4 #be8c5a #e3b17f" },
        { { S::Above, 1, 1 }, "#ffffff", "#b4b4b4 #b4b4b4 #c86400" },
        { { S::Above, 0.5, 1 }, "#ffffff", "#d9d9d9 #be8c5a #c86400" },
        { { S::Above, 1, 0.5 }, "#ffffff", "#b4b4b4 #b4b4b4 #e3b17f" },
        { { S::Multiplied, 1, 1 }, "#ffffff", "#b4b4b4 #8d4600 #c86400" },
        { { S::Multiplied, 1, 1 }, "#000000", "#b4b4b4 #efd2b4 #c86400" },
        { { S::Multiplied, 0.5, 1 }, "#ffffff", "#d9d9d9 #aa5500 #c86400" },
        { { S::Behind, 1, 1 }, "#ffffff", "#b4b4b4 #b4b4b4 #ffffff", true },
    };
    for (const auto &row : rows) {
        Screen screen;
        screen.canvas.ground = row.ground;
        screen.overlay.setGround(row.ground);
        screen.overlay.setStyle(row.style);
        if (row.designOff)
            QTest::keyPress(&screen.canvas, Qt::Key_D);
        const QString colours = QString(row.seen) + ' ' + row.ground;
        QVERIFY2(screen.shows(screen.canvas, places, colours), row.seen);
        for (QWidget *shot : { &screen.window, static_cast<QWidget *>(&screen.canvas) })
            QVERIFY(Screen::look(shot->grab().toImage(), screen.canvas.mapTo(shot, QPoint()),
                                 places, colours.split(' ')));
        QTest::keyRelease(&screen.canvas, Qt::Key_D);
        QVERIFY(!row.designOff || screen.shows(screen.canvas, { { 175, 100 } }, "#c86400"));
    }
}

void TestHosting::canvasPaintsWhenItChanged()
{
    Screen screen;
    const auto shows = [&](const char *colours, const QWidget &on) {
        return screen.shows(on, places, colours);
    };
    QVERIFY(shows("#b4b4b4 #c86400 #c86400 #ffffff", screen.canvas));
    const int painted = screen.canvas.painted;
    screen.background.setImage(plain(100, "#404040"));
    QVERIFY(shows("#404040 #c86400 #c86400 #ffffff", screen.canvas));
    screen.background.setPlacement({ -90, 50, 1, 1, 0, 0, 0 });
    QVERIFY(shows("#404040 #c86400 #c86400 #404040", screen.canvas));
    screen.background.setPlacement({ -50, 50, 1, 1, 0, 0, 0 });
    QVERIFY(shows("#404040 #c86400 #c86400 #ffffff", screen.canvas));
    QCOMPARE(screen.canvas.painted, painted);
    screen.canvas.design = "#00ff00";
    screen.canvas.update(150, 0, 50, 200); // only this part is new
    QVERIFY(shows("#404040 #c86400 #00ff00 #ffffff", screen.canvas));
    screen.canvas.update();
    screen.background.setImage(plain(100, "#808080"));
    QVERIFY(shows("#808080 #00ff00 #00ff00 #ffffff", screen.canvas));
    screen.overlay.setCanvas(&screen.second);
    QVERIFY(shows("#ffffff #00ff00 #00ff00 #ffffff", screen.canvas));
    QVERIFY(shows("#808080 #c86400 #c86400 #ffffff", screen.second));
}

void TestHosting::userMovesTheImage()
{
    const QTransform none;
    const auto shift = [](double x, double y) { return QTransform::fromTranslate(x, y); };
    const auto scale = [](double factor) { return QTransform::fromScale(factor, factor); };
    const auto turn = [](double degrees) { return QTransform().rotate(degrees); };
    const Qt::KeyboardModifiers ctrl = Qt::ControlModifier;
    const struct {
        AlignMode::Mode mode;
        QVector<Qt::Key> keys; ///< first
        Qt::KeyboardModifiers modifiers;
        QVector<QPointF> mouse; ///< a drag, or clicks
        QTransform change; ///< of the image on the screen, about the first point
        int left; ///< for the canvas: presses and keys
    } rows[] = {
        { AlignMode::Manual, {}, {}, { { 99, 80 }, { 110, 75 }, { 139, 60 } }, shift(40, -20), 0 },
        { AlignMode::Manual, {}, ctrl, { { 99, 80 }, { 110, 81 }, { 179, 85 } }, turn(8), 0 },
        { AlignMode::Manual, {}, ctrl, { { 99, 80 }, { 90, 79 }, { 19, 80 } }, turn(-8), 0 },
        { AlignMode::Manual,
          {},
          ctrl,
          { { 99, 99 }, { 95, 90 }, { 70, 19 } },
          scale(std::pow(1.002, 80)),
          0 },
        { AlignMode::Manual,
          {},
          ctrl,
          { { 99, 80 }, { 99, 160 } },
          scale(std::pow(1.002, -80)),
          0 },
        { AlignMode::Manual, {}, ctrl, { { 99, 80 }, { 101, 82 } }, none, 0 },
        { AlignMode::Manual, { Qt::Key_Left, Qt::Key_Up, Qt::Key_Up }, {}, {}, shift(-1, -2), 0 },
        { AlignMode::Manual,
          { Qt::Key_Escape, Qt::Key_Up },
          {},
          { { 99, 80 }, { 139, 60 } },
          none,
          2 },
        { AlignMode::Off, { Qt::Key_Left }, {}, { { 99, 80 }, { 139, 60 } }, none, 2 },
        { AlignMode::Assisted,
          {},
          {},
          { { 10, 10 }, { 90, 110 }, { 150, 160 } },
          shift(60, 50),
          0 },
        { AlignMode::Assisted, { Qt::Key_Left }, {}, { { 90, 110 } }, none, 1 },
    };
    for (const auto &row : rows) {
        Screen screen(0.5);
        screen.background.setPlacement({ -100, 90, 1.9, 2.2, 0.3, -0.2, 10 });
        const auto drawn = [&] {
            return screen.background.placement().toTransform() * screen.session.view().toScreen();
        };
        const QPointF at = row.mouse.value(0);
        const QTransform should =
            drawn() * shift(-at.x(), -at.y()) * row.change * shift(at.x(), at.y());
        screen.mode.setMode(row.mode);
        for (Qt::Key key : row.keys)
            QTest::keyClick(&screen.canvas, key);
        for (const QPointF &point : row.mouse) {
            const bool drags = point != at && row.mode != AlignMode::Assisted;
            screen.mouse(drags ? QEvent::MouseMove : QEvent::MouseButtonPress, point,
                         row.modifiers);
        }
        screen.mouse(QEvent::MouseButtonRelease, row.mouse.isEmpty() ? at : row.mouse.last(), {});
        const QPolygonF corners = QPolygonF(QRectF(0, 0, 100, 100));
        const QPolygonF apart = drawn().map(corners), expected = should.map(corners);
        for (int i = 0; i < 4; ++i)
            QVERIFY2(QLineF(apart[i], expected[i]).length() < 1e-6,
                     QByteArray::number(int(&row - rows)));
        QCOMPARE(screen.canvas.input, row.left);
    }
}

int main(int argc, char **argv)
{
    QApplication application(argc, argv);
    QCoreApplication::setOrganizationName("layout-tests");
    TestHosting test;
    return QTest::qExec(&test, argc, argv);
}
#include "moc_stubplugin.cpp"
#include "tst_hosting.moc"
