#include "panel/semcontrol.h"

#include <QtTest>

namespace {
QString describe(QLayoutItem *item);

/// A widget with its text or title and what is in it: the pages of a stack, the items of a layout,
/// the rows of a grid.
QString describe(QWidget *widget)
{
    const QString text = widget->property("title").toString() + widget->property("text").toString();
    return widget->objectName() + (text.isEmpty() ? text : '=' + text)
        + (widget->layout() ? describe(widget->layout()) : QString());
}

QString describe(QLayoutItem *item)
{
    if (!item || item->spacerItem())
        return "-";
    if (item->widget())
        return describe(item->widget());
    QStringList texts;
    if (QGridLayout *grid = qobject_cast<QGridLayout *>(item->layout()))
        for (int i = 0; i < grid->rowCount() * 3; ++i)
            texts << describe(grid->itemAtPosition(i / 3, i % 3));
    else
        for (int i = 0; i < item->layout()->count(); ++i)
            texts << describe(item->layout()->itemAt(i));
    return '(' + texts.join(' ') + ')';
}

QString items(const QComboBox *list)
{
    QStringList texts;
    for (int i = 0; i < list->count(); ++i)
        texts << list->itemText(i);
    return texts.join('|');
}

const QString notice =
    "Under Development\n\nPlease mail a screen copy\nof this dialog to\n" SEM_SUPPORT_ADDRESS
    "\nto support its development\n\nThanks you!\n";
} // namespace

class TestPanel : public QObject {
    Q_OBJECT

private slots:
    void form();
    void statuses();
    void markupStaysText();
    void detectors_data();
    void detectors();
};

void TestPanel::form()
{
    semControl panel;
    QCOMPARE(
        describe(&panel),
        QString("semControlWidget(label=TESCAN - SEM stackedWidget("
                "page(groupBox=host ip(host=localhost) groupBox_2=port(port=8300) "
                "connectButton=connect infoText -) "
                "page_2(groupBox_7=display(displayNone=none displayBox=rectangle box "
                "displayCross=cross displayLive=live image "
                "(- labelDetector=detector detector - - - - - - - label_3=dwell time dwellTime "
                "- label_4=image size imageSize) freezeButton=clone live image) "
                "waferalign=wafer align(label_5=1. align1=start alignment align1status "
                "label_6=2. align2=start alignment align2status "
                "label_2=3. align3=start alignment align3status - alignClear=clear alignment -) "
                "groupBox_4=sync views(stageToView=move stage to view "
                "viewToStage=view stage position) - disconnectButton=disconnect)) "
                "groupBox_3=status(statusDisplay=not connected))"));
    QCOMPARE(panel.size(), QSize(246, 933));
    QCOMPARE(panel.stackedWidget->currentIndex(), 0);
    QCOMPARE(panel.port->minimum(), 0);
    QCOMPARE(panel.port->maximum(), 64538);
    QVERIFY(panel.infoText->wordWrap() && panel.displayCross->isChecked());
    QCOMPARE(panel.gridLayout_2->columnStretch(1), 3);
    QCOMPARE(items(panel.dwellTime),
             QString("100ns|300ns|500ns|1000ns|2000ns|5000ns|10000ns|20000ns|50000ns|100000ns"));
    QCOMPARE(
        items(panel.imageSize),
        QString("512x512|768x768|1024x1024|1536x1536|2048x2048|3072x3072|4096x4096|8192x8192"));
    QCOMPARE(panel.detector->currentIndex(), -1);
}

void TestPanel::statuses()
{
    const struct {
        const char *text;
        int page;
        QString status;
        QString information;
    } steps[] = { { "connecting...", 0, "connecting...", "" },
                  { "info: one", 0, "connecting...", notice + "\none" },
                  { "connected!", 1, "connected!", notice + "\none" },
                  { "info:xy", 1, "connected!", notice + "\none\ny" },
                  { "disconne", 1, "disconne", notice + "\none\ny" },
                  { "", 1, "", notice + "\none\ny" },
                  { "disconnected...", 0, "disconnected...", notice + "\none\ny" },
                  { "Connected", 0, "Connected", notice + "\none\ny" } };
    semControl panel;
    for (const auto &step : steps) {
        panel.setStatus(step.text);
        QCOMPARE(panel.stackedWidget->currentIndex(), step.page);
        QCOMPARE(panel.statusDisplay->text(), step.status);
        QCOMPARE(panel.infoText->text(), step.information);
    }
}

void TestPanel::markupStaysText()
{
    QTemporaryDir folder;
    QVERIFY(QImage(300, 300, QImage::Format_RGB32).save(folder.filePath("picture.png")));
    const QString markup = "<img src=\"" + folder.filePath("picture.png") + "\">";
    semControl panel;
    panel.setStatus(markup);
    panel.setStatus("info: " + markup);
    for (const QLabel *label : { panel.statusDisplay, panel.infoText })
        QVERIFY(qMax(label->sizeHint().height(), label->heightForWidth(2000)) < 300);
}

void TestPanel::detectors_data()
{
    QTest::addColumn<QString>("enumeration");
    QTest::addColumn<int>("index");
    QTest::addColumn<QString>("entries");
    QTest::addColumn<int>("selected");
    const auto row = [](const char *name, const char *enumeration, int index, const char *entries,
                        int selected) {
        QTest::newRow(name) << enumeration << index << entries << selected;
    };
    const char *const two = "det.0.name=SE\ndet.0.detector=0\ndet.1.name=BSE\ndet.1.detector=1\n";
    row("second selected", two, 1, "0 - SE|1 - BSE", 1);
    row("selected one missing", two, 7, "0 - SE|1 - BSE", 0);
    row("nothing", "", 3, "", -1);
    row("number is no position", "a.name=X\na=5", 5, "5 - X", -1);
    row("skipped lines", "=\nnonsense\na=b=c\n.name.x=N\n=4", 0, " - |4 - N", 0);
    row("entry before its name", "n=2\nx.name=late\nn=3", 0, "2 - |3 - late", 0);
    row("text counts as 0", "a.name=X\na=1\na=two", 0, "1 - X|two - X", 0);
}

void TestPanel::detectors()
{
    QFETCH(QString, enumeration);
    QFETCH(int, index);
    semControl panel;
    panel.detectorInfo(enumeration, index);
    QTEST(items(panel.detector), "entries");
    QTEST(panel.detector->currentIndex(), "selected");
    panel.detectorInfo("b.name=Y\nb=9", index); // comes on top
    QVERIFY(items(panel.detector).endsWith("9 - Y"));
}

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
