// A microscope or a network that fails, and a long working day: each time the user must be able to
// press "connect" again, and nothing may be left behind.

#include "tests/pluginfixture.h"
#include "tests/process.h"

#include <QtTest>

namespace {
const QVariantMap smallFrame = { { "display", 0 }, { "imageSize", 8 } };
const QByteArray grey(64, 17), otherGrey(64, 34);

void answerAll(FakeMicroscope *microscope)
{
    microscope->answers["DtEnumDetectors"] = wire::text("d.0.name=SE\nd.0=0\nd.1.name=BSE\nd.1=1");
    microscope->answers["TcpGetVersion"] = wire::text("4.2");
    microscope->answers["TcpGetSWVersion"] = wire::text("3.1");
    microscope->answers["ScScanXY"] = wire::uint32(0);
}
} // namespace

class TestEndurance : public QObject {
    Q_OBJECT

private slots:
    void cutAtEveryByte_data();
    void cutAtEveryByte();
    void longDay();
};

void TestEndurance::cutAtEveryByte_data()
{
    QTest::addColumn<int>("channel");
    QTest::addColumn<bool>("byReset");
    QTest::newRow("control channel, closed") << int(FakeMicroscope::Control) << false;
    QTest::newRow("control channel, reset") << int(FakeMicroscope::Control) << true;
    QTest::newRow("data channel, closed") << int(FakeMicroscope::Data) << false;
    QTest::newRow("data channel, reset") << int(FakeMicroscope::Data) << true;
}

void TestEndurance::cutAtEveryByte()
{
    QFETCH(int, channel);
    QFETCH(bool, byReset);
    PluginFixture host(smallFrame);
    FakeMicroscope &microscope = host.microscope;
    answerAll(&microscope);
    bool whole = false; // the conversation was shorter than that
    for (int bytes = 0; !whole; ++bytes) {
        host.restart();
        microscope.cutAfter(bytes, FakeMicroscope::Channel(channel), byReset);
        host.pressConnect();
        SPIN_VERIFY(microscope.bytesLeft < 0
                    || (microscope.data && microscope.commands().join(' ').contains("ScScanXY")));
        if (microscope.bytesLeft >= 0) {
            microscope.setStage(1, 2);
            microscope.setViewField(1);
            microscope.scan(wire::scanData(0, grey.left(32)) + wire::scanData(32, grey.left(32)));
        }
        whole = microscope.bytesLeft >= 0;
        if (!whole) {
            const QRegularExpression over("disconnected|failed");
            SPIN_VERIFY(host.page() == 0 && microscope.isAlone()
                        && host.text("statusDisplay").contains(over));
        }
        microscope.cutAfter(-1, FakeMicroscope::Control, false);
        const QString before = host.items("detector") + host.text("infoText");
        QVERIFY2(host.showsLiveImage(otherGrey), qPrintable(QString("cut at %1").arg(bytes)));
        QImage expected(8, 8, QImage::Format_RGB32);
        expected.fill(qRgb(34, 34, 34));
        QCOMPARE(host.plugin->getImage(), expected);
        QVERIFY(host.items("detector").endsWith("0 - SE|1 - BSE"));
        QVERIFY(host.text("infoText").endsWith("\nVersion: 4.2\nSW-Version: 3.1"));
        QVERIFY(microscope.commands().first().startsWith("TcpRegDataPort"));
        host.use("disconnectButton"); // one that is connected saves, which takes longer
    }
}

void TestEndurance::longDay()
{
    const int cycles = sanitized ? 200 : 1000;
    int descriptors = 0;
    qint64 kb = 0;
    PluginFixture host(smallFrame);
    answerAll(&host.microscope);
    for (int i = 0; i < cycles; ++i) {
        if (i % 2)
            host.restart();
        QVERIFY(host.showsLiveImage(i % 2 ? grey : otherGrey));
        host.use("disconnectButton");
        SPIN_VERIFY(host.microscope.isAlone());
        host.forget();
        if (i == cycles / 10) {
            descriptors = openDescriptors();
            kb = residentKb();
        }
    }
    QCOMPARE(openDescriptors(), descriptors);
    QVERIFY2(sanitized || residentKb() - kb < 2048, qPrintable(QString::number(residentKb() - kb)));
}

QTEST_MAIN(TestEndurance)
#include "tst_endurance.moc"
