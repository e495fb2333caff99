// Microscope, library and KLayout together, on a wafer that lies turned, stretched and shifted. The
// test does what a user does: it presses the panel's buttons, looks at the live image, moves it
// over the design with the mouse, and then measures how far the drawn image lies from where the
// simulator knows it should be.

#include "simulator/options.h"
#include "tests/insideklayout.h"
#include "tests/klayoutsession.h"

#include <QRandomGenerator>
#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QTcpServer>
#include <QMessageBox>
#include <QTemporaryDir>

class tst_klayout : public QObject {
    Q_OBJECT

private slots:
    void initTestCase();
    void threePairsBringEverythingInRegister();
    void imageIsFoundInTheDesign();
    void startedRowIsGivenUp();
    void moveStageToViewFindsAnyPlace();
    void canvasShowsImageWhereTheLayoutIs();
    void imageFollowsTheLayout();
    void outlinesAreNotSaved();
    void cloneLiesWhereTheImageLay();
    void alignmentComesBackWithItsDesign();
    void silentMicroscopeIsTold();

private:
    QPointF crossAt(int number) const;
    void alignAt(int pair, double fieldMm);
    double measure(int pairs);
    void verifyRestored(int cross);
    void showState(const char *picture, const char *line);
    void press(const char *button) { m_session->widget<QPushButton>(button)->click(); }

    QTemporaryDir m_folder;
    QRectF m_area; ///< of the design, database units
    simulator::Simulator m_microscope;
    QScopedPointer<KLayoutSession> m_session;
};

void tst_klayout::initTestCase()
{
    simulator::Options options;
    options.port = 0;
    options.designFile = SAMPLE_LAYOUT;
    options.rotationDegrees = 7;
    options.scale = 1.015;
    options.offsetMm = QPointF(0.35, -0.2);
    options.stageSpeedMmPerSecond = 0;
    options.scan.rowsPerMessage = frameSize;
    QString error;
    QVERIFY2(m_microscope.start(options, &error), qPrintable(error));
    m_session.reset(new KLayoutSession(&m_microscope));
    QVERIFY(m_session->host());
    for (const char *dock : { "semPanelDock", "semImageDock" })
        QVERIFY2(!m_session->widget<QWidget>(dock)->isHidden(), dock);
    m_session->window->resize(1400, 1000);
    evaluate("window.load_layout('" SAMPLE_LAYOUT "', 1)");
    QTRY_VERIFY(m_session->canvas() && m_session->view().zoom > 0);
    const QList<QByteArray> box =
        evaluate("'%d %d %d %d' % (lambda b: (b.left, b.bottom, b.right, b.top))"
                 "(view.active_cellview().cell.bbox())")
            .split(' ');
    m_area =
        QRectF(QPointF(box[0].toInt(), box[1].toInt()), QPointF(box[2].toInt(), box[3].toInt()));
    m_session->connectLive();
    m_session->chooseDetector();
}

QPointF tst_klayout::crossAt(int number) const
{
    const QList<QByteArray> at =
        evaluate("next('%d %d' % (t.text.x, t.text.y) for cv in [view.active_cellview()]"
                 " for l in cv.layout().layer_indexes() for t in cv.cell.shapes(l).each()"
                 " if t.is_text() and t.text.string == 'ALIGN_"
                 + QByteArray::number(number) + "')")
            .split(' ');
    return QPointF(at[0].toInt(), at[1].toInt());
}

/// One round of alignment at the cross of this pair, as a user does it: to the cross, start, find
/// it, drag the image until it lies on the design, confirm.
void tst_klayout::alignAt(int pair, double fieldMm)
{
    KLayoutSession &session = *m_session;
    const QPointF design = crossAt(pair);
    const QByteArray row = "align" + QByteArray::number(pair);
    session.showView(design, fieldMm);
    press(row);
    QCOMPARE(evaluate("view.mode_name()"), QByteArray("sem_hand"));
    session.moveStageToView(design, fieldMm);
    const Cross cross = session.lookForCross(fieldMm);
    QVERIFY2(cross.found, qPrintable(QString("no cross %1 in %2 mm").arg(pair).arg(fieldMm)));
    if (pair == 1 && fieldMm == fineFieldMm)
        session.turnAndScale(cross, design);
    session.dragPixelTo(cross.centre, design);
    press(row);
    QCOMPARE(evaluate("view.mode_name()"), QByteArray("select"));
    session.waitForPolls();
}

