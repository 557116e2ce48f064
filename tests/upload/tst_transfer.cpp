// SPDX-License-Identifier: Apache-2.0
#include "links/LinkState.h"
#include "support/StandardErrorCatch.h"
#include "support/TestCase.h"
#include "upload/FakeLink.h"

#include <QTemporaryDir>
#include <QtTest>

namespace tst_transfer {

namespace mcu = protocol::mcu;

class TestTransfer : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        canRead = false;
        currentCommandKey = 0;
    }

    void sizes_data()
    {
        const tests::DataTable<int, QString, QString, QString> rows("size", "blocks", "progress",
                                                                    "verdict");
        const QString success = QStringLiteral("SingleUploadSuccess");

        rows("0", 0, "", "", "");
        rows("1", 1, "0/00", "0.00 25500.00", "");
        rows("100", 100, "0/00", "0.00 255.00", "");
        rows("255", 255, "0/00", "0.00 100.00", "");
        rows("256", 256, "0/40", "0.00 99.61", success);
        rows("257", 257, "0/00 1/40", "0.00 99.22", success);
        rows("511", 511, "0/00 1/40", "0.00 49.90", success);
        rows("512", 512, "0/00 1/40", "0.00 49.80", success);
        rows("513", 513, "0/00 1/00 2/40", "0.00 49.71 99.81", success);
        rows("700", 700, "0/00 1/00 2/40", "0.00 36.43 73.14", success);
    }

    void sizes()
    {
        QFETCH(int, size);
        QFETCH(QString, blocks);
        QFETCH(QString, progress);
        QFETCH(QString, verdict);

        Transfer transfer;
        transfer.start(imageOf(size));
        transfer.acknowledgeAll();
        QCOMPARE(transfer.blocks(), blocks);
        QCOMPARE(transfer.progress.join(' '), progress);
        QCOMPARE(transfer.lines.join(' '), verdict);
    }

    void goldenBlock()
    {
        Transfer transfer;
        transfer.start(QByteArray(256, '\x01'));
        QCOMPARE(transfer.link.sent.size(), 1);
        const QByteArray frame = transfer.link.sent.first();
        QCOMPARE(frame.size(), 271);
        // 5A 5B A5 + 0A 01 + 01 79 + 07 02 40 + 256 x 01 add up to 328, so D8 makes the sum zero.
        QCOMPARE(frame.toHex(), QByteArray("5a5ba5" // start, address
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
        transfer.start(imageOf(600));
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
        transfer.start(imageOf(700));
        QCOMPARE(CoreUpload::m_FWPersent.load(), 255.0 / 700.0 * 100.0);
        transfer.link.deliver(blockReply());
        QCOMPARE(CoreUpload::m_FWPersent.load(), double(512.0F / 700.0F * 100.0F));
    }

    /** The device waits for the block; standard error, the log and the progress come after it. */
    void nextBlockComesFirst()
    {
        Transfer transfer;
        transfer.start(imageOf(1000));
        static QStringList events;
        events.clear();
        StandardErrorCatch standardError;
        transfer.link.onWrite = [&] {
            if (standardError.hasCaught())
                events.append("standard error");
            events.append("block");
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
        QCOMPARE(events.count("block"), 1);
        QVERIFY(events.contains("progress"));
        QVERIFY(events.contains("log"));
        QVERIFY(standardError.hasCaught());
    }

    void repliesAreReadByFlagAndKey()
    {
        Transfer transfer;
        transfer.start(imageOf(600));
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
        Transfer transfer;
        transfer.start(imageOf(1000));
        // A wrong address, a length high byte of 2, a bad checksum: each drops what it has so far.
        transfer.link.deliver(QByteArray::fromHex("00ff5b5a5b5b5b00") + blockReply());
        transfer.link.deliver(QByteArray::fromHex("5b5ba50802") + blockReply());
        QByteArray bad = blockReply();
        bad[bad.size() - 1] = char(bad.at(bad.size() - 1) + 1);
        transfer.link.deliver(bad + blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/00 3/40"));
    }

    void repliesOfAnyForm_data()
    {
        const tests::DataTable<QByteArray, bool> rows("reply", "accepted");

        const auto frame = [](quint16 word, const char *payload) {
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
    }

    void repliesOfAnyForm()
    {
        QFETCH(QByteArray, reply);
        QFETCH(bool, accepted);
        Transfer transfer;
        transfer.start(imageOf(600));
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
            transfer.start(imageOf(600));
            transfer.link.deliver(reply.left(at));
            transfer.link.deliver(reply.mid(at));
            QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00"));
        }
    }

    void longReplyFits()
    {
        Transfer transfer;
        transfer.start(imageOf(600));
        // The longest length a reply may have: 516 bytes in all.
        const QByteArray longest =
            mcu::buildFrame(mcu::replyStart, {}, 0xFFFF, "\x01\x79" + QByteArray(504, '\0'));
        QCOMPARE(longest.size(), 516);
        transfer.link.deliver(longest);
        QCOMPARE(transfer.link.sent.size(), 2);
        // With one more byte the frame is too long for a reply.
        transfer.link.deliver(
            mcu::buildFrame(mcu::replyStart, {}, 0xFFFF, "\x01\x79" + QByteArray(505, '\0')));
        QCOMPARE(transfer.link.sent.size(), 2);
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.link.sent.size(), 3);
    }

    void duplicateInOneChunk()
    {
        Transfer transfer;
        transfer.start(imageOf(1000));
        transfer.link.deliver(blockReply() + blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00"));
        // In a separate chunk it looks like the next acknowledgement.
        transfer.link.deliver(blockReply());
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/00 3/40"));
    }

    void nothingAfterTheVerdict()
    {
        Transfer transfer;
        transfer.start(imageOf(256));
        transfer.link.deliver(blockReply());
        canRead = true;
        transfer.link.deliver(blockReply());
        transfer.link.deliver(blockReply(3));
        QCOMPARE(transfer.lines, QStringList{"SingleUploadSuccess"});
        QCOMPARE(transfer.link.sent.size(), 1);
    }

    void staleHalfFrame()
    {
        Transfer transfer;
        transfer.start(imageOf(600));
        transfer.link.deliver(blockReply().left(8));
        transfer.start(imageOf(600));
        transfer.link.deliver(blockReply());
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 0/00 1/00"));
    }

    void twoImages()
    {
        Transfer transfer;
        transfer.start(imageOf(300));
        transfer.acknowledgeAll();
        transfer.link.sent.clear();
        transfer.start(imageOf(700));
        transfer.acknowledgeAll();
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/00 2/40"));
        QCOMPARE(transfer.lines.join(' '),
                 QStringLiteral("SingleUploadSuccess SingleUploadSuccess"));
    }

    void fileEntry()
    {
        QTemporaryDir dir;
        // ".bin" counts anywhere in the name.
        QFile file(dir.filePath(QStringLiteral("main.bin.old")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(imageOf(300));
        file.close();

        Transfer transfer;
        QVERIFY(transfer.upload.uploadFile(1, 0, file.fileName()));
        transfer.acknowledgeAll();
        QCOMPARE(transfer.blocks(), QStringLiteral("0/00 1/40"));
        QCOMPARE(transfer.link.sent.first().mid(14, 256), imageOf(300).left(256));
        QCOMPARE(transfer.lines, QStringList{"SingleUploadSuccess"});
    }

    void fileEntryRefuses_data()
    {
        const tests::DataTable<QString, QByteArray> rows("name", "content");
        const QByteArray missing;
        rows("no .bin", "image.fwm", imageOf(300));
        rows("capitals", "image.BIN", imageOf(300));
        rows("missing", "image.bin", missing);
        rows("empty", "image.bin", "");
        rows("a folder", "folder.bin/", missing);
    }

    void fileEntryRefuses()
    {
        QFETCH(QString, name);
        QFETCH(QByteArray, content);
        QTemporaryDir dir;
        QVERIFY(QDir(dir.path()).mkdir(QStringLiteral("folder.bin")));
        if (!content.isNull()) {
            QFile file(dir.filePath(name));
            QVERIFY(file.open(QIODevice::WriteOnly));
            file.write(content);
        }
        Transfer transfer;
        QVERIFY(!transfer.upload.uploadFile(1, 0, dir.filePath(name)));
        QVERIFY(transfer.link.sent.isEmpty());
        QVERIFY(transfer.lines.isEmpty());
    }
};

AGENT_TEST(TestTransfer)

} // namespace tst_transfer

#include "tst_transfer.moc"
