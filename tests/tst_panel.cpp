#include "panel/semcontrol.h"

#include <QtTest>

namespace {
/// A widget of the form and its place: an item of a box layout, or a cell of a grid.
struct Place {
    const char *name;
    const char *className;
    const char *parent;
    const char *layout;
    int row; // item of a box layout
    int column; // -1 in a box layout
    const char *text; // or the title
};
const char *const none = nullptr;

const Place places[] = {
    { "label", "QLabel", "semControlWidget", "verticalLayout_9", 0, -1, "TESCAN - SEM" },
    { "stackedWidget", "QStackedWidget", "semControlWidget", "verticalLayout_9", 1, -1, none },
    { "page", "QWidget", "stackedWidget", none, 0, -1, none },
    { "groupBox", "QGroupBox", "page", "verticalLayout_3", 0, -1, "host ip" },
    { "host", "QLineEdit", "groupBox", "verticalLayout_5", 0, -1, "localhost" },
    { "groupBox_2", "QGroupBox", "page", "verticalLayout_3", 1, -1, "port" },
    { "port", "QSpinBox", "groupBox_2", "verticalLayout_4", 0, -1, "8300" },
    { "connectButton", "QPushButton", "page", "verticalLayout_3", 2, -1, "connect" },
    { "infoText", "QLabel", "page", "verticalLayout_3", 3, -1, "" },
    { "page_2", "QWidget", "stackedWidget", none, 1, -1, none },
    { "groupBox_7", "QGroupBox", "page_2", "verticalLayout_8", 0, -1, "display" },
    { "displayNone", "QRadioButton", "groupBox_7", "verticalLayout", 0, -1, "none" },
    { "displayBox", "QRadioButton", "groupBox_7", "verticalLayout", 1, -1, "rectangle box" },
    { "displayCross", "QRadioButton", "groupBox_7", "verticalLayout", 2, -1, "cross" },
    { "displayLive", "QRadioButton", "groupBox_7", "verticalLayout", 3, -1, "live image" },
    { "labelDetector", "QLabel", "groupBox_7", "gridLayout", 0, 1, "detector" },
    { "detector", "QComboBox", "groupBox_7", "gridLayout", 0, 2, none },
    { "label_3", "QLabel", "groupBox_7", "gridLayout", 3, 1, "dwell time" },
    { "dwellTime", "QComboBox", "groupBox_7", "gridLayout", 3, 2, none },
    { "label_4", "QLabel", "groupBox_7", "gridLayout", 4, 1, "image size" },
    { "imageSize", "QComboBox", "groupBox_7", "gridLayout", 4, 2, none },
    { "freezeButton", "QPushButton", "groupBox_7", "verticalLayout", 5, -1, "clone live image" },
    { "waferalign", "QGroupBox", "page_2", "verticalLayout_8", 1, -1, "wafer align" },
    { "label_5", "QLabel", "waferalign", "gridLayout_2", 0, 0, "1." },
    { "align1", "QPushButton", "waferalign", "gridLayout_2", 0, 1, "start alignment" },
    { "align1status", "QLabel", "waferalign", "gridLayout_2", 0, 2, "" },
    { "label_6", "QLabel", "waferalign", "gridLayout_2", 1, 0, "2." },
    { "align2", "QPushButton", "waferalign", "gridLayout_2", 1, 1, "start alignment" },
    { "align2status", "QLabel", "waferalign", "gridLayout_2", 1, 2, "" },
    { "label_2", "QLabel", "waferalign", "gridLayout_2", 2, 0, "3." },
    { "align3", "QPushButton", "waferalign", "gridLayout_2", 2, 1, "start alignment" },
    { "align3status", "QLabel", "waferalign", "gridLayout_2", 2, 2, "" },
    { "alignClear", "QPushButton", "waferalign", "gridLayout_2", 3, 1, "clear alignment" },
    { "groupBox_4", "QGroupBox", "page_2", "verticalLayout_8", 2, -1, "sync views" },
    { "stageToView", "QPushButton", "groupBox_4", "verticalLayout_2", 0, -1, "move stage to view" },
    { "viewToStage", "QPushButton", "groupBox_4", "verticalLayout_2", 1, -1,
      "view stage position" },
    { "disconnectButton", "QPushButton", "page_2", "verticalLayout_8", 4, -1, "disconnect" },
    { "groupBox_3", "QGroupBox", "semControlWidget", "verticalLayout_9", 2, -1, "status" },
    { "statusDisplay", "QLabel", "groupBox_3", "verticalLayout_6", 0, -1, "not connected" },
};

QStringList items(const QComboBox *list)
{
    QStringList texts;
    for (int i = 0; i < list->count(); ++i)
        texts << list->itemText(i);
    return texts;
}

const QString notice =
    "Under Development\n\nPlease mail a screen copy\nof this dialog to\n" SEM_SUPPORT_ADDRESS
    "\nto support its development\n\nThanks you!\n";
} // namespace

