// What the user sees and does in the drawing area.
#include "tests/viewerfixture.h"

#include <QListWidget>

#include <cmath>

using viewer::Placement;

Q_DECLARE_METATYPE(Placement)

class TestViewer : public QObject {
    Q_OBJECT
private slots:
    void imageLiesWhereTheValuesSay_data();
    void imageLiesWhereTheValuesSay();
    void undrawableImageIsLeftOut();
    void imageWithoutAPlaceIsNotShown();
    void layersLieAboveTheImage();
    void hugePolygonIsCutNotLost();
    void wireOfNoWidthIsDrawn();
    void wheelKeepsThePointUnderTheCursor();
    void manualModeMovesTheImage();
    void manualDragTurnsOrScalesAboutThePoint();
    void assistedAlignment();
    void cloneSurvivesLaterImages();
};

static const QColor red(255, 0, 0), green(0, 255, 0), blue(0, 0, 255), white(255, 255, 255);

// Two by two pixels: red and green above blue and white.
static QImage fourColours()
{
    QImage image(2, 2, QImage::Format_RGB32);
    image.setPixelColor(0, 0, red);
    image.setPixelColor(1, 0, green);
    image.setPixelColor(0, 1, blue);
    image.setPixelColor(1, 1, white);
    return image;
}

// The values map a pixel by rotation, shear, scale and offset in that order. The centres of the
// four pixels were worked out by hand.
void TestViewer::imageLiesWhereTheValuesSay_data()
{
    QTest::addColumn<Placement>("placement");
    QTest::addColumn<QPolygonF>("centres"); // red, green, blue, white
    QTest::newRow("origin, unequal scales")
        << Placement{ -100, 100, 50, 25, 0, 0, 0 }
        << QPolygonF({ { -75, 87.5 }, { -25, 87.5 }, { -75, 62.5 }, { -25, 62.5 } });
    QTest::newRow("rotation before the scales")
        << Placement{ 0, 0, 50, 25, 0, 0, 90 }
        << QPolygonF({ { -25, -12.5 }, { -25, -37.5 }, { -75, -12.5 }, { -75, -37.5 } });
    QTest::newRow("vertical shear")
        << Placement{ 0, 0, 50, 50, 0, 1, 0 }
        << QPolygonF({ { 25, -50 }, { 75, -100 }, { 25, -100 }, { 75, -150 } });
    QTest::newRow("rotation before the shear")
        << Placement{ 0, 0, 50, 50, 1, 0, 90 }
        << QPolygonF({ { 0, -25 }, { 50, -75 }, { -50, -25 }, { 0, -75 } });
}

void TestViewer::imageLiesWhereTheValuesSay()
{
    QFETCH(Placement, placement);
    QFETCH(QPolygonF, centres);
    ViewerFixture fixture;
    fixture.view->setHiddenLayers({ 5 });
    fixture.show(fourColours(), placement);
    const QVector<QColor> colours{ red, green, blue, white };
    for (int i = 0; i < 4; ++i)
        QCOMPARE(fixture.colourAt(centres[i].x(), centres[i].y()), colours[i]);
}

void TestViewer::undrawableImageIsLeftOut()
{
    for (const Placement &placement :
         { Placement{ std::nan(""), 0, 50, 50, 0, 0, 0 }, Placement{ -50, 50, 0, 50, 0, 0, 0 },
           Placement{ -50, 50, 50, 50, 1, 1, 0 } }) {
        ViewerFixture fixture;
        fixture.view->finishDrawing();
        const QImage without = fixture.view->grab().toImage();
        fixture.show(plain(2, 0xffffffff), placement);
        emit fixture.plugin->centerImage();
        QCOMPARE(fixture.view->grab().toImage(), without);
        emit fixture.plugin->requestAlignManuel();
        fixture.drag({ { 200, 200 }, { 260, 200 } }, Qt::ControlModifier);
    }
}

