// SPDX-License-Identifier: Apache-2.0
#include "support/StandardErrorCatch.h"
#include "support/TestCase.h"
#include "upload/FakeLink.h"

#include <QTemporaryDir>

namespace tst_transfer {

namespace mcu = protocol::mcu;

class TestTransfer : public QObject
{
    Q_OBJECT

private slots:
    void conversations_data()
    {
        const tests::DataTable<QString> rows("conversation");
        rows("0 bytes", "start 0:; wait 60000:");
        rows("1 byte", "start 1: 0/00 0.00% 25500.00%; accept:; wait 60000:");
        rows("100 bytes", "start 100: 0/00 0.00% 255.00%; accept:; wait 60000:");
        rows("255 bytes", "start 255: 0/00 0.00% 100.00%; accept:; wait 60000:");
        rows("256 bytes", "start 256: 0/40 0.00% 99.61%; accept: success");
        rows("257 bytes", "start 257: 0/00 0.00% 99.22%; accept: 1/40; accept: success");
        rows("511 bytes", "start 511: 0/00 0.00% 49.90%; accept: 1/40; accept: success");
        rows("512 bytes", "start 512: 0/00 0.00% 49.80%; accept: 1/40; accept: success");
        rows("513 bytes",
             "start 513: 0/00 0.00% 49.71%; accept: 1/00 99.81%; accept: 2/40; accept: success");
        rows("700 bytes",
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; accept: success");
        rows("two images",
             "start 300: 0/00 0.00% 85.00%; accept: 1/40; accept: success; "
             "start 700: 0/00 0.00% 36.43%; accept: 1/00 73.14%; accept: 2/40; accept: success");
        // In a separate chunk a second reply looks like the next acknowledgement.
        rows("duplicate in one chunk",
             "start 1000: 0/00 0.00% 25.50%; twice: 1/00 51.20%; accept: 2/00 76.80%; "
             "accept: 3/40");
        rows("nothing after the verdict",
             "start 256: 0/40 0.00% 99.61%; accept: success; flag:; accept:; refuse:");
        rows("half of an answer to the image before",
             "start 600: 0/00 0.00% 42.50%; head:; start 600: 0/00 0.00% 42.50%; "
             "accept: 1/00 85.33%");
    }

    void conversations()
    {
        QFETCH(QString, conversation);
        QCOMPARE(Transfer().converse(conversation), conversation);
    }

    void goldenBlock()
    {
        Transfer transfer;
        transfer.upload.uploadData(7, 2, QByteArray(256, '\x01'), 256);
        // 5A 5B A5 + 0A 01 + 01 79 + 07 02 40 + 256 x 01 add up to 328, so D8 makes the sum zero.
        QCOMPARE(transfer.link.sent.value(0).toHex(),
                 QByteArray("5a5ba5" // start, address
                            "0a01"   // length
                            "0000"
                            "0179"       // write block
                            "0702000040" // type, index, number, flags
                            ) +
                     QByteArray("01").repeated(256) + "d8");
        QCOMPARE(currentCommandKey, quint16(0x7901));
        QVERIFY(canRead);
    }

    void addressBytes()
    {
        Transfer transfer;
        transfer.upload.setAddress({0x11, 0x22});
        transfer.start(600);
        QCOMPARE(transfer.link.sent.first().left(3).toHex(), QByteArray("5a1122"));
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), 1);
        transfer.link.deliver(mcu::buildStatusFrame(mcu::replyStart, {0x11, 0x22}, 0x7901, 0));
        QCOMPARE(transfer.link.sent.size(), 2);
    }

    void percentIsKept()
    {
        Transfer transfer;
        CoreUpload::m_FWPersent = 77.0;
        transfer.start(700);
        QCOMPARE(CoreUpload::m_FWPersent.load(), 255.0 / 700.0 * 100.0);
        transfer.link.deliver(blockReply());
        // Single precision, widened: not the same number as in double precision.
        QVERIFY(CoreUpload::m_FWPersent.load() == double(512.0F / 700.0F * 100.0F));
        QVERIFY(CoreUpload::m_FWPersent.load() != 512.0 / 700.0 * 100.0);
    }

    /** The device waits for the block; standard error, the log and the progress come after it. */
    void nextBlockComesFirst()
    {
        static QStringList events;
        Transfer transfer;
        transfer.start(1000);
        StandardErrorCatch standardError;
        transfer.link.onSent = [&](const QByteArray &) {
            events.append(standardError.hasCaught() ? "block after standard error" : "block");
        };
        connect(&transfer.upload, &CoreUpload::progressValueChanged, this,
                [] { events.append("progress"); });
        QLoggingCategory::setFilterRules("agent.*.debug=true");
        const QtMessageHandler before = qInstallMessageHandler(
            [](QtMsgType, const QMessageLogContext &, const QString &) { events.append("log"); });
        transfer.link.deliver(blockReply());
        qInstallMessageHandler(before);
        QLoggingCategory::setFilterRules({});

        QCOMPARE(events.value(0), QString("block"));
        QCOMPARE(events.count("progress"), 1);
        QCOMPARE(events.count("log"), events.size() - 2);
        QVERIFY(events.contains("log") && standardError.hasCaught());
    }