/// Moves the stage over the whole design and compares the drawn image with the truth; returns the
/// largest error in pixels.
double tst_klayout::measure(int pairs)
{
    double centre = 0, frame = 0;
    const QRectF area = m_area.adjusted(1e5, 1e5, -1e5, -1e5);
    for (int row = 0; row < 3; ++row)
        for (int column = 0; column < 4; ++column) {
            const QPointF offset(area.width() * column / 3, area.height() * row / 2);
            m_session->moveStageToView(area.topLeft() + offset, fineFieldMm);
            centre = qMax(centre, m_session->worstPixels(0));
            frame = qMax(frame, m_session->worstPixels(frameSize / 2));
        }
    const double unit = m_session->pixelSize();
    qInfo("%d pair%s: image centre off by %.0f nm = %.2f pixels at most, anywhere in the image "
          "%.0f nm = %.2f pixels",
          pairs, pairs == 1 ? "" : "s", centre * unit, centre, frame * unit, frame);
    if (pairs == 3)
        [centre] { QVERIFY2(centre < 0.1, qPrintable(QString::number(centre))); }();
    return frame;
}

void tst_klayout::threePairsBringEverythingInRegister()
{
    m_session->moveStageToView(crossAt(1), 0.8);
    QVERIFY(m_session->statusLine().startsWith("not aligned"));
    m_session->keepPicture("register-before.png");
    for (double fieldMm : { wideFieldMm, middleFieldMm, fineFieldMm }) {
        alignAt(1, fieldMm);
        if (QTest::currentTestFailed())
            return;
    }
    const double one = measure(1);
    showState("one-pair.png", "one pair: turn and scale are assumed");
    for (double fieldMm : { wideFieldMm, fineFieldMm })
        alignAt(2, fieldMm);
    const double two = measure(2);
    showState("two-pairs.png", "two pairs");
    alignAt(3, fineFieldMm);
    const double three = measure(3);
    QVERIFY(one > 10); // or there was nothing to align
    QVERIFY(two < one);
    QVERIFY2(three < 1, qPrintable(QString::number(three)));
    m_session->moveStageToView(crossAt(1), 0.8);
    QVERIFY(m_session->statusLine().startsWith("three pairs"));
    m_session->keepPicture("register-after.png");
    auto *contours = m_session->widget<QCheckBox>("contours");
    contours->click();
    m_session->showView(m_area.center(), 2.2);
    m_session->keepPicture("predicted-error.png");
    contours->click();
}

void tst_klayout::moveStageToViewFindsAnyPlace()
{
    QRandomGenerator random(7);
    double worst = 0;
    for (int i = 0; i < 10; ++i) {
        const QPointF wanted(qRound(m_area.left() + random.generateDouble() * m_area.width()),
                             qRound(m_area.top() + random.generateDouble() * m_area.height()));
        m_session->moveStageToView(wanted, 0.08 * std::pow(12.5, random.generateDouble()));
        // KLayout shows whole pixels, so its view is not quite the one asked for.
        const QPointF off = m_session->truth().map(frameCentre) - m_session->view().centre;
        worst = qMax(worst, length(off) / m_session->pixelSize());
    }
    qInfo("move stage to view: at most %.2f pixels from the image centre", worst);
    QVERIFY(worst < 1);
}

