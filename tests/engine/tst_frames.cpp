// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "links/LinkState.h"
#include "support/TestCase.h"

namespace engine::tst_frames {

namespace {

const QStringList lost{"Disconnect", "ttyS2 port is disconnected."};

} // namespace

/** The frames that leave the engine, and what becomes of those that cannot. */
class TestFrames : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        canRead = false;
        currentCommandKey = 0;
    }

    void cleanup() { g_CONNECTTYPE = links::serial; }

    void metaObject()
    {
        const QMetaObject &meta = ControlCenter::staticMetaObject;
        QStringList signalList;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
            if (meta.method(i).methodType() == QMetaMethod::Signal)
                signalList.append(QString::fromLatin1(meta.method(i).methodSignature()));
        }
        QCOMPARE(signalList,
                 QStringList({"signalCMDResultStr(int,QList<int>)", "message(QStringList)",
                              "signalCMDResult(int,int)", "progressValueChanged(double,double)",
                              "netconnected()", "netdisconnected()"}));
        for (const char *method : {"send(int)",
                                   "sendWriteStr(int,int,QList<int>)",
                                   "slotReceiveDatas(QByteArray)",
                                   "slotConnect(QString)",
                                   "slotConnectWithBandrate(QString,QString)",
                                   "slotAutoConnect(QString)",
                                   "connectNet(QString,int)",
                                   "disconnected()",
                                   "slotGetVersion()",
                                   "getProductInfo()",
                                   "setProductInfo(QStringList)",
                                   "uploadByMergeFW(QString,QStringList,int)",
                                   "checkVersion()",
                                   "checkUpgradeFlag()",
                                   "mergeFW(QString,QString)",
                                   "mergeNetFirmware(QString,QString,QString,QString)",
                                   "getMergeFWJSON(QString)",
                                   "checkNetFirmware(QString)",
                                   "slotWriteMultBoard(uchar,uchar,QString)",
                                   "slotProgressValueChanged(double,double)",
                                   "slotMessage(QStringList)",
                                   "onTimeOutSendUploadCommand()",
                                   "onTimeOutSendOtherCommand()"})
            QVERIFY2(meta.indexOfMethod(method) >= 0, method);
    }

    void commands_data()
    {
        const tests::DataTable<int, int, QList<int>, QByteArray> rows("word", "count", "data",
                                                                      "frame");
        using List = QList<int>;
        rows("no data", 0xF903, 0, List(), "5a5ba50500000003f9a5");
        rows("only 16 bits count", 0x1F903, 0, List(), "5a5ba50500000003f9a5");
        rows("negative count", 0xF903, -1, List{1, 2}, "5a5ba50500000003f9a5");
        rows("two items", 0xF901, 2, List{0, 1}, "5a5ba50700000001f90001a4");
        rows("low bytes", 0xF900, 2, List{256, 257}, "5a5ba50700000000f90001a5");
        rows("more than there are", 0xF900, 9, List{0, 1}, "5a5ba50700000000f90001a5");
        rows("negative item", 0x7905, 1, List{-251}, "5a5ba5060000000579051d");
        rows("fewer than given", 0x7905, 1, List{5, 6, 7}, "5a5ba5060000000579051d");
    }

    /** protocol/tst_frames.cpp has the frames of all commands. */
    void commands()
    {
        QFETCH(int, word);
        QFETCH(int, count);
        QFETCH(QList<int>, data);
        Fixture fixture;
        fixture.engine->sendWriteStr(word, count, data);
        QTEST(fixture.last().toHex(), "frame");
        QCOMPARE(currentCommandKey, quint16(word));
        QVERIFY(canRead);
        if (count == 0) {
            fixture.engine->send(word);
            QTEST(fixture.last().toHex(), "frame");
        }
        QVERIFY(fixture.lines.isEmpty());
    }

    void statusFrame()
    {
        Fixture fixture;
        fixture.engine->sendAppStatus(0x7901, 3);
        QCOMPARE(fixture.last().toHex(), QByteArray("5b5ba508000000ffff01790322"));
        QCOMPARE(currentCommandKey, quint16(0xFFFF));
    }

    /** Every send that the link refuses reports only that the link is lost. */
    void sendFailureReportsTheLostLink()
    {
        Fixture fixture;
        fixture.link->unplug();
        fixture.engine->send(0xF903);
        QCOMPARE(fixture.lines, lost);
        fixture.engine->sendWriteStr(0xF900, 2, {0, 0});
        QCOMPARE(fixture.lines, lost + lost);
    }

    void writeFailureHasWords()
    {
        Fixture fixture;
        char bytes[] = "0123456789";
        QVERIFY(fixture.engine->write(bytes, 10));
        QCOMPARE(fixture.last(), QByteArray("0123456789"));
        QVERIFY(fixture.lines.isEmpty());

        fixture.link->unplug();
        QVERIFY(!fixture.engine->write(bytes, 10));
        QCOMPARE(fixture.lines,
                 lost + QStringList{"Failed to send command, serial port has been closed"});
    }

    void withoutAnyLink()
    {
        g_CONNECTTYPE = 7;
        QTemporaryDir dir;
        ControlCenter engine(EngineHarness::scaledPlatform(dir.path()));
        QStringList lines;
        connect(&engine, &ControlCenter::message, &engine,
                [&](const QStringList &list) { lines += list; });
        char bytes[] = "x";
        engine.send(0xF903);
        engine.sendWriteStr(0xF900, 2, {0, 0});
        QVERIFY(!engine.write(bytes, 1));
        engine.disconnected();
        engine.slotGetVersion();
        QVERIFY(lines.isEmpty());
        QVERIFY(!canRead);
        QCOMPARE(currentCommandKey, quint16(0));
    }

    /** Whatever the line brings while no command is out is dropped whole. */
    void noReplyIsAwaitedBeforeASend()
    {
        Fixture fixture;
        fixture.link->receive(QByteArray::fromHex("5b5ba50500000003f9a4"));
        fixture.link->receive(QByteArray(10'000, '\x5B'));
        QVERIFY(fixture.lines.isEmpty());
        QVERIFY(fixture.link->sent.isEmpty());
    }

private:
    struct Fixture : EngineHarness
    {
        Fixture() : EngineHarness(twoMcus())
        {
            link->answerInstead = [](const QByteArray &) { return QList<QByteArray>(); };
            connectPort();
        }
        QByteArray last() const { return link->sent.isEmpty() ? QByteArray() : link->sent.last(); }
    };
};

AGENT_TEST(TestFrames)

} // namespace engine::tst_frames

#include "tst_frames.moc"