    void repliesAreReadByFlagAndKey()
    {
        Transfer transfer;
        transfer.start(600);
        canRead = false;
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), 1);

        canRead = true;
        currentCommandKey = 0x7900;
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), 1);

        currentCommandKey = 0x7901;
        transfer.link.deliver(mcu::buildStatusFrame(mcu::replyStart, {}, 0x7900, 0));
        QCOMPARE(transfer.link.sent.size(), 1);
        QVERIFY(canRead);

        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), 2);
    }

    void repliesAreFoundInNoise()
    {
        QByteArray bad = blockReply();
        bad[bad.size() - 1] = char(bad.at(bad.size() - 1) + 1);
        // A wrong address, a length high byte of 2, a bad checksum: each drops what it has so far.
        for (const QByteArray &noise :
             {QByteArray::fromHex("00ff5b5a5b5b5b00"), QByteArray::fromHex("5b5ba50802"), bad}) {
            Transfer transfer;
            transfer.start(256);
            transfer.link.deliver(noise + blockReply());
            QCOMPARE(transfer.events.last(), QString("success"));
        }
    }

    void repliesOfAnyForm_data()
    {
        const tests::DataTable<QByteArray, bool> rows("reply", "accepted");

        const auto frame = [](quint16 word, const QByteArray &payload) {
            return mcu::buildFrame(mcu::replyStart, {}, word, QByteArray::fromHex(payload));
        };
        rows("extended", frame(0xFFFF, "017900"), true);
        rows("extended, longer", frame(0xFFFF, "017900aabb"), true);
        // Only bytes 9 and 10 are looked at, and byte 11.
        rows("ordinary, word in the payload", frame(0x7901, "017900"), true);
        rows("without a status", frame(0xFFFF, "0179"), false);
        rows("without a payload", frame(0x7901, ""), false);
        rows("other word", frame(0xFFFF, "007900"), false);
        rows("host's start byte", mcu::buildStatusFrame(mcu::hostStart, {}, 0x7901, 0), false);
        // The longest length that a reply may have is 516 bytes in all.
        rows("longest", frame(0xFFFF, "0179" + QByteArray("00").repeated(504)), true);
        rows("too long", frame(0xFFFF, "0179" + QByteArray("00").repeated(505)), false);
    }

    void repliesOfAnyForm()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, accepted);
        Transfer transfer;
        transfer.start(600);
        transfer.link.deliver(reply);
        QCOMPARE(transfer.link.sent.size(), accepted ? 2 : 1);
        // Whatever it was, the next reply is read.
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), accepted ? 3 : 2);
    }

    void replyAtEverySplit()
    {
        const QByteArray reply = blockReply();
        for (int at = 0; at <= reply.size(); ++at) {
            Transfer transfer;
            transfer.start(256);
            transfer.link.deliver(reply.left(at));
            transfer.link.deliver(reply.mid(at));
            QCOMPARE(transfer.events.last(), QString("success"));
        }
    }

    void fileEntry_data()
    {
        const tests::DataTable<QString, QByteArray, bool> rows("name", "content", "isSent");
        const QByteArray missing;
        rows("'.bin' anywhere", "main.bin.old", imageOf(300), true);
        rows("no .bin", "image.fwm", imageOf(300), false);
        rows("capitals", "image.BIN", imageOf(300), false);
        rows("missing", "image.bin", missing, false);
        rows("empty", "image.bin", "", false);
        rows("a folder", "folder.bin/", missing, false);
    }

    void fileEntry()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QFETCH(bool, isSent);
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir("folder.bin"));
        QFile file(dir.filePath(name));
        if (!content.isNull())
            QVERIFY(file.open(QIODevice::WriteOnly) && file.write(content) >= 0);
        file.close();
        Transfer transfer;
        transfer.image = content;
        QCOMPARE(transfer.upload.uploadFile(1, 0, file.fileName()), isSent);
        const QString rest =
            isSent ? "accept: 0/00 0.00% 85.00% 1/40; accept: success" : "wait 60000:";
        QCOMPARE(transfer.converse(rest), rest);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestTransfer)

} // namespace tst_transfer

#include "tst_transfer.moc"