class TestPanel : public QObject {
    Q_OBJECT

private slots:
    void widgets_data();
    void widgets();
    void form();
    void statuses_data();
    void statuses();
    void markupStaysText();
    void detectors_data();
    void detectors();
};

void TestPanel::widgets_data()
{
    QTest::addColumn<int>("index");
    for (size_t i = 0; i < sizeof places / sizeof places[0]; ++i)
        QTest::newRow(places[i].name) << int(i);
}

void TestPanel::widgets()
{
    QFETCH(int, index);
    const Place &place = places[index];
    semControl panel;
    QWidget *widget = panel.findChild<QWidget *>(place.name);
    QVERIFY(widget);
    QCOMPARE(widget->metaObject()->className(), place.className);
    QCOMPARE(widget->parent()->objectName(), QString(place.parent));
    if (place.text)
        QCOMPARE(widget->property(qobject_cast<QGroupBox *>(widget) ? "title" : "text").toString(),
                 QString(place.text));
    QLayout *layout = panel.findChild<QLayout *>(place.layout);
    if (!place.layout)
        QCOMPARE(panel.stackedWidget->widget(place.row), widget);
    else if (QGridLayout *grid = qobject_cast<QGridLayout *>(layout))
        QCOMPARE(grid->itemAtPosition(place.row, place.column)->widget(), widget);
    else
        QCOMPARE(layout->itemAt(place.row)->widget(), widget);
}

void TestPanel::form()
{
    semControl panel;
    QCOMPARE(panel.objectName(), QString("semControlWidget"));
    QCOMPARE(panel.windowTitle(), QString("Form"));
    QCOMPARE(panel.size(), QSize(246, 933));
    QCOMPARE(panel.stackedWidget->currentIndex(), 0);
    QVERIFY(panel.infoText->wordWrap());
    QCOMPARE(panel.port->minimum(), 0);
    QCOMPARE(panel.port->maximum(), 64538);
    QVERIFY(panel.displayCross->isChecked());
    QCOMPARE(panel.waferalign->alignment(), Qt::AlignCenter);
    QCOMPARE(panel.label_2->alignment(), Qt::AlignRight | Qt::AlignVCenter);
    QCOMPARE(panel.gridLayout_2->columnStretch(1), 3);
    QCOMPARE(panel.gridLayout_2->columnStretch(0) + panel.gridLayout_2->columnStretch(2), 0);
    QCOMPARE(panel.gridLayout_2->columnMinimumWidth(1), 3);
    QCOMPARE(panel.verticalSpacer->sizeHint(), QSize(20, 374));
    QCOMPARE(panel.verticalSpacer_2->sizeHint(), QSize(20, 286));
    QCOMPARE(panel.verticalLayout_8->itemAt(3)->spacerItem(), panel.verticalSpacer_2);
    QCOMPARE(items(panel.dwellTime),
             QStringList({ "100ns", "300ns", "500ns", "1000ns", "2000ns", "5000ns", "10000ns",
                           "20000ns", "50000ns", "100000ns" }));
    QCOMPARE(items(panel.imageSize),
             QStringList({ "512x512", "768x768", "1024x1024", "1536x1536", "2048x2048", "3072x3072",
                           "4096x4096", "8192x8192" }));
    QCOMPARE(panel.dwellTime->currentIndex() + panel.imageSize->currentIndex(), 0);
    QCOMPARE(panel.detector->currentIndex(), -1);
}

