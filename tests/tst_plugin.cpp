// What the host gets and the microscope is told while a user works with the panel.

#include "tests/pluginfixture.h"

#include <QLabel>
#include <QtTest>

#include <numeric>

namespace {
QString enabled(const PluginFixture &host, const QStringList &widgets)
{
    QString enabled;
    for (const QString &name : widgets)
        enabled += host.widget(qPrintable(name))->isEnabled() ? '+' : '-';
    return enabled;
}

QString liveWidgets(const PluginFixture &host)
{
    return enabled(host, { "detector", "dwellTime", "imageSize", "freezeButton" });
}

QImage filled(int edge, QRgb colour)
{
    QImage image(edge, edge, QImage::Format_ARGB32);
    image.fill(colour);
    return image;
}

/// Two bars four pixels wide, white in the upper left and lower right quadrant, black in the
/// others.
QImage cross(int edge)
{
    QImage image = filled(edge, 0x32646464);
    const int centre = edge / 2;
    for (int y = 0; y < edge; ++y)
        for (int x = 0; x < edge; ++x)
            if (qBound(centre - 2, x, centre + 1) == x || qBound(centre - 2, y, centre + 1) == y)
                image.setPixel(x, y, (x < centre) == (y < centre) ? 0xFFFFFFFF : 0xFF000000);
    return image;
}

/// All texts of the panel, sorted.
QString textsOf(const QWidget *panel)
{
    QStringList texts;
    for (const QWidget *widget : panel->findChildren<QWidget *>(QRegularExpression("^[^q]")))
        texts << widget->property("title").toString() + widget->property("text").toString();
    texts.removeAll("");
    texts.sort();
    return texts.join('|');
}
} // namespace

class TestPlugin : public QObject {
    Q_OBJECT

private slots:
    void lifeWithoutMicroscope();
    void panelTexts();
    void panelUse();
    void detectorList();
    void userActions();
    void composed();
    void reminder();
};

void TestPlugin::lifeWithoutMicroscope()
{
    PluginFixture host;
    std::iota(host.values, host.values + 7, 1.0);
    host.plugin->close();
    host.plugin->setDatabaseUnits(1e-6);
    host.getView();
    host.plugin->getDesignName("chipA");
    host.getPos();
    for (int i = 0; i < 7; ++i)
        QCOMPARE(host.values[i], i + 1.0);
    QVERIFY(host.plugin->getImage().isNull() && host.events.isEmpty());
    host.plugin->init();
    host.plugin->init();
    QCOMPARE(host.events, QStringList({ "addWidget", "imageUpdate" }));
    QCOMPARE(host.panelName, QString("TESCAN"));
    QCOMPARE(liveWidgets(host), QString("----"));
    QCOMPARE(enabled(host, { "align1", "align2", "align3", "alignClear" }), QString("----"));
    QCOMPARE(host.corner(), 0x00646464u);
    QVERIFY(host.widget<QAbstractButton>("displayCross")->isChecked());
    host.destroy();
    QVERIFY(!host.panel);
}

void TestPlugin::panelTexts()
{
    PluginFixture host;
    host.plugin->init();
    QCOMPARE(
        textsOf(host.panel),
        QString(
            "1.|127.0.0.1|2.|3.|8300|TESCAN - SEM|clear alignment|clone live "
            "image|connect|cross|detector|disconnect|display|dwell time|host ip|image size|live "
            "image|move stage to view|none|not connected|port|rectangle box|start alignment|start "
            "alignment|start alignment|status|sync views|view stage position|wafer align"));
    QCOMPARE(host.items("dwellTime"),
             QString("100ns|300ns|500ns|1000ns|2000ns|5000ns|10000ns|20000ns|50000ns|100000ns"));
    QCOMPARE(host.items("imageSize"),
             QString("512x512|768x768|1024x1024|1536x1536|2048x2048|"
                     "3072x3072|4096x4096|8192x8192"));
    QVERIFY(QImage(300, 300, QImage::Format_RGB32).save(host.settingsDir.filePath("a.png")));
    const QByteArray markup = "<img src=\"" + host.settingsDir.filePath("a.png").toLatin1() + "\">";
    host.microscope.answers["TcpGetVersion"] = wire::text(markup);
    QVERIFY(host.connectAll());
    SPIN_COMPARE(host.text("infoText"),
                 QString("Under Development\n\nPlease mail a screen copy\nof this dialog "
                         "to\n" SEM_SUPPORT_ADDRESS
                         "\nto support its development\n\nThanks you!\n\n"
                         "Version: "
                         + markup));
    QMetaObject::invokeMethod(host.panel, "setStatus", Q_ARG(QString, markup));
    for (const char *name : { "infoText", "statusDisplay" }) // text, never the picture
        QVERIFY(host.widget<QLabel>(name)->heightForWidth(2000) < 300);
}

