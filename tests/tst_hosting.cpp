// The host's side of the plugin interface, as the plugin, the microscope and the user see it.
#include "hosting/alignmode.h"
#include "hosting/background.h"
#include "hosting/canvasoverlay.h"
#include "hosting/pluginsession.h"
#include "tests/laboratory.h"
#include "tests/stubplugin.h"

#include <QBackingStore>
#include <QPainter>
#include <QtTest>

#include <cmath>

using namespace hosting;

namespace {

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
};

/// A canvas whose design fills its right half, and which counts what comes to it.
struct Canvas : QWidget {
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

/// A window with two canvases of 200 x 200 pixels. In the middle of the first is the image, 100 x
/// 100 pixels.
struct Screen {
    Background background;
    PluginSession session{ &background };
    AlignMode mode{ &background };
    QWidget window;
    Canvas canvas{ &window }, second{ &window };
    CanvasOverlay overlay{ &session, &background, &mode };
    /// Where the image lies alone, over the design, where the design is alone, and neither.
    QVector<QPointF> places{ { 75, 100 }, { 125, 100 }, { 175, 100 }, { 25, 100 } };

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
    QString colours(const QImage &image, const QPoint &origin) const
    {
        QStringList names;
        for (const QPointF &place : places) {
            const QPoint at = ((origin + place) * image.devicePixelRatio()).toPoint();
            names << (image.valid(at) ? image.pixelColor(at).name() : QString());
        }
        return names.join(' ');
    }
    /// What the user sees at the places of a canvas. (A screenshot would have the canvas paint.)
    QString seen(const QWidget &on) const
    {
        const auto *drawn = static_cast<QImage *>(window.backingStore()->paintDevice());
        return drawn ? colours(*drawn, on.pos()) : QString();
    }
};

} // namespace

class TestHosting : public QObject {
    Q_OBJECT
private slots:
    void alignmentHolds_data();
    void alignmentHolds();
    void pluginIsToldDesignAndView();
    void positionIsTakenBeforeTheRest();
    void hostEndsThePluginAtAnyTime();
    void imagesComeNotTooOftenAndToTheLast();
    void filesThatHoldNoPlugin();
    void imageAndDesignAreBlended();
    void canvasPaintsWhenItChanged();
    void userMovesTheImage();
};

// What is done to a host that was aligned.
void TestHosting::alignmentHolds_data()
{
    QTest::addColumn<QString>("notice");
    for (const char *story :
         { "restart", "disconnect", "disconnect connect", "disconnect away connect",
           "pair disconnect connect", "seek disconnect connect", "clear disconnect connect",
           "clear back", "clear restart", "clear restart back", "other chip",
           "disconnect other connect chip", "close chip", "disconnect close connect chip",
           "close restart chip", "slow other chip", "turn restart", "fine zoom turn restart",
           "grow zoom turn restart" })
        QTest::newRow(story) << QString();
    QTest::newRow("origin restart") << "The stored alignment takes hold with the next stage move.";
    QTest::newRow("close restart") << "No design is open: the image gets its place when one is.";
}

void TestHosting::alignmentHolds()
{
    QFETCH(QString, notice);
    const QString story = QTest::currentDataTag();
    const bool aligned = !story.startsWith("clear") || story.endsWith("back");
    Laboratory lab;
    QVERIFY(lab.act("restart") && lab.align("align1") && lab.align("align2"));
    QVERIFY(lab.moves({ -2, 1 }) && lab.isInPlace());
    for (const QString &word : story.split(' ')) {
        QVERIFY2(lab.act(word), qPrintable(word));
        QVERIFY(word != "other" || !lab.connected
                || lab.background.centre() == QPointF(1000, 2000));
    }
    if (story.contains("away")) // only the microscope can tell
        lab.shownElsewhere = !spinUntil([&] { return lab.isInPlace(); });
    QCoreApplication::processEvents();
    QCOMPARE(lab.shownElsewhere, !aligned);
    QCOMPARE(lab.session->panel()->scanSettings().contains("100000ns"), story.contains("slow"));
    QCOMPARE(lab.session->notice(), notice);
    QCOMPARE(lab.background.isShown(), notice.isEmpty());
    if (lab.connected && lab.design.isOpen()) {
        QVERIFY(lab.moves({ 3, -2 }));
        const QLineF off(lab.background.centre(), lab.expected().centre(lab.pixels));
        QVERIFY(aligned ? lab.isInPlace() : off.length() > 10 * lab.nominal());
        QVERIFY(lab.background.isShown());
        QCOMPARE(lab.session->notice(), QString());
    }
    // One without the other would be of no use with the next run.
    lab.session->stop();
    for (const char *key : { "tescan/alignMap", "background/poses" })
        QCOMPARE(QSettings().contains(key), lab.connected);
}

