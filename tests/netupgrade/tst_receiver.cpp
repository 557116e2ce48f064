// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetBlockReceiver.h"
#include "protocol/Statuses.h"
#include "support/NetFrames.h"
#include "support/TestCase.h"

#include <QtTest>

namespace netupgrade::tst_receiver {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace status = protocol::status;
using netframes::write;

using Kind = NetBlockAction::Kind;

namespace {

/** Plays an owner that stores everything and answers at once, and notes each action in words. */
class Owner
{
public:
    void feed(const QByteArray &bytes)
    {
        for (const char byte : bytes) {
            if (const auto action = receiver.feed(quint8(byte)))
                take(*action);
        }
    }

    void take(const NetBlockAction &action)
    {
        if (!action.line.isEmpty())
            log.append(action.line);
        switch (action.kind) {
        case Kind::Answer:
            log.append(QString("%1 %2").arg(action.word, 4, 16, QChar('0')).arg(action.status));
            break;
        case Kind::Create:
            log.append(QString("create %1").arg(action.data.size()));
            archive = action.data;
            receiver.stored();
            break;
        case Kind::Append:
            log.append(QString("append %1").arg(action.data.size()));
            archive += action.data;
            receiver.stored();
            break;
        case Kind::Finish:
            log.append(QString("finish %1").arg(action.data.size()));
            archive += action.data;
            header = action.header;
            break;
        }
        receiver.listen();
    }

    bool busy = false;
    QString refusal;
    NetBlockReceiver receiver{[this] { return busy; }, [this] { return refusal; }};
    QStringList log;
    QByteArray archive;
    package::NetImage header;
};

QByteArray data(char fill, int size = 256)
{
    return {size, fill};
}

} // namespace

class TestReceiver : public QObject
{
    Q_OBJECT

private slots:
    void answersInGoldenFrames()
    {
        QCOMPARE(netBlockReply(command::enterUpdateMode, status::done), netframes::enterAccepted);
        QCOMPARE(netBlockReply(command::writeBlock, status::done), netframes::blockAccepted);
        QCOMPARE(netBlockReply(command::writeBlock, status::refused), netframes::blockRefused);
    }

    void conversations_data()
    {
        const tests::DataTable<QByteArray, QString> rows("bytes", "log");
        const auto row = [&rows](const char *name, const char *hex, const char *log) {
            rows(name, QByteArray::fromHex(hex), log);
        };
        row("host start byte", "5a5ba5070000000079200006", "7900 0");
        row("reply start byte", "5b5ba5070000000079200005", "7900 0");
        row("other start byte", "5c5ba5070000000079200004", "");
        row("other type", "5a5ba5070000000079000026", "7900 3");
        row("other index", "5a5ba5070000000079200105", "7900 3");
        row("no payload", "5a5ba505000000007928", "7900 3");
        row("long payload", "5a5ba508000000007920000005", "7900 3");
        row("wrong address", "5a5ba6070000000079200005", "");

        const QByteArray enter = netframes::enter();
        const QByteArray first = write(0, 0, data('0'));
        const QByteArray third = write(3, 0, data('3'));
        const QByteArray last = write(1, 0x40, data('1'));
        rows("repeated frames",
             first + first + third + third + third + write(4, 0, data('3')) + third,
             "create 194, 7901 0, append 256, 7901 0, 7901 0, append 256, append 256");
        rows("enter starts again", first + enter + first, "create 194, 7900 0, create 194");
        rows("the last block is not a repetition", first + last + last + first,
             "create 194, finish 256, finish 256, create 194");
        rows("header block with the last flag", write(0, 0x40, data('0')), "create 194");
        for (const int flags : {0x41, 0xC0, 0x80, 0xFF, 0})
            rows(qPrintable(QString("flags %1").arg(flags)), write(1, quint8(flags), data('1')),
                 "append 256");
        rows("padding", write(9, 0x40, data('1', 3) + data('\xFF', 400)), "finish 3");
        rows("odd sizes",
             write(0, 0, data('0', 100)) + write(1, 0, data('1', 10)) +
                 write(2, 0, data('2', 1000)),
             "create 38, append 10, append 1000");
        rows("largest frame", write(1, 0, data('x', 0xFFFF - 10)), "append 65525");
        rows("noise", "noise\r\nUpgradeDatas||" + enter + "\r\nUpgradeDatas||" + enter,
             "7900 0, 7900 0");
        rows("wrong checksum", QByteArray(first).replace(20, 1, "x") + first, "7901 1, create 194");
        rows("wrong checksum of any word", QByteArray::fromHex("5a5ba506000000341278ff"), "1234 1");

        const auto payload = [&rows](const char *name, const QByteArray &bytes, const char *log) {
            rows(name, mcu::buildFrame(mcu::hostStart, {}, command::writeBlock, bytes), log);
        };
        const QByteArray noData = QByteArray::fromHex("2000050000");
        for (int size = 0; size < 5; ++size)
            payload(qPrintable(QString("payload of %1").arg(size)), noData.left(size), "7901 3");
        payload("no data", noData, "append 0");
        const QByteArray header = QByteArray::fromHex("2000000000");
        payload("header block, 0", header, "7901 3");
        payload("header block, 61", header + data('0', 61), "7901 3");
        payload("header block, 62", header + data('0', 62), "create 0");
    }

    /** All bytes of one sender, and what the receiver does with them. */
    void conversations()
    {
        QFETCH(QByteArray, bytes);
        Owner owner;
        owner.feed(bytes);
        QTEST(owner.log.join(", "), "log");
        QVERIFY(owner.receiver.isListening());
    }