/// The cross of the image against the cross of the layout, both measured on the screen.
void tst_klayout::canvasShowsImageWhereTheLayoutIs()
{
    m_session->moveStageToView(crossAt(4), fineFieldMm);
    m_session->waitForFrames(3);
    const double zoom = m_session->view().zoom * unitsPerMm; // pixels per mm
    const auto measured = [&] {
        m_session->waitForFrames(1);
        const QImage screen = m_session->canvas()->grab().toImage();
        const Cross cross = findCross(screen, armLengthMm * zoom, armWidthMm * zoom);
        return measureCross(screen, cross, armLengthMm * zoom, armWidthMm * zoom);
    };
    const QByteArray everyLayer = "[setattr(l, '%1', %2) for l in view.each_layer()]";
    const auto setLayers = [&](const char *name, const char *value) {
        evaluate(QByteArray(everyLayer).replace("%1", name).replace("%2", value));
        evaluate("view.update_content()");
        QTest::qWait(500);
    };
    const QByteArray layers = m_folder.filePath("layers.lyp").toUtf8();
    const QByteArray ground = evaluate("view.get_config('background-color')");
    evaluate("view.save_layer_props('" + layers + "')");
    setLayers("visible", "False");
    const Cross image = measured();
    setLayers("visible", "True");
    setLayers("dither_pattern", "0"); // solid
    setLayers("fill_color", "0xffffff");
    setLayers("frame_color", "0xffffff");
    evaluate("view.set_config('background-color', '#000000')");
    m_session->background()->setVisible(false);
    const Cross layout = measured();
    m_session->background()->setVisible(true);
    QVERIFY(image.found && layout.found);
    evaluate("view.load_layer_props('" + layers + "')");
    evaluate("view.set_config('background-color', '" + ground + "')");
    const QPointF off = image.centre - layout.centre;
    qInfo("on the canvas: %.2f, %.2f screen pixels apart", off.x(), off.y());
    QVERIFY(length(off) < 1);
}

/// From a place that is wrong by a fifth of the image; and not where there is nothing.
void tst_klayout::imageIsFoundInTheDesign()
{
    m_session->moveStageToView(crossAt(2), fineFieldMm);
    m_session->waitForFrames(8);
    const hosting::Placement placed = m_session->drawn();
    const double pixel = m_session->pixelSize();
    evaluate("window.menu().action('tools_menu.sem_image.hand').trigger()");
    const hosting::Placement wrong =
        placed.moved(QPointF(-80, 60) * pixel).turned(m_session->background()->centre(), 1.5);
    m_session->background()->setPlacement(wrong);
    QVERIFY(m_session->worstPixels(frameSize / 2) > 90);
    QTest::keyClick(m_session->canvas(), Qt::Key_F);
    QTRY_VERIFY2_WITH_TIMEOUT(m_session->worstPixels(frameSize / 2) < 1,
                              qPrintable(QString::number(m_session->worstPixels(frameSize / 2))),
                              patienceMs);
    qInfo("found, off by %.2f pixels", m_session->worstPixels(frameSize / 2));
    QTest::keyClick(m_session->canvas(), Qt::Key_Z, Qt::ControlModifier);
    QVERIFY(m_session->drawn() == wrong);
    QTest::keyClick(m_session->canvas(), Qt::Key_Z, Qt::ControlModifier);
    QVERIFY(m_session->drawn() == placed);

    m_session->moveStageToView(m_area.topLeft() - QPointF(1, 1) * 1e6, fineFieldMm);
    m_session->waitForFrames(8);
    const hosting::Placement beside = m_session->drawn();
    QTest::keyClick(m_session->canvas(), Qt::Key_F);
    const auto isRefused = [this] {
        const QList<QLabel *> labels = m_session->window->findChildren<QLabel *>();
        return std::any_of(labels.begin(), labels.end(), [](const QLabel *label) {
            return label->text().contains("SEM: Not found.");
        });
    };
    QTRY_VERIFY_WITH_TIMEOUT(isRefused(), patienceMs);
    QVERIFY(m_session->drawn() == beside);
    QTest::keyClick(m_session->canvas(), Qt::Key_Escape);
}

