// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "links/LinkState.h"
#include "support/TestCase.h"

namespace engine::tst_frames {

namespace {

QByteArray hex(const char *text)
{
    return QByteArray::fromHex(text);
}

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

    void bareCommands_data()
    {
        const tests::DataTable<int, QByteArray> rows("word", "frame");
        rows("model name", 0xF903, hex("5a5ba50500000003f9a5"));
        rows("product ID", 0xF802, hex("5a5ba50500000002f8a7"));
        rows("reboot", 0x7902,
             hex("5a5ba5050000000279"
                 "26"));
        rows("virtual version", 0xF905, hex("5a5ba50500000005f9a3"));
        rows("only 16 bits count", 0x1F903, hex("5a5ba50500000003f9a5"));
    }

    void bareCommands()
    {
        QFETCH(int, word);
        QFETCH(QByteArray, frame);
        Fixture fixture;
        fixture.engine->send(word);
        QCOMPARE(fixture.last().toHex(), frame.toHex());
        QCOMPARE(currentCommandKey, quint16(word));
        QVERIFY(canRead);
        QVERIFY(fixture.lines.isEmpty());
    }

    void commandsWithData_data()
    {
        const tests::DataTable<int, int, QList<int>, QByteArray> rows("word", "count", "data",
                                                                      "frame");
        rows("bootcode 0, 0", 0xF900, 2, QList<int>{0, 0}, hex("5a5ba50700000000f90000a6"));
        rows("bootcode 0, 1", 0xF900, 2, QList<int>{0, 1}, hex("5a5ba50700000000f90001a5"));
        rows("product information 0, 1", 0xF901, 2, QList<int>{0, 1},
             hex("5a5ba50700000001f90001a4"));
        rows("version 0, 1", 0xF902, 2, QList<int>{0, 1}, hex("5a5ba50700000002f90001a3"));
        rows("virtual version 5", 0x7905, 1, QList<int>{5},
             hex("5a5ba506000000057905"
                 "1d"));
        rows("low bytes", 0xF900, 2, QList<int>{256, 257}, hex("5a5ba50700000000f90001a5"));
        rows("negative item", 0x7905, 1, QList<int>{-251},
             hex("5a5ba506000000057905"
                 "1d"));
        rows("fewer than given", 0x7905, 1, QList<int>{5, 6, 7},
             hex("5a5ba506000000057905"
                 "1d"));
        rows("more than there are", 0xF900, 9, QList<int>{0, 1}, hex("5a5ba50700000000f90001a5"));
        rows("negative count", 0xF903, -1, QList<int>{1, 2}, hex("5a5ba50500000003f9a5"));
    }

    void commandsWithData()
    {
        QFETCH(int, word);
        QFETCH(int, count);
        QFETCH(QList<int>, data);
        QFETCH(QByteArray, frame);
        Fixture fixture;
        fixture.engine->sendWriteStr(word, count, data);
        QCOMPARE(fixture.last().toHex(), frame.toHex());
    }

    void longPayloads_data()
    {
        const tests::DataTable<int, QByteArray> rows("count", "length");
        rows("249", 249, hex("fe00"));
        rows("250", 250, hex("ff00"));
        rows("251", 251, hex("0001"));
        rows("1000", 1000, hex("ed03"));
    }

    void longPayloads()
    {
        QFETCH(int, count);
        QFETCH(QByteArray, length);
        Fixture fixture;
        QList<int> data;
        for (int i = 0; i < count; ++i)
            data.append(i);
        fixture.engine->sendWriteStr(0x7903, count, data);
        const QByteArray frame = fixture.last();
        QCOMPARE(frame.size(), count + 10);
        QCOMPARE(frame.mid(3, 2).toHex(), length.toHex());
        QCOMPARE(quint8(frame.at(9 + 200)), quint8(200));
        int sum = 0;
        for (const char byte : frame)
            sum += quint8(byte);
        QCOMPARE(sum % 256, 0);
    }

    void statusFrames()
    {
        Fixture fixture;
        fixture.engine->sendAppStatus(0x7901, 0);
        QCOMPARE(fixture.last().toHex(), QByteArray("5b5ba508000000ffff01790025"));
        QCOMPARE(currentCommandKey, quint16(0xFFFF));
        fixture.engine->sendAppStatus(0x7901, 3);
        QCOMPARE(fixture.last().toHex(), QByteArray("5b5ba508000000ffff01790322"));
        fixture.engine->sendAppStatus(0x7900, 0);
        QCOMPARE(fixture.last().toHex(), QByteArray("5b5ba508000000ffff00790026"));
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
        fixture.link->receive(hex("5b5ba50500000003f9a4"));
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
            engine->slotConnect("ttyS2");
            clear();
        }
        QByteArray last() const { return link->sent.isEmpty() ? QByteArray() : link->sent.last(); }
    };
};

AGENT_TEST(TestFrames)

} // namespace engine::tst_frames

#include "tst_frames.moc"
