// SPDX-License-Identifier: Apache-2.0
#include "links/CoreCOMQ.h"
#include "links/LinkState.h"
#include "support/DeclaredMethods.h"
#include "support/Pty.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QAbstractEventDispatcher>
#include <QSerialPortInfo>
#include <QSignalSpy>
#include <QtTest>

namespace tst_serial {

using links::DeviceLink;

namespace {

QString settings(const CoreCOMQ &link)
{
    const auto *port = link.findChild<QSerialPort *>();
    return QStringLiteral("%1 %2 %3 %4 %5")
        .arg(port->baudRate())
        .arg(int(port->dataBits()))
        .arg(int(port->stopBits()))
        .arg(int(port->parity()))
        .arg(int(port->flowControl()));
}

/** A link that is open at a pseudo-terminal. */
struct Line
{
    Pty pty;
    CoreCOMQ link;

    Line()
    {
        if (!link.openAt(pty.port(), 57600))
            qFatal("the pseudo-terminal cannot be opened");
    }
};

} // namespace

class TestSerial : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        canRead = false;
        currentCommandKey = 0;
    }

    void metaObject()
    {
        QCOMPARE(declaredMethods(CoreCOMQ::staticMetaObject),
                 (QStringList{"signal signalReceiveDatas(QByteArray) datas", "slot recvMsg()"}));
    }

    void opensWithSettings_data()
    {
        const tests::DataTable<int, int, int, QString, QString> rows(
            "baudRate", "dataBits", "stopBits", "parity", "expected");

        rows("usual", 57600, 8, 1, "NoParity", "57600 8 1 0 0");
        rows("two stop bits", 9600, 8, 2, "NoParity", "9600 8 2 0 0");
        // What is unknown leaves the setting alone, and the port stays open.
        rows("9 data bits", 57600, 9, 1, "NoParity", "57600 8 1 0 0");
        rows("4 data bits", 57600, 4, 1, "NoParity", "57600 8 1 0 0");
        rows("3 stop bits", 57600, 8, 3, "NoParity", "57600 8 1 0 0");
        rows("0 stop bits", 57600, 8, 0, "NoParity", "57600 8 1 0 0");
        rows("parity", 57600, 8, 1, "noparity", "57600 8 1 0 0");
        // A pseudo-terminal knows 8 data bits without parity and nothing else.
        rows("even, 7 bits", 115200, 7, 1, "EvenParity", "115200 8 1 0 0");
    }

    void opensWithSettings()
    {
        QFETCH(int, baudRate);
        QFETCH(int, dataBits);
        QFETCH(int, stopBits);
        QFETCH(QString, parity);
        QFETCH(QString, expected);
        Pty pty;
        CoreCOMQ link;
        QVERIFY(link.open(pty.port(), baudRate, dataBits, stopBits, parity));
        QVERIFY(link.isOpen());
        QCOMPARE(settings(link), expected);
    }

    void missingPort()
    {
        CoreCOMQ link;
        const QString before = settings(link);
        QVERIFY(
            !link.open(QStringLiteral("no-such-port"), 115200, 7, 2, QStringLiteral("OddParity")));
        QVERIFY(!link.isOpen());
        QCOMPARE(settings(link), before);
    }

    void otherPort()
    {
        Line line;
        Pty second;
        QVERIFY(line.link.openAt(second.port(), 57600));
        QVERIFY(line.link.send("second"));
        QCOMPARE(second.read(6), QByteArray("second"));
        QVERIFY(line.pty.readNow().isEmpty());
        // A failed open leaves nothing open.
        QVERIFY(!line.link.openAt(QStringLiteral("no-such-port"), 57600));
        QVERIFY(!line.link.send("lost"));
    }

    void keyAndFlag_data()
    {
        const tests::DataTable<QByteArray, int> rows("frame", "key");
        rows("8 bytes", QByteArray::fromHex("0001020304050607"), 0x1234);
        rows("9 bytes", QByteArray::fromHex("000102030405060708"), 0x0807);
        rows("read model name", QByteArray::fromHex("5a5ba50500000003f9a5"), 0xF903);
        rows("extended", QByteArray::fromHex("5b5ba508000000ffff01790025"), 0xFFFF);
    }

    void keyAndFlag()
    {
        QFETCH(QByteArray, frame);
        QFETCH(int, key);
        Line line;
        currentCommandKey = 0x1234;
        QVERIFY(line.link.send(frame));
        QCOMPARE(int(currentCommandKey), key);
        QVERIFY(canRead);
        QCOMPARE(line.pty.read(frame.size()), frame);
    }

    /** No turn of the event loop lies between a command and its bytes on the line. */
    void writesAtOnce()
    {
        Line line;
        QVERIFY(line.link.openAt(line.pty.port(), 57600)); // again
        QVERIFY(line.link.send("command"));
        QCOMPARE(line.pty.readNow(), QByteArray("command"));
    }

    /** Neither what was written nor what was read goes through the buffers of Qt's port, which
     * would take a turn of the event loop to report the write. */
    void needsNoTurnAfterAFrame()
    {
        Line line;
        auto *const port = line.link.findChild<QSerialPort *>();
        QSignalSpy written(port, &QSerialPort::bytesWritten);
        QSignalSpy received(&line.link, &CoreCOMQ::signalReceiveDatas);
        QVERIFY(line.link.send("command"));
        line.pty.write("reply");
        QVERIFY(waitFor([&] { return received.count() == 1; }));
        settle();
        QCOMPARE(written.count(), 0);
        QVERIFY(port->readAll().isEmpty());
        QCOMPARE(received.count(), 1);
    }

    void sendsWhatTheKernelDoesNotTakeAtOnce()
    {
        Line line;
        QByteArray all;
        for (int i = 0; i < 100; ++i) {
            const QByteArray frame(1000, char('a' + i % 26));
            QVERIFY(line.link.send(frame));
            all += frame;
        }
        QByteArray received;
        QVERIFY(waitFor([&] {
            received += line.pty.readNow();
            return received.size() >= all.size();
        }));
        QCOMPARE(received, all);
    }

    void closedPort()
    {
        CoreCOMQ link;
        QVERIFY(!link.sendText(QStringLiteral("A00GET VER INF")));
        QVERIFY(!canRead);
        QVERIFY(!link.send(QByteArray::fromHex("000102030405060708")));
        // Even so the flag is set and the key kept: a time-out follows, and not a stale key.
        QVERIFY(canRead);
        QCOMPARE(currentCommandKey, quint16(0x0807));
        link.close();
    }

    void everyChunkIsHandedOn()
    {
        Line line;
        QByteArray received;
        connect(&line.link, &CoreCOMQ::signalReceiveDatas,
                [&](const QByteArray &datas) { received += datas; });
        QByteArray all;
        for (const QByteArray &chunk :
             {QByteArray("a"), QByteArray("bc"), QByteArray("\0\xff\x5b", 3)}) {
            line.pty.write(chunk);
            all += chunk;
            QVERIFY(waitFor([&] { return received.size() == all.size(); }));
            QCOMPARE(received, all);
        }
    }

    void textCommands_data()
    {
        const tests::DataTable<QString, int> rows("text", "sent");
        const auto x = [](int count) { return QString(count, QLatin1Char('x')); };
        rows("98", x(98), 98);
        rows("99", x(99), 99);
        rows("100", x(100), 99);
        rows("150", x(150), 99);
        rows("255", x(255), 99);
        rows("256", x(256), 0);
        rows("300", x(300), 44);
        rows("0", {}, 0);
        // Characters are counted, bytes are sent: 60 characters of two bytes each.
        rows("two-byte characters", QString(60, QChar(0xE9)), 60);
    }

    void textCommands()
    {
        QFETCH(QString, text);
        QFETCH(int, sent);
        Line line;
        QVERIFY(line.link.sendText(text));
        QVERIFY(line.link.send("|"));
        const QByteArray all = line.pty.read(sent + 1);
        QCOMPARE(all, text.toUtf8().left(sent) + '|');
    }

    /** The notifier of a hung-up line must not keep the thread busy. */
    void masterHangsUp()
    {
        Line line;
        line.pty.hangUp();
        QVERIFY(waitFor([&] { return !line.link.isOpen(); }));
        QVERIFY(!line.link.send("lost"));

        int turns = 0;
        connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::awake, &line.link,
                [&] { ++turns; });
        QTimer quiet;
        quiet.setSingleShot(true);
        quiet.start(200);
        QVERIFY(waitFor([&] { return !quiet.isActive(); }));
        QVERIFY2(turns < 100, qPrintable(QString::number(turns)));
    }

    void opensAgainAfterHangUp()
    {
        Line line;
        Pty other;
        line.pty.hangUp();
        // At once, before the loss has been noticed: it must not close the new port.
        QVERIFY(line.link.openAt(other.port(), 57600));
        settle();
        QVERIFY(line.link.isOpen());
        // The same for a device that was pulled out.
        emit line.link.findChild<QSerialPort *>()->errorOccurred(QSerialPort::ResourceError);
        settle();
        QVERIFY(line.link.isOpen());
        QVERIFY(line.link.send("again"));
        QCOMPARE(other.read(5), QByteArray("again"));
    }

    void asADeviceLink()
    {
        Pty pty;
        CoreCOMQ serial;
        DeviceLink &link = serial;
        QSignalSpy received(&link, &DeviceLink::received);
        QSignalSpy lost(&link, &DeviceLink::lost);
        QCOMPARE(QByteArray(link.label()), QByteArray("com"));
        QVERIFY(!link.openAt(QStringLiteral("no-such-port"), 57600));
        QVERIFY(link.openAt(pty.port(), 57600));
        QCOMPARE(settings(serial), QStringLiteral("57600 8 1 0 0"));
        QVERIFY(link.send("123456789"));
        QCOMPARE(pty.read(9), QByteArray("123456789"));
        QCOMPARE(currentCommandKey, quint16('8' + 256 * '9'));
        pty.write("reply");
        QVERIFY(waitFor([&] { return received.count() == 1; }));
        QCOMPARE(received.first().first().toByteArray(), QByteArray("reply"));
        link.close();
        QCOMPARE(lost.count(), 0);
        QVERIFY(link.openAt(pty.port(), 57600));
        pty.hangUp();
        QVERIFY(waitFor([&] { return lost.count() == 1; }));
        QVERIFY(!link.isOpen());
        QVERIFY(!link.send("nothing"));
    }

    void listsPorts()
    {
        QStringList expected;
        const auto ports = QSerialPortInfo::availablePorts();
        for (const QSerialPortInfo &port : ports)
            expected.append(port.portName());
        QCOMPARE(QStringList(CoreCOMQ::listPorts()), expected);
    }
};

AGENT_TEST(TestSerial)

} // namespace tst_serial

#include "tst_serial.moc"
