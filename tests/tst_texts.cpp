// Texts in other languages, and controls for those who see or point badly: the docks, with the library
// in the one and the package's own controls in the other.
#include "klayout/host.h"
#include "klayout/language.h"

#include <QAbstractButton>
#include <QAbstractItemView>
#include <QAbstractSlider>
#include <QAbstractSpinBox>
#include <QAccessible>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QRegularExpression>
#include <QScrollArea>
#include <QStackedWidget>
#include <QTranslator>
#include <QXmlStreamReader>
#include <QtTest>

namespace {

/// Every text is 40 % longer.
struct LongerTexts : QTranslator {
    QString translate(const char *, const char *text, const char *, int) const override
    {
        const QString source = QString::fromUtf8(text);
        return source + QString((source.size() * 2 + 4) / 5, 'n');
    }
    bool isEmpty() const override { return false; }
};

/// Both docks in a window, every control of theirs enabled, of the panel this page.
struct Docks {
    QTemporaryDir settings;
    QMainWindow window;
    QScopedPointer<klayout::Host> host;

    explicit Docks(int page)
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
        host.reset(new klayout::Host(&window, [](const char *, const QString &) {}));
        QString error;
        if (!host->start(LIBRARY_FILE, &error))
            qFatal("%s", qPrintable(error));
        window.findChild<QStackedWidget *>("stackedWidget")->setCurrentIndex(page);
        for (QWidget *control : window.findChildren<QWidget *>())
            control->setEnabled(true);
        window.show();
        window.resize(window.minimumSizeHint());
        QApplication::setActiveWindow(&window);
        QCoreApplication::processEvents();
    }
    QWidget *content(const char *dock) const
    {
        QWidget *widget = window.findChild<QDockWidget *>(dock)->widget();
        const auto *area = qobject_cast<QScrollArea *>(widget);
        return area ? area->widget() : widget;
    }
};

/// Of radio buttons, Tab goes to the one that is chosen, and arrows to the others.
bool isControl(const QWidget *widget)
{
    if (widget->inherits("QRadioButton") && !widget->property("checked").toBool())
        return false;
    for (const char *kind : { "QAbstractButton", "QComboBox", "QLineEdit", "QAbstractSpinBox",
                              "QAbstractSlider", "QAbstractItemView" })
        if (widget->inherits(kind))
            return widget->isVisible() && widget->focusPolicy() & Qt::TabFocus;
    return false;
}

/// Neither a list's chosen text nor the title of its group is what it is for.
bool isNamed(QWidget *widget)
{
    QAccessibleInterface *read = QAccessible::queryAccessibleInterface(widget);
    for (const auto &relation : read->relations(QAccessible::Label))
        if (relation.first->object()->inherits("QLabel"))
            return true;
    return !widget->accessibleName().isEmpty()
        || (widget->inherits("QAbstractButton") && !read->text(QAccessible::Name).isEmpty());
}

QString textOf(const QWidget *widget)
{
    const auto *label = qobject_cast<const QLabel *>(widget);
    return label && label->wordWrap() ? QString() : widget->property("text").toString()
            + widget->property("title").toString() + widget->property("currentText").toString();
}

} // namespace

class TestTexts : public QObject {
    Q_OBJECT
private slots:
    void placesOfNumbersSurvive();
    void longerTextsAreNotCut_data();
    void longerTextsAreNotCut();
    void tabReachesEveryControl_data() { longerTextsAreNotCut_data(); }
    void tabReachesEveryControl();
    void firstLanguageIsSpoken(); // to the end
public:
    static void initMain()
    {
        qputenv("LANGUAGE", "de");
        qputenv("LC_ALL", "de_DE.UTF-8");
    }
};