void TestPlugin::panelUse()
{
    PluginFixture host({ { "display", 0 } });
    host.plugin->init();
    for (const char *control : { "QAbstractButton", "QComboBox", "QSpinBox" })
        for (const QWidget *widget : host.panel->findChildren<QWidget *>())
            QVERIFY2(!widget->inherits(control) || !widget->toolTip().isEmpty(), control);
    host.panel->show();
    for (const char *field : { "host", "port" }) { // Return connects
        host.widget<QLineEdit>("host")->setText("127.0.0.1");
        host.widget<QSpinBox>("port")->setValue(host.microscope.port());
        QTest::keyClick(host.widget(field), Qt::Key_Return);
        SPIN_COMPARE(host.page(), 1);
        host.use("disconnectButton");
        SPIN_VERIFY(host.microscope.isAlone());
    }
    const auto tell = [&](const QString &status) {
        QMetaObject::invokeMethod(host.panel, "setStatus", Q_ARG(QString, status));
    };
    tell("connected");
    auto *list = host.widget<QComboBox>("dwellTime");
    for (const bool focused : { false, true }) {
        focused ? list->setFocus() : list->clearFocus();
        SPIN_VERIFY(list->hasFocus() == focused);
        const QString before = list->currentText();
        QWheelEvent wheel({ 5, 5 }, list->mapToGlobal(QPoint(5, 5)), {}, { 0, -120 }, Qt::NoButton,
                          Qt::NoModifier, Qt::NoScrollPhase, false);
        QCoreApplication::sendEvent(list, &wheel);
        QCOMPARE(list->currentText() != before, focused);
    }
    const int width = host.panel->minimumSizeHint().width();
    const QString text =
        "a long word: " + QString(1000, 'W') + ", and " + QString("more ").repeated(1000);
    tell("disconnected");
    tell(text);
    for (int i = 0; i < 3000; ++i)
        tell(QString("info: the information number %1").arg(i));
    tell("info: " + text);
    for (int i = 0; i < 9; ++i) // a layout has the next one do its part
        QCoreApplication::processEvents();
    QCOMPARE(host.text("statusDisplay"), text);
    QVERIFY(host.widget("statusDisplay")->toolTip().contains(text));
    QCOMPARE(host.panel->minimumSizeHint().width(), width);
    QVERIFY(host.panel->minimumSizeHint().height() < 2000);
    const QString info = host.text("infoText");
    QVERIFY(info.startsWith("Under Development\n")
            && info.contains("!\n\nthe information number "));
    QVERIFY(info.endsWith("\nthe information number 2999\n" + text) && info.size() <= 65536);
    auto *label = host.widget<QLabel>("infoText");
    QList<QImage> seen; // of a label that has no room for all
    for (const char *newest : { "info: one", "info: another" }) {
        tell(newest);
        label->resize(200, 3 * label->fontMetrics().lineSpacing());
        seen << label->grab().toImage();
    }
    QVERIFY(seen[0] != seen[1]);
}

void TestPlugin::detectorList()
{
    const char *const two = "det.0.name=SE\ndet.0.detector=0\ndet.1.name=BSE\ndet.1.detector=1\n";
    const struct {
        QString enumeration;
        int index;
        QString items, selected; // the items come on top of those before
    } rows[] = { { "", 3, "", "" },
                 { two, 1, "0 - SE|1 - BSE", "1 - BSE" },
                 { two, 7, "|0 - SE|1 - BSE", "0 - SE" },
                 { "a.name=X\na=5", 5, "|5 - X", "" }, // the number is no position
                 { "=\nnonsense\na=b=c\n.name.x=N\n=4", 0, "| - |4 - N", "0 - SE" },
                 { "n=2\nx.name=late\nn=3", 2, "|2 - |3 - late", "0 - SE" } };
    PluginFixture host;
    host.plugin->init();
    QString items;
    for (const auto &row : rows) {
        QMetaObject::invokeMethod(host.panel, "detectorInfo", Q_ARG(QString, row.enumeration),
                                  Q_ARG(int, row.index));
        QCOMPARE(host.items("detector"), items += row.items);
        QCOMPARE(host.text("detector"), row.selected);
    }
}

