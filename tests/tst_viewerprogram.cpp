// The program with the real library, as a script starts it.
#include <QFileInfo>
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

class TestViewerProgram : public QObject {
    Q_OBJECT
private slots:
    void wrongArgumentsAreRefused_data();
    void wrongArgumentsAreRefused();
    void screenshotShowsTheDesign();
    void unwritableScreenshotFails();

private:
    int run(QStringList arguments, QByteArray *errors);

    QTemporaryDir m_folder;
};

int TestViewerProgram::run(QStringList arguments, QByteArray *errors)
{
    const QFileInfo library(LIBRARY_FILE);
    QProcess viewer;
    viewer.setWorkingDirectory(library.path());
    viewer.start(VIEWER_FILE,
                 QStringList{ "--settings", m_folder.path(), "--plugin", library.fileName() }
                     + arguments);
    if (!viewer.waitForFinished(60000))
        return -1;
    *errors = viewer.readAllStandardError();
    return viewer.exitStatus() == QProcess::NormalExit ? viewer.exitCode() : -1;
}

void TestViewerProgram::wrongArgumentsAreRefused_data()
{
    QTest::addColumn<QStringList>("arguments");
    QTest::addColumn<QString>("complaint");
    const auto row = [](const char *arguments, const char *complaint) {
        QTest::newRow(arguments) << QString(arguments).split(' ') << QString(complaint);
    };
    row("--size 10", "--size");
    row("--view 1,2", "--view");
    row("--view 1,2,0", "--view");
    row("--connect=nowhere", "--connect");
    row("--display film", "--display");
    row("--after soon", "--after");
    row("--measure -1", "--measure");
    row("--set imageSize=7x7", "7x7");
    row("--set noSuchList=1", "noSuchList");
    row("--bogus", "bogus");
    row("a.gds b.gds", "one layout");
    row("missing.gds", "missing.gds");
    row("--plugin missing.so", "missing.so");
}

void TestViewerProgram::wrongArgumentsAreRefused()
{
    QFETCH(QStringList, arguments);
    QFETCH(QString, complaint);
    QByteArray errors;
    QCOMPARE(run(arguments, &errors), 1);
    QVERIFY2(errors.contains(complaint.toUtf8()), errors);
}

void TestViewerProgram::screenshotShowsTheDesign()
{
    const QString file = m_folder.filePath("picture.png");
    QByteArray errors;
    QCOMPARE(run({ "--size", "900x700", "--screenshot", file, "--after", "0.1", SAMPLE_LAYOUT },
                 &errors),
             0);
    const QImage picture(file);
    QCOMPARE(picture.size(), QSize(900, 700));
    QSet<QRgb> vivid;
    for (int y = 100; y < 600; ++y)
        for (int x = 300; x < 500; ++x)
            if (picture.pixelColor(x, y).saturation() > 80)
                vivid.insert(picture.pixel(x, y));
    QVERIFY(vivid.size() > 3);
}

void TestViewerProgram::unwritableScreenshotFails()
{
    QByteArray errors;
    QCOMPARE(run({ "--screenshot", m_folder.filePath("no/folder.png"), "--after", "0.1" }, &errors),
             1);
    QVERIFY2(errors.contains("folder.png"), errors);
}

QTEST_MAIN(TestViewerProgram)
#include "tst_viewerprogram.moc"
