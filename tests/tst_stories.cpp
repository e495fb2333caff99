// What users went through: the simulator as a program of its own, the library, and a host with its
// line at the image. What was sent is what the simulator says that it was asked for.
#include "hosting/background.h"
#include "hosting/livewatch.h"
#include "hosting/pairguard.h"
#include "hosting/pluginsession.h"
#include "hosting/statusline.h"

#include <QAbstractButton>
#include <QProcess>
#include <QSettings>
#include <QTemporaryDir>
#include <QtTest>

#include <csignal>

using namespace hosting;

namespace {
const int patienceMs = 30000;
const double perMm = 1e6; // database units

struct Microscope : QProcess {
    QString port;
    QStringList sent;

    explicit Microscope(const QStringList &options = {})
    {
        setProcessChannelMode(MergedChannels);
        start(SIMULATOR_FILE,
              QStringList{ "--port", "0", "--verbose", "--stage-speed", "0", "--stage", "1,1" }
                  + options);
        while (port.isEmpty() && waitForReadyRead(patienceMs))
            port = QString(readAll()).section("control port ", 1).section(',', 0, 0);
    }
    ~Microscope() override
    {
        kill();
        waitForFinished();
    }
    QStringList commands(const QString &name)
    {
        sent += QString(readAll()).split('\n', Qt::SkipEmptyParts);
        return sent.filter(name);
    }
};

struct Host {
    QTemporaryDir folder;
    Background background;
    PluginSession session{ &background };
    LiveWatch live{ &session, &background };
    StatusLine line{ &session, &background, &live };
    QStringList questions;
    bool answer = false;
    PairGuard guard{ &session, [this](const QString &question) {
                        questions << question;
                        return answer;
                    } };

    explicit Host(const QString &port)
    {
        QCoreApplication::setOrganizationName("layout-tests");
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, folder.path());
        show({ 0, 0 });
        session.setDesign({ "chip/TOP", 1e-9, QRectF(-1e6, -1e6, 2e6, 2e6) });
        QString error;
        session.load(LIBRARY_FILE, &error);
        session.panel()->setAddress("127.0.0.1", port.toInt());
        session.panel()->press("displayLive");
    }
    void show(const QPointF &mm) { session.setView({ mm * perMm, 0.001, { 500, 500 } }); }
    void click(const char *button)
    {
        QTest::mouseClick(session.panel()->button(button), Qt::LeftButton);
    }
    bool says(const QString &part)
    {
        return QTest::qWaitFor([&] { return (line.text() + line.advice()).contains(part); },
                               patienceMs);
    }
    bool stageGoesTo(const QPointF &mm)
    {
        show(mm);
        click("stageToView");
        return QTest::qWaitFor(
            [&] {
                return !session.isStageMoving()
                    && QLineF(background.centre(), mm * perMm).length() < perMm / 100;
            },
            patienceMs);
    }
    /// At that place, with the image moved by a little: the wafer lies a little off.
    bool align(const char *row, const QPointF &mm)
    {
        const bool there = stageGoesTo(mm);
        click(row);
        background.setPlacement(background.placement().moved({ 2e3, 1e3 }));
        click(row);
        return there && !session.isPairInWork();
    }
};
} // namespace

class TestStories : public QObject {
    Q_OBJECT
private slots:
    /// Two pairs, connected anew, and the stage to the view: it goes there and nowhere else.
    void stageStaysOnTheMap()
    {
        Microscope microscope;
        Host host(microscope.port);
        host.click("connectButton");
        QVERIFY(host.says("not aligned"));
        QVERIFY(host.align("align1", { 0.1, 0.1 }) && host.align("align2", { 0.7, 0.2 }));
        QVERIFY(host.says("two pairs"));
        host.click("disconnectButton");
        QVERIFY(host.says("not connected since"));
        host.click("connectButton");
        QTRY_VERIFY_WITH_TIMEOUT(host.line.text().startsWith("restored: two pairs"), patienceMs);
        microscope.commands("");
        microscope.sent.clear();
        host.click("align3");
        QVERIFY(host.stageGoesTo({ -0.5, 0.4 }));
        const QStringList moves = microscope.commands("StgMoveTo");
        QVERIFY2(moves.size() == 1 && !moves.first().contains("StgMoveTo 0 0"),
                 qPrintable(moves.join('\n')));
    }
    /// A row that is aligned again 1.6 mm off: the line says it, and goes on saying it.
    void wrongPairIsRejected()
    {
        Microscope microscope;
        Host host(microscope.port);
        host.click("connectButton");
        QVERIFY(host.says("not aligned"));
        QVERIFY(host.align("align1", { 0.1, 0.1 }) && host.align("align2", { 0.7, 0.2 }));
        host.answer = true;
        host.click("align2");
        QTRY_VERIFY_WITH_TIMEOUT(!host.session.isStageMoving(), patienceMs);
        host.background.setPlacement(host.background.placement().moved({ 1.6e6, 0 }));
        host.click("align2");
        QVERIFY(host.says("the pairs do not fit: pair 1 alone"));
        QTRY_COMPARE_WITH_TIMEOUT(host.session.panel()->status(), QString("scanning..."),
                                  patienceMs);
        QVERIFY(host.line.text().contains("the pairs do not fit"));
        QVERIFY(host.questions.join('\n').contains("moved by 1.6 mm"));
    }
    void nearlyALineIsAskedAbout()
    {
        Microscope microscope;
        Host host(microscope.port);
        host.click("connectButton");
        QVERIFY(host.says("not aligned"));
        QVERIFY(host.align("align1", { -0.6, -0.6 }) && host.align("align2", { 0, 0 }));
        QVERIFY2(host.questions.isEmpty(), qPrintable(host.questions.join('\n')));
        QVERIFY(!host.align("align3", { 0.6, 0.61 })); // asked, and answered with no
        QTRY_VERIFY(host.questions.join('\n').contains("nearly on a line"));
        QVERIFY(host.says("being aligned: pair 3"));
        QCOMPARE(host.session.alignment().pairs.size(), 2);
    }
    void silenceIsTold()
    {
        {
            Microscope microscope;
            Host host(microscope.port);
            host.click("connectButton");
            QVERIFY(host.says("not aligned"));
            QTRY_VERIFY_WITH_TIMEOUT(host.live.scan().hasData(), patienceMs);
            kill(pid_t(microscope.processId()), SIGSTOP);
            QVERIFY(host.says("no new data for"));
            QVERIFY(!host.line.isLive());
            microscope.kill();
            QVERIFY(host.says("not connected since"));
        }
        Microscope deaf({ "--fault", "stall-control=0" });
        Host host(deaf.port);
        host.click("connectButton");
        QVERIFY(host.says("does not answer"));
        QCOMPARE(deaf.commands("StgMoveTo"), QStringList());
    }
    void slowFrameTellsItsRow()
    {
        Microscope microscope;
        Host host(microscope.port);
        host.click("connectButton");
        QVERIFY(host.says("not aligned"));
        host.session.panel()->setScanSettings({ "100000ns", "1024x1024" });
        QVERIFY(host.says(" of 1,024, 2 min left"));
        QVERIFY(!microscope.commands("ScScanXY").filter("1024 1024").isEmpty());
    }
};

QTEST_MAIN(TestStories)
#include "tst_stories.moc"
