// The program with the real library, as a script starts it.
#include <QImage>
#include <QProcess>
#include <QTemporaryDir>
#include <QtTest>

class TestViewerProgram : public QObject {
    Q_OBJECT
private slots:
    void failuresAreTold_data();
    void failuresAreTold();
    void screenshotShowsTheDesign();

private:
    int run(const QStringList &arguments, QByteArray *errors);

    QTemporaryDir m_folder;
};

int TestViewerProgram::run(const QStringList &arguments, QByteArray *errors)
{
    QProcess viewer;
    viewer.start(VIEWER_FILE,
                 QStringList{ "--settings", m_folder.path(), "--plugin", LIBRARY_FILE }
                     + arguments);
    if (!viewer.waitForFinished(60000))
        return -1;
    *errors = viewer.readAllStandardError();
    return viewer.exitStatus() == QProcess::NormalExit ? viewer.exitCode() : -1;
}

void TestViewerProgram::failuresAreTold_data()
{
    QTest::addColumn<QByteArray>("complaint");
    QTest::newRow("--view 1,2,0 a.gds") << QByteArray("1,2,0");
    QTest::newRow("--view nan,0,100 a.gds") << QByteArray("nan");
    QTest::newRow("--view 1,2,3") << QByteArray("needs a layout");
    QTest::newRow("--set imageSize=7x7") << QByteArray("7x7");
    QTest::newRow("missing.gds") << QByteArray("missing.gds");
    QTest::newRow("--plugin missing.so") << QByteArray("missing.so");
    QTest::newRow("--after 0.1 --screenshot no/folder.png") << QByteArray("folder.png");
}

void TestViewerProgram::failuresAreTold()
{
    QFETCH(QByteArray, complaint);
    QByteArray errors;
    QCOMPARE(run(QString(QTest::currentDataTag()).split(' '), &errors), 1);
    QVERIFY2(errors.contains(complaint), errors);
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
    for (int x = 300; x < 500; ++x) {
        for (int y = 100; y < 600; ++y) {
            if (picture.pixelColor(x, y).saturation() > 80)
                vivid.insert(picture.pixel(x, y));
        }
    }
    QVERIFY(vivid.size() > 3);
}

QTEST_MAIN(TestViewerProgram)
#include "tst_viewerprogram.moc"