void TestViewer::imageWithoutAPlaceIsNotShown()
{
    ViewerFixture fixture;
    fixture.plugin->image = plain(1, 0xffffffff);
    emit fixture.plugin->imageUpdate();
    emit fixture.plugin->posUpdate(); // which the plugin leaves as it was
    QCOMPARE(fixture.window.background()->image().width(), 1);
    fixture.view->fitImage();
    QCOMPARE(fixture.view->view().zoom(), 1.0);
    QVERIFY(!fixture.window.background()->cloneLive());
}

void TestViewer::layersLieAboveTheImage()
{
    ViewerFixture fixture;
    fixture.show(plain(2, 0xff808080), { -100, 100, 100, 100, 0, 0, 0 });
    const QColor beside = fixture.colourAt(-50, 50), inside = fixture.colourAt(50, 50);
    QCOMPARE(beside, QColor(128, 128, 128));
    QVERIFY(inside != beside);
    QVERIFY(qAbs(inside.lightness() - 128) < 64); // translucent
    fixture.window.findChild<QListWidget *>("layers")->item(0)->setCheckState(Qt::Unchecked);
    QCOMPARE(fixture.colourAt(50, 50), beside);
}

// A shape of almost two metres, whose corners are further away than the raster engine can count.
void TestViewer::hugePolygonIsCutNotLost()
{
    ViewerFixture fixture;
    const int far = 900000000;
    QVERIFY(fixture.open(
        "HUGE", gdsii::boundary(5, { -far, -far, far, -far, far, 0, -far, 100, -far, -far })));
    fixture.look({ 0, 0 }, 1);
    QCOMPARE(fixture.colourAt(0, 0), fixture.colourAt(-100, -150));
    QVERIFY(fixture.colourAt(0, 0) != fixture.colourAt(0, 150));
}

void TestViewer::wireOfNoWidthIsDrawn()
{
    ViewerFixture fixture;
    QVERIFY(fixture.open("WIRE", gdsii::boundary(5, { 0, 50, 0, 50, 0, -50, 0, -50, 0, 50 })));
    fixture.look({ 0, 0 }, 1);
    QVERIFY(fixture.colourAt(0, 0) != fixture.colourAt(20, 0));
}