void TestPanel::statuses_data()
{
    QTest::addColumn<QStringList>("texts");
    QTest::addColumn<int>("page");
    QTest::addColumn<QString>("status");
    QTest::addColumn<QString>("information");
    const auto row = [](QStringList texts, int page, QString status, QString information = "") {
        QTest::newRow(qPrintable(texts.join('|'))) << texts << page << status << information;
    };
    row({ "connected" }, 1, "connected");
    row({ "connected!" }, 1, "connected!");
    row({ "connecting..." }, 0, "connecting...");
    row({ "Connected" }, 0, "Connected");
    row({ "connecte" }, 0, "connecte");
    row({ "connected", "disconnec" }, 0, "disconnec");
    row({ "connected", "disconnected..." }, 0, "disconnected...");
    row({ "connected", "disconne" }, 1, "disconne");
    row({ "connected", "scanning..." }, 1, "scanning...");
    row({ "connected", "" }, 1, "");
    row({ "info: Version: 1" }, 0, "not connected", notice + "\nVersion: 1");
    row({ "info: one", "info: two" }, 0, "not connected", notice + "\none\ntwo");
    row({ "info:" }, 0, "not connected", notice + "\n");
    row({ "info:x", "info:xy" }, 0, "not connected", notice + "\n\ny");
    row({ "Info: one" }, 0, "Info: one");
}

void TestPanel::statuses()
{
    QFETCH(QStringList, texts);
    semControl panel;
    for (const QString &text : texts)
        panel.setStatus(text);
    QTEST(panel.stackedWidget->currentIndex(), "page");
    QTEST(panel.statusDisplay->text(), "status");
    QTEST(panel.infoText->text(), "information");
}

void TestPanel::markupStaysText()
{
    QTemporaryDir folder;
    QImage picture(300, 300, QImage::Format_RGB32);
    QVERIFY(picture.save(folder.filePath("picture.png")));
    const QString markup = "<img src=\"" + folder.filePath("picture.png") + "\">";
    semControl panel;
    panel.setStatus(markup);
    panel.setStatus("info: " + markup);
    for (const QLabel *label : { panel.statusDisplay, panel.infoText })
        QVERIFY(qMax(label->sizeHint().height(), label->heightForWidth(2000)) < 300);
}

void TestPanel::detectors_data()
{
    QTest::addColumn<QStringList>("enumerations");
    QTest::addColumn<int>("index");
    QTest::addColumn<QStringList>("entries");
    QTest::addColumn<int>("selected");
    const auto row = [](const char *name, QStringList enumerations, int index, QStringList entries,
                        int selected) {
        QTest::newRow(name) << enumerations << index << entries << selected;
    };
    const QString two = "det.0.name=SE\ndet.0.detector=0\ndet.1.name=BSE\ndet.1.detector=1\n";
    const QStringList both = { "0 - SE", "1 - BSE" };
    row("two", { two }, 0, both, 0);
    row("second selected", { two }, 1, both, 1);
    row("selected one missing", { two }, 7, both, 0);
    row("nothing", { "" }, 3, {}, -1);
    row("number is no position", { "a.name=X\na=5" }, 5, { "5 - X" }, -1);
    row("again", { two, two }, 1, both + both, 1);
    row("skipped lines", { "=\nnonsense\na=b=c\n.name.x=N\n=4" }, 0, { " - ", "4 - N" }, 0);
    row("entry before its name", { "n=2\nx.name=late\nn=3" }, 0, { "2 - ", "3 - late" }, 0);
    row("text counts as 0", { "a.name=X\na=1\na=two" }, 0, { "1 - X", "two - X" }, 0);
    row("carriage return", { "a.name=X\r\na=1\r" }, 1, { "1\r - X\r" }, -1);
}

void TestPanel::detectors()
{
    QFETCH(QStringList, enumerations);
    QFETCH(int, index);
    semControl panel;
    for (const QString &text : enumerations)
        panel.detectorInfo(text, index);
    QTEST(items(panel.detector), "entries");
    QTEST(panel.detector->currentIndex(), "selected");
}

QTEST_MAIN(TestPanel)
#include "tst_panel.moc"