void TestPlugin::userActions()
{
    const QString gain = "DtGetGainBlack 0 ", stop = "ScStopScan ", contrast = "DtAutoSignal[9] 0 ";
    const QString select0 = "DtSelect 0 0 DtEnable 0 1 8 ",
                  select1 = "DtSelect 0 1 DtEnable 0 1 8 ";
    const QString scan = "ScScanXY[9] 0 768 768 0 0 767 767 0 ";
    const QString resized = "imageUpdate|posUpdate", redrawn = "imageUpdate";
    const struct {
        QString used, status, commands, events;
        int edge, alpha;
    } steps[] = {
        { "768x768", "adjust size", stop + scan + "500 ", resized, 768, 0xFF },
        { "1 - BSE - low", "set detector", gain + stop + select1 + contrast + scan + "500 ", "",
          768, 0xFF },
        { "100000ns", "adjust dwell", stop + scan + "100000 ", "", 768, 0xFF },
        { "displayBox", "scanning stoped", stop, redrawn, 768, 0x80 },
        { "1024x1024", "adjust size", stop, resized + '|' + redrawn, 1024, 0x80 },
        { "displayBox", "adjust size", "", "", 1024, 0x80 },
        { "displayCross", "adjust size", "", redrawn, 1024, 0x32 },
        { "100ns", "adjust dwell", stop, "", 1024, 0x32 },
        { "0 - SE", "set detector", gain + stop + select0, "", 1024, 0x32 },
        { "768x768", "adjust size", stop, resized + '|' + redrawn, 768, 0x32 },
        { "displayNone", "adjust size", "", redrawn, 768, 0 },
        { "displayLive", "optimizing contrast", stop + select0 + contrast + scan + "100 ", redrawn,
          768, 0xFF },
    };
    PluginFixture host({ { "display", 0 } });
    QVERIFY(host.place());
    const QByteArray list = wire::text("d.name=SE\nd=0\nd.name=BSE - low\nd=1");
    host.microscope.reply(wire::message("DtEnumDetectors", list));
    SPIN_COMPARE(host.items("detector"), QString("0 - SE|1 - BSE - low"));
    QCOMPARE(host.text("statusDisplay"), QString("start scanning")); // it is selected already
    SPIN_VERIFY(host.microscope.polls() > 0); // all that was sent before has arrived
    host.forget();
    QString commands;
    for (const auto &step : steps) {
        host.events.clear();
        host.use(step.used);
        commands += step.commands;
        SPIN_COMPARE(host.microscope.commands().join(' ') + ' ', commands);
        QCOMPARE(host.events.join('|'), step.events);
        QCOMPARE(host.text("statusDisplay"), step.status);
        QCOMPARE(host.plugin->getImage().width(), step.edge);
        QCOMPARE(host.values[2], 1e6 / step.edge);
        QCOMPARE(host.corner(), QRgb(step.alpha << 24 | 0x646464));
        QCOMPARE(liveWidgets(host), QString(step.alpha == 0xFF ? "++++" : "----"));
    }
    for (const char *text : { "0x0", "-5x5", "99999999x1", "x", "nonsense", "" })
        QMetaObject::invokeMethod(host.object, "newImageSize", Q_ARG(QString, text));
    QCOMPARE(host.plugin->getImage().width(), 768);
    // Scan data reaches the host in any mode, and its picture only in the live one.
    host.use("displayNone");
    host.forget();
    host.microscope.scan(wire::scanData(0, "\x20"));
    SPIN_COMPARE(host.events, QStringList("imageUpdate"));
    QCOMPARE(host.corner(), 0x00646464u);
    host.use("displayLive");
    QCOMPARE(host.corner(), 0xFF202020);
}

void TestPlugin::composed()
{
    const QPair<int, QImage> images[] = { { 1, filled(512, 0x80646464) },
                                          { 3, filled(512, 0x00646464) },
                                          { 2, cross(512) },
                                          { 2, cross(9) },
                                          { 2, cross(1) } };
    for (const auto &image : images) {
        PluginFixture host({ { "display", image.first }, { "imageSize", image.second.width() } });
        QVERIFY(host.place());
        QCOMPARE(host.plugin->getImage(), image.second);
    }
}

void TestPlugin::reminder()
{
    PluginFixture host;
    host.plugin->init();
    host.plugin->close();
    host.plugin->getImage();
    host.events.clear();
    QElapsedTimer elapsed;
    elapsed.start();
    SPIN_COMPARE(host.events, QStringList("imageUpdate"));
    QVERIFY(elapsed.elapsed() > 4500);
}

QTEST_MAIN(TestPlugin)
#include "tst_plugin.moc"