/// Whatever the user does to view and layout, the image is where it belongs, or not seen.
void tst_klayout::imageFollowsTheLayout()
{
    const auto turn = [](const char *angle) {
        evaluate("view.set_config('global-trans', '" + QByteArray(angle) + " 0,0')");
    };
    const auto setUnit = [](const char *micrometres) {
        evaluate("setattr(view.active_cellview().layout(), 'dbu', " + QByteArray(micrometres)
                 + ")");
    };
    const auto navigate = [](const char *on) {
        evaluate("window.set_config('show-navigator', '" + QByteArray(on) + "')");
    };
    m_session->moveStageToView(crossAt(2), fineFieldMm);
    navigate("true");
    QTest::qWait(1000);
    QVERIFY(m_session->canvasShowsImage());
    navigate("false"); // KLayout crashes if it ends with it
    turn("r90");
    QTRY_VERIFY(!m_session->canvasShowsImage());
    press("stageToView"); // nowhere: what is seen is no view that could be told
    turn("r0");
    QTRY_VERIFY_WITH_TIMEOUT(m_session->canvasShowsImage(), patienceMs);
    // Editing a cell in its place: the coordinates stay those of the cell around it.
    evaluate(
        "view.cellview(0).descend([pya.InstElement(next(view.cellview(0).cell.each_inst()))])");
    QTest::qWait(1000);
    QVERIFY(m_session->isAligned() && m_session->canvasShowsImage());
    evaluate("view.cellview(0).ascend()");
    setUnit("0.002"); // another design, of which no alignment fits
    QTRY_VERIFY_WITH_TIMEOUT(!m_session->isAligned(), patienceMs);
    setUnit("0.001");
    verifyRestored(2);
}

void tst_klayout::outlinesAreNotSaved()
{
    const QByteArray patterns = "[layer.dither_pattern for layer in view.each_layer()]";
    const QByteArray users = evaluate(patterns), hollow = evaluate("[1] * len(" + patterns + ")");
    const auto outlines = m_session->widget<QAbstractButton>("outlineOnly");
    outlines->click();
    QCOMPARE(evaluate(patterns), hollow);
    QByteArray whileSaving;
    QTimer::singleShot(2000, [&] {
        whileSaving = evaluate(patterns);
        QApplication::activeModalWidget()->close();
    });
    evaluate("window.call_menu('cm_save_session')");
    QCOMPARE(whileSaving, users);
    QTRY_COMPARE(evaluate(patterns), hollow);
    outlines->click();
    QCOMPARE(evaluate(patterns), users);
}

void tst_klayout::cloneLiesWhereTheImageLay()
{
    evaluate("window.menu().action('tools_menu.sem_image.clone').trigger()");
    const QList<QByteArray> box =
        evaluate("'%r %r %r %r' % (lambda b: (b.left, b.bottom, b.right, b.top))"
                 "([image.box() for image in view.each_image()][-1])")
            .split(' ');
    const QRectF live = m_session->background()->outline().boundingRect();
    const double limit = m_session->pixelSize() / 1000;
    QVERIFY(std::abs(box.value(0).toDouble() * 1000 - live.left()) < limit);
    QVERIFY(std::abs(box.value(3).toDouble() * 1000 - live.bottom()) < limit);
    m_session->widget<QListWidget>("clones")->item(0)->setCheckState(Qt::Unchecked);
    QCOMPARE(evaluate("[image.visible for image in view.each_image()]"), QByteArray("[False]"));
    const QImage file(evaluate("[image.filename() for image in view.each_image()][0]"));
    QCOMPARE(file.text("Design"), QString("SAMPLECHIP/CHIP"));
    QVERIFY(!file.text("PositionMicrometres").isEmpty() && !file.text("CreationTime").isEmpty());
    evaluate("window.save_session('" + m_folder.filePath("session").toUtf8() + "')");
    QFile session(m_folder.filePath("session"));
    QVERIFY(session.open(QIODevice::ReadOnly) && session.readAll().contains("sem-clones"));
}