// The unit first: view and alignments are reckoned in it.
void TestHosting::pluginIsToldDesignAndView()
{
    StubbedHost host;
    const auto told = [&] {
        host.plugin->calls.clear();
        emit host.plugin->requestView();
        return host.plugin->calls.join(", ");
    };
    QCOMPARE(told(), QString("units 1e-09, view 0.125 1001 -250 400 300, name chip:1/TOP"));
    host.plugin->pages->setCurrentIndex(1);
    QCOMPARE(told(), QString("view 0.125 1001 -250 400 300"));
    host.session.setView({ { 1e12, -1e12 }, 2, { 400, 300 } });
    QCOMPARE(told(), QString("view 2 2147483647 -2147483647 400 300"));
    host.session.setView({ { 0, 0 }, std::nan(""), { 400, 300 } });
    QCOMPARE(told(), QString());
}

// The plugin asks for all this from inside getPos, before the host has the values.
void TestHosting::positionIsTakenBeforeTheRest()
{
    StubbedHost host;
    QVector<QPointF> centred;
    connect(&host.session, &PluginSession::centreRequested, &host.background,
            [&] { centred << host.background.centre(); });
    host.plugin->correct = [&](Placement *p) {
        *p = { 5000, 7000, 2, 2, 0, 0, 0 };
        host.plugin->image = plain(100, Qt::gray);
        emit host.plugin->posUpdate();
        emit host.plugin->imageUpdate();
        emit host.plugin->centerImage();
    };
    emit host.plugin->posUpdate();
    QCOMPARE(centred, QVector<QPointF>({ { 5100, 6900 } }));
}