void TestTexts::placesOfNumbersSurvive()
{
    const auto places = [](const QString &text) {
        QStringList found;
        auto matches = QRegularExpression("%\\d").globalMatch(text);
        while (matches.hasNext())
            found << matches.next().captured();
        found.sort();
        return found;
    };
    for (const QFileInfo &entry : QDir(TRANSLATIONS).entryInfoList({ "*.ts" })) {
        QFile file(entry.filePath());
        QVERIFY(file.open(QIODevice::ReadOnly));
        QString source;
        for (QXmlStreamReader reader(&file); !reader.atEnd(); reader.readNext()) {
            if (reader.isStartElement() && reader.name() == "source")
                source = reader.readElementText();
            else if (reader.isStartElement() && reader.name() == "translation")
                QVERIFY2(places(reader.readElementText()) == places(source), qPrintable(source));
        }
        QVERIFY(!source.isEmpty());
    }
}

void TestTexts::longerTextsAreNotCut_data()
{
    QTest::addColumn<int>("page");
    QTest::addColumn<QByteArray>("dock");
    QTest::newRow("connection") << 0 << QByteArray("semPanelDock");
    QTest::newRow("operation") << 1 << QByteArray("semPanelDock");
    QTest::newRow("image") << 0 << QByteArray("semImageDock");
}

void TestTexts::longerTextsAreNotCut()
{
    QFETCH(int, page);
    QFETCH(QByteArray, dock);
    LongerTexts longer;
    QCoreApplication::installTranslator(&longer);
    const Docks docks(page);
    const QWidget *content = docks.content(dock);
    int looked = 0;
    for (const QWidget *widget : content->findChildren<QWidget *>()) {
        const QString text = textOf(widget);
        if (text.isEmpty() || !widget->isVisible() || widget->inherits("QLineEdit"))
            continue;
        ++looked;
        QVERIFY2(widget->fontMetrics().horizontalAdvance(text) <= widget->width(), qPrintable(text));
        const QRect place(widget->mapTo(content, QPoint()), widget->size());
        QVERIFY2(content->rect().contains(place), qPrintable(text));
    }
    QVERIFY(looked > 3);
    // Nothing to be scrolled sideways.
    QVERIFY(content->width() <= content->parentWidget()->width());
}

void TestTexts::tabReachesEveryControl()
{
    QFETCH(int, page);
    QFETCH(QByteArray, dock);
    const Docks docks(page);
    QWidget *content = docks.content(dock);
    QList<QWidget *> wanted, reached;
    for (QWidget *widget : content->findChildren<QWidget *>())
        if (isControl(widget) && !qobject_cast<QComboBox *>(widget->parentWidget())
            && !qobject_cast<QAbstractSpinBox *>(widget->parentWidget()))
            wanted << widget;
    QVERIFY(wanted.size() > 2);
    const auto top = [content](const QWidget *widget) {
        const QPoint place = widget->mapTo(content, QPoint());
        return qMakePair(place.y(), place.x());
    };
    std::sort(wanted.begin(), wanted.end(),
              [&](const QWidget *a, const QWidget *b) { return top(a) < top(b); });
    wanted.first()->setFocus();
    for (int i = 0; i < 100 && !reached.contains(QApplication::focusWidget()); ++i) {
        if (wanted.contains(QApplication::focusWidget()))
            reached << QApplication::focusWidget();
        QTest::keyClick(QApplication::focusWidget(), Qt::Key_Tab);
    }
    for (QWidget *widget : wanted) {
        const QByteArray name = widget->objectName().toUtf8();
        QVERIFY2(reached.contains(widget), name);
        QVERIFY2(isNamed(widget), name);
    }
    QCOMPARE(reached, wanted); // from top to bottom
}

void TestTexts::firstLanguageIsSpoken()
{
    klayout::speakUsersLanguage();
    const Docks docks(0);
    QCOMPARE(docks.window.findChild<QAbstractButton *>("connectButton")->text(), QString("verbinden"));
    QCOMPARE(docks.window.findChild<QAbstractButton *>("outlineOnly")->text(), QString("nur Umrisse"));
}

QTEST_MAIN(TestTexts)
#include "tst_texts.moc"
