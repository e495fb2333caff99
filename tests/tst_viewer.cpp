// What the user sees and does in the drawing area.
#include "tests/viewerfixture.h"

#include <QListWidget>
#include <QSlider>

#include <cmath>
#include <limits>

using viewer::Placement;

Q_DECLARE_METATYPE(Placement)

class TestViewer : public QObject {
    Q_OBJECT
private slots:
    void imageLiesWhereTheValuesSay_data();
    void imageLiesWhereTheValuesSay();
    void undrawableImageIsLeftOut_data();
    void undrawableImageIsLeftOut();
    void layersLieAboveTheImage();
    void hugePolygonIsCutNotLost();
    void panningMovesThePicture();
    void wheelKeepsThePointUnderTheCursor();
    void manualDragMovesTheImage();
    void manualDragTurnsOrScalesAboutThePoint_data();
    void manualDragTurnsOrScalesAboutThePoint();
    void arrowKeysNudge();
    void manualModeLeavesPanningAndZooming();
    void modesAreSeenAndLeft();
    void assistedAlignment();
    void cloneSurvivesLaterImages();
};

static const QColor red(255, 0, 0), green(0, 255, 0), blue(0, 0, 255), white(255, 255, 255);

// The values map a pixel by rotation, shear, scale and offset in that order. The centres of the
// four pixels were worked out by hand.
void TestViewer::imageLiesWhereTheValuesSay_data()
{
    QTest::addColumn<Placement>("placement");
    QTest::addColumn<QPolygonF>("centres"); // red, green, blue, white
    QTest::newRow("plain") << Placement{ 0, 0, 50, 50, 0, 0, 0 }
                           << QPolygonF({ { 25, -25 }, { 75, -25 }, { 25, -75 }, { 75, -75 } });
    QTest::newRow("origin, unequal scales")
        << Placement{ -100, 100, 50, 25, 0, 0, 0 }
        << QPolygonF({ { -75, 87.5 }, { -25, 87.5 }, { -75, 62.5 }, { -25, 62.5 } });
    QTest::newRow("rotation before the scales")
        << Placement{ 0, 0, 50, 25, 0, 0, 90 }
        << QPolygonF({ { -25, -12.5 }, { -25, -37.5 }, { -75, -12.5 }, { -75, -37.5 } });
    QTest::newRow("horizontal shear")
        << Placement{ -120, 0, 50, 50, 1, 0, 0 }
        << QPolygonF({ { -70, -25 }, { -20, -25 }, { -20, -75 }, { 30, -75 } });
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

void TestViewer::undrawableImageIsLeftOut_data()
{
    const double nan = std::numeric_limits<double>::quiet_NaN();
    const double infinity = std::numeric_limits<double>::infinity();
    QTest::addColumn<Placement>("placement");
    QTest::newRow("not a number") << Placement{ nan, 0, 50, 50, 0, 0, 0 };
    QTest::newRow("infinite") << Placement{ 0, 0, infinity, 50, 0, 0, 0 };
    QTest::newRow("no width") << Placement{ -50, 50, 0, 50, 0, 0, 0 };
    QTest::newRow("sheared into a line") << Placement{ -50, 50, 50, 50, 1, 1, 0 };
    QTest::newRow("rotation") << Placement{ -50, 50, 50, 50, 0, 0, nan };
}

void TestViewer::undrawableImageIsLeftOut()
{
    QFETCH(Placement, placement);
    ViewerFixture fixture;
    fixture.view->finishDrawing();
    const QImage without = fixture.view->grab().toImage();
    fixture.show(plain(2, 0xffffffff), placement);
    QCOMPARE(fixture.view->grab().toImage(), without);
    emit fixture.plugin->requestAlignManuel();
    fixture.drag({ { 200, 200 }, { 260, 200 } }, Qt::ControlModifier);
    emit fixture.plugin->centerImage();
    emit fixture.plugin->requestCloneImage();
    QVERIFY(fixture.window.background()->stills().isEmpty());
    QCOMPARE(fixture.view->view().centre(), QPointF(0, 0));
}

void TestViewer::layersLieAboveTheImage()
{
    ViewerFixture fixture;
    fixture.show(plain(2, 0xff808080), { -100, 100, 100, 100, 0, 0, 0 });
    const QColor beside(128, 128, 128);
    QCOMPARE(fixture.colourAt(-50, 50), beside);
    const QColor inside = fixture.colourAt(50, 50), edge = fixture.colourAt(50, 100);
    QVERIFY(inside != beside);
    QCOMPARE(edge, viewer::layerColour(0));
    QVERIFY(qAbs(inside.lightness() - 128) < 64); // translucent

    auto *layers = fixture.window.findChild<QListWidget *>("layers");
    layers->item(0)->setCheckState(Qt::Unchecked);
    QCOMPARE(fixture.colourAt(50, 50), beside);
    layers->item(0)->setCheckState(Qt::Checked);
    QCOMPARE(fixture.colourAt(50, 50), inside);

    fixture.window.findChild<QSlider *>("fade")->setValue(0);
    QVERIFY(fixture.colourAt(-50, 50).lightness() < 40);
}

// A shape of almost two metres, whose corners are further away than the raster engine can count.
void TestViewer::hugePolygonIsCutNotLost()
{
    ViewerFixture fixture;
    const int far = 900000000;
    const QByteArray shape =
        gdsii::boundary(5, { -far, -far, far, -far, far, 0, -far, 100, -far, -far });
    QString error;
    QVERIFY2(fixture.window.openDesign(
                 fixture.write("huge.gds", gdsii::library(gdsii::structure("TOP", shape))), &error),
             qPrintable(error));
    viewer::ViewTransform transform;
    transform.setZoom(1);
    fixture.view->setView(transform);
    QCOMPARE(fixture.colourAt(0, 0), fixture.colourAt(-100, -150));
    QVERIFY(fixture.colourAt(0, 0) != fixture.colourAt(0, 150));
}

void TestViewer::panningMovesThePicture()
{
    ViewerFixture fixture;
    for (const Qt::MouseButton button : { Qt::LeftButton, Qt::MiddleButton }) {
        const QPointF before = fixture.view->view().centre();
        fixture.drag({ { 200, 200 }, { 230, 190 }, { 260, 210 } }, Qt::NoModifier, button);
        QCOMPARE(fixture.view->view().centre(), before + QPointF(-60, 10));
    }
    QVERIFY(fixture.colourAt(50, 50) != fixture.colourAt(-50, 50));
}

void TestViewer::wheelKeepsThePointUnderTheCursor()
{
    ViewerFixture fixture;
    const QPointF cursor(320, 90);
    const QPointF under = fixture.view->view().toDesign(cursor);
    for (const int delta : { 120, 120, -360, 1200 }) {
        const double before = fixture.view->view().zoom();
        QWheelEvent wheel(cursor, fixture.view->mapToGlobal(cursor.toPoint()), QPoint(),
                          QPoint(0, delta), Qt::NoButton, Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(fixture.view, &wheel);
        QCOMPARE(fixture.view->view().zoom() > before, delta > 0);
        const QPointF now = fixture.view->view().toDesign(cursor);
        QVERIFY(QLineF(now, under).length() < 1e-6);
    }
}

void TestViewer::manualDragMovesTheImage()
{
    ViewerFixture fixture;
    fixture.show(fourColours(), { 10, 20, 30, 40, 0.1, 0.2, 5 });
    emit fixture.plugin->requestAlignManuel();
    viewer::ViewTransform transform;
    transform.setZoom(0.5);
    fixture.view->setView(transform);
    fixture.drag({ { 200, 200 }, { 210, 200 }, { 230, 185 } });
    const Placement drawn = fixture.plugin->drawnWith();
    QCOMPARE(drawn.x, 70.0);
    QCOMPARE(drawn.y, 50.0);
    QCOMPARE(drawn.scaleX, 30.0);
    QCOMPARE(drawn.shearV, 0.2);
    QCOMPARE(drawn.rotationDegrees, 5.0);
    QCOMPARE(fixture.view->view().centre(), QPointF(0, 0));
}

void TestViewer::manualDragTurnsOrScalesAboutThePoint_data()
{
    QTest::addColumn<Placement>("placement");
    QTest::newRow("plain") << Placement{ -50, 50, 50, 50, 0, 0, 0 };
    QTest::newRow("turned") << Placement{ -50, 50, 50, 50, 0, 0, 150 };
    QTest::newRow("unequal scales") << Placement{ -50, 50, 50, 20, 0, 0, -20 };
    QTest::newRow("sheared both ways") << Placement{ -50, 50, 50, 70, 0.3, -0.2, 10 };
}

// The matrix is built as the plugin builds it. A turn keeps every distance, a scaling multiplies
// all by the same factor, and the pixel under the button stays.
void TestViewer::manualDragTurnsOrScalesAboutThePoint()
{
    QFETCH(Placement, placement);
    const QPoint press(230, 180);
    for (const QPoint &offset : { QPoint(80, 0), QPoint(-80, 0), QPoint(0, -80), QPoint(0, 80) }) {
        ViewerFixture fixture;
        fixture.show(fourColours(), placement);
        emit fixture.plugin->requestAlignManuel();
        fixture.drag({ press, press + offset / 4, press + offset }, Qt::ControlModifier);
        const Placement drawn = fixture.plugin->drawnWith();
        QMatrix before, after;
        for (auto &pair : { qMakePair(&before, placement), qMakePair(&after, drawn) }) {
            pair.first->translate(pair.second.x, pair.second.y);
            pair.first->scale(pair.second.scaleX, -pair.second.scaleY);
            pair.first->shear(pair.second.shearH, pair.second.shearV);
            pair.first->rotate(pair.second.rotationDegrees);
        }
        const QMatrix change = before.inverted() * after;
        const QPointF pivot = fixture.view->view().toDesign(press);
        QVERIFY(QLineF(change.map(pivot), pivot).length() < 1e-6);
        const double factor = std::sqrt(change.determinant());
        QVERIFY(qAbs(change.m11() - change.m22()) < 1e-9);
        QVERIFY(qAbs(change.m12() + change.m21()) < 1e-9);
        const double degrees = QLineF(0, 0, change.m11(), -change.m12()).angle();
        const double counterClockwise = degrees > 180 ? degrees - 360 : degrees;
        if (offset.x()) {
            QVERIFY(qAbs(factor - 1) < 1e-9);
            QVERIFY(offset.x() > 0 ? counterClockwise < -1 : counterClockwise > 1);
        } else {
            QVERIFY(qAbs(counterClockwise) < 1e-9);
            QVERIFY(offset.y() < 0 ? factor > 1.05 : factor < 0.95);
        }
    }
}

void TestViewer::arrowKeysNudge()
{
    ViewerFixture fixture;
    fixture.show(fourColours(), { 0, 0, 10, 10, 0, 0, 0 });
    viewer::ViewTransform transform;
    transform.setZoom(0.25);
    fixture.view->setView(transform);
    emit fixture.plugin->requestAlignManuel();
    QTest::keyClick(fixture.view, Qt::Key_Left);
    QTest::keyClick(fixture.view, Qt::Key_Up);
    QTest::keyClick(fixture.view, Qt::Key_Up);
    const Placement drawn = fixture.plugin->drawnWith();
    QCOMPARE(QPointF(drawn.x, drawn.y), QPointF(-4, 8));
    QCOMPARE(fixture.view->view().centre(), QPointF(0, 0));
}

void TestViewer::manualModeLeavesPanningAndZooming()
{
    ViewerFixture fixture;
    fixture.show(fourColours(), { 0, 0, 10, 10, 0, 0, 0 });
    emit fixture.plugin->requestAlignManuel();
    fixture.drag({ { 200, 200 }, { 250, 200 } }, Qt::NoModifier, Qt::MiddleButton);
    QCOMPARE(fixture.view->view().centre(), QPointF(-50, 0));
    QCOMPARE(fixture.plugin->drawnWith().x, 0.0);
}

void TestViewer::modesAreSeenAndLeft()
{
    ViewerFixture fixture;
    fixture.show(plain(2, 0xff000000), { -80, 80, 20, 20, 0, 0, 0 });
    const QColor before = fixture.colourAt(0, 198), corner = fixture.colourAt(-80, 60);
    const auto isSeen = [&] {
        return fixture.colourAt(0, 198) != before && fixture.colourAt(-80, 60) != corner;
    };
    emit fixture.plugin->requestAlignManuel();
    QVERIFY(isSeen());
    emit fixture.plugin->requestDefaultMode();
    QVERIFY(!isSeen());
    QVERIFY(fixture.window.session()->invoke("alignAssist"));
    QVERIFY(isSeen());
    QTest::keyClick(fixture.view, Qt::Key_Escape);
    QVERIFY(!isSeen());
    fixture.drag({ { 130, 130 }, { 150, 130 } });
    QCOMPARE(fixture.plugin->drawnWith().x, -80.0);
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
    QCOMPARE(fixture.plugin->drawnWith().x, -100.0);
    click(40, -70);
    const Placement drawn = fixture.plugin->drawnWith();
    QCOMPARE(QPointF(drawn.x, drawn.y), QPointF(-10, -20));
    QCOMPARE(drawn.scaleX, 50.0);
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

    auto *stills = fixture.window.findChild<QListWidget *>("stills");
    QCOMPARE(stills->count(), 1);
    stills->item(0)->setCheckState(Qt::Unchecked);
    QCOMPARE(fixture.colourAt(-70, 90), blue);
    fixture.window.background()->removeStill(0);
    QCOMPARE(stills->count(), 0);
}

QTEST_MAIN(TestViewer)
#include "tst_viewer.moc"
#include "moc_stubplugin.cpp"