void TestHosting::hostEndsThePluginAtAnyTime()
{
    using S = PluginSession;
    using P = StubPlugin;
    for (auto within :
         { &S::viewRequested, &S::manualAlignmentRequested, &S::cloneRequested,
           &S::assistedAlignmentRequested, &S::defaultModeRequested, &S::centreRequested }) {
        StubbedHost host;
        connect(&host.session, within, &host.session, &S::stop);
        for (auto request : { &P::requestAlignManuel, &P::requestView, &P::requestAlignAssist,
                              &P::requestCloneImage, &P::posUpdate, &P::centerImage })
            if (host.plugin)
                emit(host.plugin->*request)();
        QVERIFY(!host.plugin && !host.session.invoke("alignClear"));
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
    Background background;
    PluginSession session(&background);
    QString error;
    for (const QString &file :
         { QString("missing.so"), QString(SAMPLE_LAYOUT), plugins + "/imageformats/libqgif.so" }) {
        QVERIFY(!session.load(file, &error));
        QVERIFY2(error.contains(file), qPrintable(error));
    }
    QVERIFY(session.load(LIBRARY_FILE, &error));
}

void TestHosting::imageAndDesignAreBlended()
{
    using S = DrawingStyle;
    const struct {
        S style;
        bool designOff;
        const char *seen; ///< at the places
    } rows[] = {
        { { S::Behind, 1, 1 }, false, "#b4b4b4 #c86400 #c86400 #ffffff" },
        { { S::Behind, 0.5, 1 }, false, "#d9d9d9 #c86400 #c86400 #ffffff" },
        { { S::Behind, 1, 0.5 }, false, "#b4b4b4 #be8c5a #e3b17f #ffffff" },
        { { S::Behind, 1, 1 }, true, "#b4b4b4 #b4b4b4 #ffffff #ffffff" },
        { { S::Above, 0.5, 1 }, false, "#d9d9d9 #be8c5a #c86400 #ffffff" },
        { { S::Multiplied, 1, 1 }, false, "#b4b4b4 #8d4600 #c86400 #ffffff" },
        { { S::Multiplied, 0.5, 1 }, false, "#d9d9d9 #aa5500 #c86400 #ffffff" },
        { { S::Multiplied, 1, 1 }, false, "#b4b4b4 #efd2b4 #c86400 #000000" },
    };
    for (const auto &row : rows) {
        Screen screen;
        screen.canvas.ground = QString(row.seen).right(7);
        screen.overlay.setGround(screen.canvas.ground);
        screen.overlay.setStyle(row.style);
        QTest::keyEvent(row.designOff ? QTest::Press : QTest::Release, &screen.canvas, Qt::Key_D);
        SPIN_COMPARE(screen.seen(screen.canvas), QString(row.seen));
        QCOMPARE(screen.colours(screen.window.grab().toImage(), screen.canvas.pos()),
                 QString(row.seen));
    }
}

void TestHosting::canvasPaintsWhenItChanged()
{
    Screen screen;
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#b4b4b4 #c86400 #c86400 #ffffff"));
    const int painted = screen.canvas.painted;
    screen.background.setImage(plain(100, "#404040"));
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#404040 #c86400 #c86400 #ffffff"));
    screen.background.setPlacement({ -90, 50, 1, 1, 0, 0, 0 });
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#404040 #c86400 #c86400 #404040"));
    screen.background.setPlacement({ -50, 50, 1, 1, 0, 0, 0 });
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#404040 #c86400 #c86400 #ffffff"));
    QCOMPARE(screen.canvas.painted, painted);
    screen.canvas.design = "#00ff00";
    screen.canvas.update(150, 0, 50, 200); // only this part is new
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#404040 #c86400 #00ff00 #ffffff"));
    screen.canvas.update();
    screen.background.setImage(plain(100, "#808080"));
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#808080 #00ff00 #00ff00 #ffffff"));
    // A scan, and rows that came out of turn: seen at the latest with an image half a second later.
    QImage scan = screen.background.image().copy();
    for (int row = 0; row <= 50; row += 10) {
        QPainter(&scan).fillRect(0, row, 100, row < 50 ? 10 : 1, QColor("#303030"));
        screen.background.setImage(scan);
        SPIN_COMPARE(screen.seen(screen.canvas),
                     QString(row < 50 ? "#808080" : "#303030") + " #00ff00 #00ff00 #ffffff");
    }
    screen.places[0] = { 75, 145 };
    QPainter(&scan).fillRect(0, 51, 100, 1, QColor("#303030"));
    QPainter(&scan).fillRect(0, 90, 100, 10, QColor("#303030"));
    screen.background.setImage(scan);
    QTest::qWait(600);
    QPainter(&scan).fillRect(0, 52, 100, 1, QColor("#303030"));
    screen.background.setImage(scan);
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#303030 #00ff00 #00ff00 #ffffff"));
    screen.overlay.setCanvas(&screen.second);
    screen.places[0] = { 75, 100 };
    screen.background.setImage(plain(100, "#808080"));
    SPIN_COMPARE(screen.seen(screen.canvas), QString("#ffffff #00ff00 #00ff00 #ffffff"));
    SPIN_COMPARE(screen.seen(screen.second), QString("#808080 #c86400 #c86400 #ffffff"));
}

void TestHosting::userMovesTheImage()
{
    const auto hand = AlignMode::Manual, clicks = AlignMode::Assisted;
    const int none = 0, ctrl = Qt::CTRL, fine = Qt::SHIFT, up = Qt::Key_Up, left = Qt::Key_Left;
    const auto shift = [](double x, double y) { return QTransform::fromTranslate(x, y); };
    const auto turn = [](double degrees) { return QTransform().rotate(degrees); };
    const auto grow = [](double f) { return QTransform::fromScale(f, f); };
    const struct {
        AlignMode::Mode mode;
        QVector<int> keys; ///< pressed first
        QVector<int> modifiers; ///< at each point
        QVector<QPointF> mouse; ///< a drag or clicks
        QTransform change; ///< of the image on the screen, about the first point or the centre
        int left; ///< to the canvas: keys and presses
        QString line{}; ///< a part of what the user reads
    } rows[] = {
        { hand, {}, { fine, none, fine }, { { 9, 8 }, { 5, 5 }, { 9, 9 } }, shift(-3.6, -2.6), 0 },
        { hand, {}, { ctrl, none }, { { 9, 8 }, { 20, 9 }, { 89, 13 } }, turn(8), 0, "-8.00°" },
        { hand, {}, { ctrl, fine }, { { 99, 8 }, { 90, 7 } }, turn(-.09), 0, "0.09°" },
        { hand, {}, { ctrl }, { { 99, 9 }, { 95, -71 } }, grow(pow(1.002, 80)), 0, "by 1.1733" },
        { hand, {}, { ctrl }, { { 99, 80 }, { 101, 82 } }, {}, 0, "Drag" },
        { hand, { left, up, up | fine }, {}, {}, shift(-1, -1.1), 0, "µm (x -0.0020, y 0.00" },
        { hand, { left | ctrl, up | ctrl | fine }, {}, {}, turn(-.1) * grow(pow(1.002, .1)), 0 },
        { hand, { Qt::Key_Escape, up }, {}, { { 99, 80 }, { 139, 60 } }, {}, 2 },
        { clicks, { left }, {}, { { 5, 9 }, { 90, 99 }, { 99, 90 } }, shift(9, -9), 1, "1 of 2" },
    };
    for (const auto &row : rows) {
        Screen screen(0.5);
        screen.mode.setDatabaseUnit(chip.databaseUnitMetres);
        screen.background.takePlacement({ -100, 90, 1.9, 2.2, 0.3, -0.2, 10 });
        const QTransform toScreen = screen.session.view().toScreen();
        const auto drawn = [&] { return toScreen.map(screen.background.outline()); };
        const auto press = [&](int key) {
            const auto modifiers = Qt::KeyboardModifiers(key & Qt::KeyboardModifierMask);
            QKeyEvent event(QEvent::KeyPress, key & ~modifiers, modifiers);
            QCoreApplication::sendEvent(&screen.canvas, &event);
        };
        const QPolygonF before = drawn();
        const QPointF at = row.mouse.value(0, toScreen.map(screen.background.centre()));
        const QPolygonF should = row.change.map(before.translated(-at)).translated(at);
        screen.mode.setMode(row.mode);
        std::for_each(row.keys.begin(), row.keys.end(), press);
        for (int i = 0; i < row.mouse.size(); ++i) {
            const bool drags = i > 0 && row.mode == hand;
            QMouseEvent event(drags ? QEvent::MouseMove : QEvent::MouseButtonPress, row.mouse[i],
                              Qt::LeftButton, Qt::LeftButton,
                              Qt::KeyboardModifiers(row.modifiers.value(i)));
            QCoreApplication::sendEvent(&screen.canvas, &event);
        }
        const QByteArray number = QByteArray::number(int(&row - rows));
        QVERIFY2(areNear(drawn(), should, 1e-6), number);
        QVERIFY2(screen.mode.instruction().contains(row.line), number);
        // All of it is one step. Where nothing was moved, the keys are the canvas's own.
        screen.background.takePlacement(screen.background.placement());
        press(Qt::Key_Z | ctrl);
        QVERIFY2(areNear(drawn(), before, 1e-6), number);
        press(Qt::Key_Z | ctrl | fine);
        QVERIFY2(areNear(drawn(), should, 1e-6), number);
        screen.background.takePlacement({ 0, 0, 2, 2, 0, 0, 0 }); // the stage moved
        press(Qt::Key_Z | ctrl);
        QCOMPARE(screen.background.placement().x, 0.0);
        QCOMPARE(screen.canvas.input, row.left + (row.change.isIdentity() ? 3 : 1));
    }
}

QTEST_MAIN(TestHosting)
#include "moc_stubplugin.cpp"
#include "tst_hosting.moc"