/// A slip in a row costs nothing: the doubt is spoken out, and Esc brings the alignment back.
void tst_klayout::startedRowIsGivenUp()
{
    auto *row = m_session->widget<QPushButton>("align3");
    QTest::mouseClick(row, Qt::LeftButton);
    QTRY_VERIFY(m_session->statusLine().startsWith("being aligned: pair 3"));
    QString question;
    QTimer::singleShot(1000, [&question] {
        if (auto *box = qobject_cast<QMessageBox *>(QApplication::activeModalWidget())) {
            question = box->text();
            box->button(QMessageBox::No)->click();
        }
    });
    QTest::mouseClick(row, Qt::LeftButton);
    QTRY_VERIFY(question.contains("not moved"));
    m_session->moveStageToView(crossAt(4), fineFieldMm);
    QVERIFY(QLineF(m_session->background()->centre(), m_session->view().centre).length() < 1e3);
    m_session->drag(crossAt(4), QPointF(120, 80), Qt::NoModifier);
    m_session->keepPicture("row-in-work.png");
    QTest::keyClick(m_session->canvas(), Qt::Key_Escape);
    verifyRestored(1);
    showState("restored.png", "restored: three pairs");
}

void tst_klayout::showState(const char *picture, const char *line)
{
    m_session->moveStageToView(crossAt(1), 0.8);
    const QString shown = m_session->statusLine();
    QVERIFY2(shown.startsWith(line), qPrintable(shown));
    m_session->keepPicture(picture);
}

/// In the first picture, before the stage has moved.
void tst_klayout::verifyRestored(int cross)
{
    QTRY_VERIFY_WITH_TIMEOUT(m_session->isAligned(), patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_session->background()->isShown(), patienceMs);
    const double first = m_session->worstPixels(frameSize / 2);
    m_session->moveStageToView(crossAt(cross), fineFieldMm);
    const double later = m_session->worstPixels(frameSize / 2);
    qInfo("restored: off by %.2f pixels in the first picture, %.2f after a stage move", first,
          later);
    QVERIFY(first < 1 && later < 1);
}

void tst_klayout::alignmentComesBackWithItsDesign()
{
    m_session->moveStageToView(crossAt(1), 0.8);
    press("disconnectButton");
    QTRY_VERIFY(m_session->statusLine().startsWith("not connected since"));
    m_session->keepPicture("disconnected.png", 0);
    press("connectButton");
    verifyRestored(3);
    if (QTest::currentTestFailed())
        return;
    // Another design in a tab of its own: the image stays where it is until it is wanted there.
    evaluate("window.create_layout(1).layout().create_cell('ANOTHER')");
    evaluate("view.select_cell(0, 0)");
    QTest::qWait(1000);
    QVERIFY(m_session->isAligned());
    press("takeTab");
    QTRY_VERIFY_WITH_TIMEOUT(!m_session->isAligned(), patienceMs);
    QTRY_VERIFY_WITH_TIMEOUT(m_session->background()->isShown(), patienceMs);
    evaluate("window.select_view(0)");
    QTest::qWait(1000);
    QVERIFY(!m_session->isAligned());
    press("takeTab");
    verifyRestored(4);
}

/// One that accepts the connection and never answers: what to check stands over the design.
void tst_klayout::silentMicroscopeIsTold()
{
    QTcpServer silent;
    QVERIFY(silent.listen(QHostAddress::LocalHost));
    m_session->showView(crossAt(1), 0.8);
    press("disconnectButton");
    m_session->widget<QSpinBox>("port")->setValue(silent.serverPort());
    press("connectButton");
    QTRY_VERIFY_WITH_TIMEOUT(m_session->advice().contains("does not answer"), patienceMs);
    m_session->keepPicture("advice.png", 0);
}

TEST_WITHIN_KLAYOUT(tst_klayout)
#include "tst_klayout.moc"