void TestViewer::wheelKeepsThePointUnderTheCursor()
{
    ViewerFixture fixture;
    const QPointF cursor(320, 90);
    const QPointF under = fixture.view->view().toDesign(cursor);
    for (const int delta : { 120, -360 }) {
        const double before = fixture.view->view().zoom();
        QWheelEvent wheel(cursor, fixture.view->mapToGlobal(cursor.toPoint()), QPoint(),
                          QPoint(0, delta), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(fixture.view, &wheel);
        QCOMPARE(fixture.view->view().zoom() > before, delta > 0);
        QVERIFY(QLineF(fixture.view->view().toDesign(cursor), under).length() < 1e-6);
    }
}

void TestViewer::manualModeMovesTheImage()
{
    ViewerFixture fixture;
    fixture.show(fourColours(), { 10, 20, 30, 40, 0.1, 0.2, 5 });
    fixture.drag({ { 200, 200 }, { 230, 190 }, { 260, 210 } });
    QCOMPARE(fixture.view->view().centre(), QPointF(-60, 10)); // not yet in the mode
    emit fixture.plugin->requestAlignManuel();
    fixture.look({ 0, 0 }, 0.5);
    fixture.drag({ { 200, 200 }, { 210, 200 }, { 230, 185 } });
    QCOMPARE(fixture.plugin->drawnWith(), QString("70 50 30 40 0.1 0.2 5"));
    for (const Qt::Key key : { Qt::Key_Left, Qt::Key_Up, Qt::Key_Up })
        QTest::keyClick(fixture.view, key);
    QCOMPARE(fixture.plugin->drawnWith(), QString("68 54 30 40 0.1 0.2 5"));
    QCOMPARE(fixture.view->view().centre(), QPointF(0, 0));
    fixture.drag({ { 200, 200 }, { 250, 200 } }, Qt::NoModifier, Qt::MiddleButton);
    QCOMPARE(fixture.view->view().centre(), QPointF(-100, 0));
    QTest::keyClick(fixture.view, Qt::Key_Escape);
    fixture.drag({ { 200, 200 }, { 250, 200 } });
    QCOMPARE(fixture.view->view().centre(), QPointF(-200, 0));
    QCOMPARE(fixture.plugin->drawnWith(), QString("68 54 30 40 0.1 0.2 5"));
}

// The matrix as the plugin builds it.
static QMatrix imageToDesign(const Placement &placement)
{
    QMatrix matrix;
    matrix.translate(placement.x, placement.y);
    matrix.scale(placement.scaleX, -placement.scaleY);
    matrix.shear(placement.shearH, placement.shearV);
    return matrix.rotate(placement.rotationDegrees);
}

// A turn keeps every distance, a scaling multiplies all by the same factor, and the pixel under the
// button stays.
void TestViewer::manualDragTurnsOrScalesAboutThePoint()
{
    const Placement placement{ -50, 50, 50, 70, 0.3, -0.2, 10 };
    const QPoint press(230, 180);
    for (const QPoint &offset : { QPoint(80, 0), QPoint(-80, 0), QPoint(0, -80), QPoint(0, 80) }) {
        ViewerFixture fixture;
        fixture.show(fourColours(), placement);
        emit fixture.plugin->requestAlignManuel();
        fixture.drag({ press, press + offset / 4, press + offset }, Qt::ControlModifier);
        fixture.plugin->drawnWith();
        const QMatrix change =
            imageToDesign(placement).inverted() * imageToDesign(fixture.plugin->passed);
        const QPointF pivot = fixture.view->view().toDesign(press);
        QVERIFY(QLineF(change.map(pivot), pivot).length() < 1e-6);
        QVERIFY(qAbs(change.m11() - change.m22()) < 1e-9);
        QVERIFY(qAbs(change.m12() + change.m21()) < 1e-9);
        if (offset.x()) { // to the right turns clockwise
            QVERIFY(qAbs(change.determinant() - 1) < 1e-9);
            QVERIFY(offset.x() > 0 ? change.m12() < -0.02 : change.m12() > 0.02);
        } else { // up enlarges
            QVERIFY(qAbs(change.m12()) < 1e-9);
            QVERIFY(offset.y() < 0 ? change.m11() > 1.05 : change.m11() < 0.95);
        }
    }
}

void TestViewer::assistedAlignment()
{
    ViewerFixture fixture;
    fixture.show(fourColours(), { -100, 100, 50, 50, 0, 0, 0 });
    emit fixture.plugin->requestAlignAssist();
    const auto click = [&](double x, double y) {
        QTest::mouseClick(fixture.view, Qt::LeftButton, Qt::NoModifier,
                          fixture.view->view().toScreen(QPointF(x, y)).toPoint());
    };
    click(150, -150); // beside the image: no point of it is chosen
    click(-50, 50);
    QCOMPARE(fixture.plugin->drawnWith(), QString("-100 100 50 50 0 0 0"));
    click(40, -70);
    QCOMPARE(fixture.plugin->drawnWith(), QString("-10 -20 50 50 0 0 0"));
}

void TestViewer::cloneSurvivesLaterImages()
{
    ViewerFixture fixture;
    fixture.show(plain(2, 0xffff0000), { -100, 100, 20, 20, 0, 0, 0 });
    emit fixture.plugin->requestCloneImage();
    fixture.show(plain(4, 0xff0000ff), { -80, 100, 20, 20, 0, 0, 0 });
    QCOMPARE(fixture.colourAt(-90, 90), red);
    QCOMPARE(fixture.colourAt(-70, 90), red); // above the live image
    QCOMPARE(fixture.colourAt(-30, 90), blue);
    fixture.window.findChild<QListWidget *>("stills")->item(0)->setCheckState(Qt::Unchecked);
    QCOMPARE(fixture.colourAt(-70, 90), blue);
}

QTEST_MAIN(TestViewer)
#include "tst_viewer.moc"
#include "moc_stubplugin.cpp"