    void receivesAPackage_data()
    {
        QTest::addColumn<int>("size");
        for (const int size : {195, 256, 449, 450, 451, 1000, 20'000, 258 * 256})
            QTest::addRow("%d", size) << size;
    }

    void receivesAPackage()
    {
        QFETCH(int, size);
        QByteArray archive;
        for (int i = 0; i < size; ++i)
            archive.append(char(i * 7 % 251));
        Owner owner;
        owner.feed(netframes::enter());
        const QList<QByteArray> frames = netframes::package(archive);
        for (const QByteArray &frame : frames)
            owner.feed(frame);
        QCOMPARE(owner.log.size(), frames.size() + 1);
        QCOMPARE(owner.log.at(1), QString("create 194"));
        QVERIFY(owner.log.last().startsWith("finish"));
        QCOMPARE(owner.archive, archive);
        QCOMPARE(owner.header.version, QByteArray("1.23"));
        QCOMPARE(owner.header.md5Text,
                 QCryptographicHash::hash(archive, QCryptographicHash::Md5).toHex());
    }

    void numbersAreNotChecked()
    {
        Owner owner;
        owner.feed(write(0, 0, data('0')));
        owner.feed(write(7, 0, data('7')));
        owner.feed(write(3, 0, data('3')));
        owner.feed(write(0x1234, 0, data('x')));
        QCOMPARE(owner.archive, data('0', 194) + data('7') + data('3') + data('x'));
    }

    void unknownWordStopsListening()
    {
        Owner owner;
        owner.feed(mcu::buildFrame(mcu::hostStart, {}, command::reboot));
        QVERIFY(!owner.receiver.isListening());
        owner.feed(netframes::enter());
        QVERIFY(owner.log.isEmpty());
        owner.receiver.listen();
        owner.feed(netframes::enter());
        QCOMPARE(owner.log, QStringList{"7900 0"});
    }

    void ignoresInputWhileNotListening()
    {
        Owner owner;
        owner.feed(mcu::buildFrame(mcu::hostStart, {}, command::reboot));
        owner.feed(netframes::enter().left(5));
        owner.receiver.listen();
        owner.feed(netframes::enter().mid(5));
        QVERIFY(owner.log.isEmpty());
        owner.feed(netframes::enter());
        QCOMPARE(owner.log, QStringList{"7900 0"});
    }

    void refusesEverythingWhileBusy()
    {
        Owner owner;
        owner.feed(write(0, 0, data('0')));
        owner.busy = true;
        owner.feed(netframes::enter());
        owner.feed(write(0, 0, data('x')));
        owner.feed(write(1, 0, data('1')));
        owner.feed(write(2, 0x40, data('2')));
        owner.busy = false;
        owner.feed(write(1, 0, data('1')));
        QCOMPARE(owner.log,
                 (QStringList{"create 194", "7900 3", "7901 3", "7901 3", "7901 3", "append 256"}));
    }

    /** It is being installed, and has its answer after the module's restart. */
    void repeatedLastBlockWhileBusy()
    {
        Owner owner;
        const QByteArray last = write(1, 0x40, data('b'));
        const QByteArray other = write(1, 0x40, data('c'));
        owner.feed(write(0, 0, data('a')) + last);
        owner.log.clear();
        owner.busy = true;
        owner.feed(last);
        QCOMPARE(owner.log, QStringList());
        QVERIFY(!owner.receiver.isListening());
        owner.receiver.listen();
        owner.feed(other);
        QCOMPARE(owner.log, QStringList{"7901 3"});
        owner.receiver.forgetLastBlock();
        owner.feed(last);
        QCOMPARE(owner.log, (QStringList{"7901 3", "7901 3"}));
    }

    void refusesUnsignedImages()
    {
        Owner owner;
        owner.refusal = "signed packages only";
        owner.feed(netframes::enter());
        for (const QByteArray &frame : netframes::package(QByteArray(600, 'a')))
            owner.feed(frame);
        owner.feed(write(1, 0, "short"));
        QCOMPARE(owner.log.join(", "),
                 QString("signed packages only, 7900 3, 7901 3, 7901 3, 7901 3, "
                         "7901 3"));
        owner.busy = true;
        owner.log.clear();
        owner.feed(netframes::enter());
        QCOMPARE(owner.log.join(", "), QString("signed packages only, 7900 3"));
    }

    void keysThatAppearStopTheInstall()
    {
        Owner owner;
        owner.feed(netframes::enter());
        const QList<QByteArray> frames = netframes::package(QByteArray(600, 'a'));
        owner.feed(frames.at(0));
        owner.refusal = "signed packages only";
        owner.feed(frames.at(1));
        owner.feed(frames.at(2));
        // The sender repeats the last block, and then begins once more.
        owner.feed(frames.at(2));
        owner.feed(frames.at(0));
        QCOMPARE(owner.log.join(", "),
                 QString("7900 0, create 194, append 256, signed packages only, 7901 3, 7901 3, "
                         "signed packages only, 7901 3"));
    }

    void falseLength()
    {
        Owner owner;
        for (int length = 0; length < 5; ++length) {
            owner.feed(QByteArray::fromHex("5a5ba5") + QByteArray(1, char(length)) + data('\0', 1));
            owner.feed(netframes::enter());
        }
        QCOMPARE(owner.log.size(), 5);

        owner.feed(QByteArray::fromHex("5a5ba5ffff"));
        owner.feed(netframes::enter());
        QCOMPARE(owner.log.size(), 5);
        owner.receiver.dropPartialFrame();
        owner.feed(netframes::enter());
        QCOMPARE(owner.log.size(), 6);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestReceiver)

} // namespace netupgrade::tst_receiver

#include "tst_receiver.moc"
