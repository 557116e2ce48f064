// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/ModuleFiles.h"
#include "netupgrade/NetModelUpgrade.h"
#include "netupgrade/NetResume.h"
#include "support/FullDisk.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QSemaphore>
#include <QtTest>

#include <limits>
#include <pthread.h>
#include <system_error>
#include <thread>

namespace netupgrade::tst_module {

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using netframes::write;

using namespace std::chrono_literals;

namespace {

/** A module with private paths and short times; records all its messages in one list. */
struct Bench : ModuleFiles
{
    Bench() { platform.pauses.beforeModuleReboot = 1ms; }

    void start()
    {
        platform.shell = shell.shell();
        module = std::make_unique<NetModelUpgrade>(nullptr, platform);
        QObject::connect(module.get(), &NetModelUpgrade::message, module.get(),
                         [this](const QStringList &list) { log.append(list.join("||")); });
        QObject::connect(module.get(), &NetModelUpgrade::slotProgressValueChanged, module.get(),
                         [this](double sent, double total) {
                             log.append(QString("%1 of %2").arg(sent).arg(total));
                         });
        QObject::connect(module.get(), &NetModelUpgrade::signalResponse, module.get(),
                         [this](const QByteArray &datas) { answer(datas); });
    }

    void answer(const QByteArray &datas)
    {
        answers.append(datas);
        log.append(datas.startsWith('W') ? QString::fromLatin1(datas)
                                         : QString::fromLatin1(datas.toHex()));
    }

    /** The answer to `frame`, empty when there was none at once. */
    QByteArray ask(const QByteArray &frame)
    {
        const int before = answers.size();
        module->slotReceiveData(frame);
        return answers.size() > before ? answers.last() : QByteArray();
    }

    void sendPackage(const QByteArray &archive)
    {
        module->slotReceiveData(netframes::enter());
        for (const QByteArray &frame : netframes::package(archive))
            module->slotReceiveData(frame);
    }

    /** An install by blocks was interrupted while it unpacked. */
    void interrupt() const
    {
        putArchive("archive");
        NetMarker marker;
        marker.variant = NetInstallVariant::Blocks;
        marker.digest = imageHeader("archive").md5Text;
        marker.version = "1.23";
        QVERIFY(NetMarkerFile(platform).store(marker));
    }

    QStringList commands() const { return portable(shell.commands()); }

    QString lastCommand() const { return commands().value(commands().size() - 1); }

    RecordingShell shell;
    std::unique_ptr<NetModelUpgrade> module;
    QStringList log;
    QList<QByteArray> answers;
};

/** No thread can be created meanwhile: its stack would be larger than the address space. */
class NoThreads
{
public:
    NoThreads()
    {
        pthread_getattr_default_np(&m_before);
        pthread_attr_t attributes;
        pthread_attr_init(&attributes);
        pthread_attr_setstacksize(&attributes, std::numeric_limits<size_t>::max() / 2 + 1);
        pthread_setattr_default_np(&attributes);
        pthread_attr_destroy(&attributes);
        try {
            std::thread([] {}).join();
            qFatal("there is a thread anyway");
        } catch (const std::system_error &) {
        }
    }
    ~NoThreads()
    {
        pthread_setattr_default_np(&m_before);
        pthread_attr_destroy(&m_before);
    }
    NoThreads(const NoThreads &) = delete;
    NoThreads &operator=(const NoThreads &) = delete;

private:
    pthread_attr_t m_before{};
};

/** The end of a test that fails must not wait for what it holds. */
struct Releaser
{
    QSemaphore &semaphore;
    ~Releaser() { semaphore.release(); }
};

QByteArray block(char fill)
{
    return {256, fill};
}

/** A frame with a word that has no answer. */
QByteArray unanswered()
{
    return mcu::buildFrame(mcu::hostStart, {}, command::reboot);
}

} // namespace

class TestModule : public QObject
{
    Q_OBJECT

private slots:
    void interface()
    {
        const QMetaObject &meta = NetModelUpgrade::staticMetaObject;
        QList<QByteArray> methods;
        for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
            methods.append(meta.method(i).methodSignature());
        QCOMPARE(methods, (QList<QByteArray>{"signalResponse(QByteArray)", "message(QStringList)",
                                             "slotProgressValueChanged(double,double)",
                                             "slotReceiveData(QByteArray)"}));
    }

    void wholePackage()
    {
        Bench bench;
        bench.start();
        const QByteArray archive(700, 'a');
        QByteArray unpacked;
        bench.shell.onRun = [&](const QString &command) {
            if (command.contains(" tar "))
                unpacked = bench.storedArchive();
        };
        bench.sendPackage(archive);
        QVERIFY(bench.module->isInstalling());
        QTRY_COMPARE(bench.lastCommand(), QString("sudo reboot"));

        const QString accepted = QString::fromLatin1(netframes::blockAccepted.toHex());
        QCOMPARE(bench.log, (QStringList{
                                QString::fromLatin1(netframes::enterAccepted.toHex()),
                                accepted,
                                accepted,
                                "NET package checksum OK.",
                                "30 of 100",
                                "NET package upgrade 30%.",
                                "70 of 100",
                                "NET package upgrade 70%.",
                                "80 of 100",
                                "NET package upgrade 80%.",
                                "NET firmware checksum success.",
                                "Create version file success",
                                "NETVERSION||1.23",
                                "90 of 100",
                                "NET package upgrade 90%.",
                                "NET firmware ver1.23 upgrade success.",
                                "WriteIsUgradingTrue",
                                "NET ready to reboot after 2 seconds.",
                            }));
        QCOMPARE(unpacked, archive);
        QCOMPARE(bench.storedVersion(), QByteArray("1.23"));
    }

    void pieces()
    {
        Bench bench;
        bench.start();
        const QByteArray frame = write(0, 0, block('0'));
        for (int split = 1; split < frame.size(); ++split) {
            bench.answers.clear();
            bench.module->slotReceiveData(netframes::enter());
            bench.module->slotReceiveData(frame.left(split));
            bench.module->slotReceiveData(frame.mid(split));
            QCOMPARE(bench.answers,
                     (QList<QByteArray>{netframes::enterAccepted, netframes::blockAccepted}));
        }
    }

    void twoFramesInOneRead()
    {
        Bench bench;
        bench.start();
        bench.module->slotReceiveData(netframes::enter() + "\r\nUpgradeDatas||" +
                                      write(0, 0, block('0')));
        QCOMPARE(bench.answers,
                 (QList<QByteArray>{netframes::enterAccepted, netframes::blockAccepted}));
    }

    /** Also what follows in the same read is dropped. */
    void gateOpensAgain()
    {
        Bench bench;
        bench.platform.timeOuts.netGateReopen = 50ms;
        bench.start();
        QElapsedTimer clock;
        clock.start();
        QCOMPARE(bench.ask(unanswered() + netframes::enter()), QByteArray());
        QCOMPARE(bench.ask(netframes::enter()), QByteArray());
        QTRY_COMPARE(bench.ask(netframes::enter()), netframes::enterAccepted);
        // Coarse timers may fire up to a twentieth early.
        QVERIFY(clock.elapsed() >= 47);
    }

    void falseLengthEndsInSilence()
    {
        Bench bench;
        bench.platform.timeOuts.netAssembly = 200ms;
        bench.start();
        bench.module->slotReceiveData(QByteArray::fromHex("5a5ba5ffff"));
        QCOMPARE(bench.ask(netframes::enter()), QByteArray());
        QElapsedTimer silence;
        silence.start();
        QTRY_VERIFY(silence.hasExpired(210));
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterAccepted);
    }

    void failedInstallListensAtOnce()
    {
        Bench bench;
        bench.shell.digest = [](const QString &) { return QByteArray(32, '0'); };
        bench.start();
        // A client may send the next package as soon as it has read the last message.
        QStringList busyWhenSaid;
        connect(bench.module.get(), &NetModelUpgrade::message, this, [&](const QStringList &list) {
            if (bench.module->isInstalling())
                busyWhenSaid.append(list);
        });
        bench.sendPackage(QByteArray(300, 'a'));
        QTRY_COMPARE(bench.log.last(), QString("NET package checksum error."));
        QCOMPARE(busyWhenSaid, QStringList());
        QVERIFY(!bench.module->isInstalling());
        QCOMPARE(bench.commands(), QStringList{"sudo md5sum /data/sysupdate.tar.bz2"});
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterAccepted);
    }

    void secondInstallAfterAFailedOne()
    {
        Bench bench;
        bench.start();
        QList<QByteArray> damaged = netframes::package(QByteArray(300, 'a'));
        damaged[1] = write(1, 0x40, block('b'));
        bench.module->slotReceiveData(netframes::enter());
        for (const QByteArray &frame : damaged)
            bench.module->slotReceiveData(frame);
        QTRY_VERIFY(bench.log.contains("NET package checksum error."));
        QTRY_VERIFY(!bench.module->isInstalling());

        // The damaged last block was never acknowledged; repeating it changes nothing.
        QCOMPARE(bench.ask(damaged.last()), netframes::blockRefused);
        bench.sendPackage(QByteArray(300, 'a'));
        QTRY_COMPARE(bench.lastCommand(), QString("sudo reboot"));
        QVERIFY(bench.log.contains("NET firmware ver1.23 upgrade success."));
    }

    void refusesWhileRunActive()
    {
        Bench bench;
        bench.start();
        bool active = true;
        bench.module->setRunActive([&] { return active; });
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterRefused);
        QCOMPARE(bench.ask(write(0, 0, block('0'))), netframes::blockRefused);
        QCOMPARE(bench.storedArchive(), QByteArray("no file"));
        active = false;
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterAccepted);
        QCOMPARE(bench.ask(write(0, 0, block('0'))), netframes::blockAccepted);
        active = true;
        QCOMPARE(bench.ask(write(1, 0x40, block('1'))), netframes::blockRefused);
        QVERIFY(!bench.module->isInstalling());
        QVERIFY(bench.commands().isEmpty());
    }

    /** The gate's own time must not end while the commands run, and neither a notice nor a
     * repetition of the last block, which has no answer, may sound like an end. */
    void silentUntilTheInstallEnds()
    {
        for (const bool succeeds : {true, false}) {
            QSemaphore digest;
            Bench bench;
            const Releaser letItEnd{digest};
            bench.platform.timeOuts.netGateReopen = 1ms;
            bench.platform.pauses.beforeModuleReboot = 1h;
            bench.shell.digest = [&](const QString &command) {
                digest.acquire();
                return succeeds ? RecordingShell::md5OfNamedFile(command) : QByteArray(32, '0');
            };
            bench.start();
            bench.sendPackage(QByteArray(300, 'a'));
            const QByteArray last = netframes::package(QByteArray(300, 'a')).last();
            const int answers = bench.answers.size();
            for (const QByteArray &frame : {netframes::enter(), last, netframes::enter()}) {
                // Longer than the gate's own time.
                QTest::qWait(20);
                QCOMPARE(bench.ask(frame), QByteArray());
                bench.module->noticeUpgradingFalse();
            }
            QCOMPARE(bench.answers.size(), answers);
            digest.release();
            QTRY_COMPARE(bench.log.last(), QString(succeeds ? "NET ready to reboot after 2 seconds."
                                                            : "NET package checksum error."));
            QCOMPARE(bench.module->isInstalling(), succeeds);
            QCOMPARE(bench.ask(last), succeeds ? QByteArray() : netframes::blockRefused);
            QTRY_COMPARE(bench.ask(netframes::enter()),
                         succeeds ? netframes::enterRefused : netframes::enterAccepted);
            QCOMPARE(bench.ask(write(0, 0, block('0'))),
                     succeeds ? netframes::blockRefused : netframes::blockAccepted);
        }
    }

    void installingEndsWithoutReboot()
    {
        Bench bench;
        bench.platform.timeOuts.runGuard = 1ms;
        bench.start();
        bench.sendPackage(QByteArray(300, 'a'));
        QTRY_COMPARE(bench.lastCommand(), QString("sudo reboot"));
        QTRY_VERIFY(!bench.module->isInstalling());
        QCOMPARE(bench.ask(netframes::package(QByteArray(300, 'a')).last()),
                 netframes::blockRefused);
    }

    void staysResponsiveWhileUnpacking()
    {
        Bench bench;
        QSemaphore unpacking;
        bench.shell.onRun = [&](const QString &command) {
            if (command.contains(" tar "))
                unpacking.acquire();
        };
        bench.start();
        bench.sendPackage(QByteArray(300, 'a'));
        QTRY_COMPARE(bench.log.last(), QString("NET package upgrade 30%."));
        QVERIFY(bench.lastCommand().contains(" tar "));
        // The main thread is free; the receiver says nothing.
        QCOMPARE(bench.ask(netframes::enter()), QByteArray());
        unpacking.release();
        QTRY_COMPARE(bench.lastCommand(), QString("sudo reboot"));
    }

    void blocksThatCannotBeStored_data()
    {
        const tests::DataTable<QString, int> rows("archive", "number");
        rows("no first block", "archive", 5);
        rows("no folder", "missing/archive", 0);
        rows("full disk", "/dev/full", 0);
    }

    void blocksThatCannotBeStored()
    {
        QFETCH(QString, archive);
        QFETCH(int, number);
        Bench bench;
        bench.platform.paths.netArchive = bench.folder.filePath(archive);
        bench.start();
        QCOMPARE(bench.ask(write(number, 0, block('0'))), netframes::blockRefused);
        QCOMPARE(bench.ask(write(number, 0, block('0'))), netframes::blockRefused);
        QCOMPARE(bench.ask(write(number + 1, 0x40, block('1'))), netframes::blockRefused);
        QVERIFY(!bench.module->isInstalling());
        QCOMPARE(bench.commands(), QStringList());
    }

    /** The part of the block that fitted is not in the archive when the block is sent again. */
    void diskFullInABlock()
    {
        Bench bench;
        bench.start();
        const QByteArray second = write(1, 0, block('1'));
        QCOMPARE(bench.ask(write(0, 0, block('0'))), netframes::blockAccepted);
        {
            const FullDisk full(300);
            QCOMPARE(bench.ask(second), netframes::blockRefused);
        }
        QCOMPARE(bench.ask(second), netframes::blockAccepted);
        QCOMPARE(bench.storedArchive(), QByteArray(194, '0') + block('1'));
    }

    void repeatedBlock()
    {
        Bench bench;
        bench.start();
        bench.module->slotReceiveData(write(0, 0, block('0')));
        bench.module->slotReceiveData(write(3, 0, block('3')));
        QCOMPARE(bench.ask(write(3, 0, block('3'))), netframes::blockAccepted);
        QCOMPARE(bench.storedArchive(), QByteArray(194, '0') + block('3'));
    }

    void notice()
    {
        Bench bench;
        bench.start();
        bench.module->noticeUpgradingFalse();
        QCOMPARE(bench.answers,
                 (QList<QByteArray>{netframes::blockAccepted, "WriteIsUgradingFalse"}));
    }

    void noticeOpensTheGate()
    {
        Bench bench;
        bench.start();
        bench.module->slotReceiveData(unanswered());
        bench.module->noticeUpgradingFalse();
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterAccepted);
    }

    void destroyedWhileInstalling()
    {
        Bench bench;
        bench.start();
        bench.sendPackage(QByteArray(300, 'a'));
        bench.module.reset();
        QCOMPARE(bench.lastCommand(), QString("sync"));
    }

    /** Each line is said before the command after it begins, and none while the last block is
     * taken. */
    void installWithoutAThread()
    {
        Bench bench;
        bench.platform.pauses.beforeModuleReboot = 1h;
        QList<int> linesBeforeCommands;
        bench.shell.onRun = [&](const QString &) { linesBeforeCommands.append(bench.log.size()); };
        bench.start();
        {
            const NoThreads noThreads;
            bench.sendPackage(QByteArray(300, 'a'));
            QVERIFY(bench.module->isInstalling());
            QCOMPARE(bench.commands(), QStringList());
            QTRY_COMPARE(bench.log.last(), QString("NET ready to reboot after 2 seconds."));
        }
        const int answers = 1 + netframes::package(QByteArray(300, 'a')).size() - 1;
        // After the answers to the blocks: one line before the root is writable, three before tar,
        // ...
        QCOMPARE(linesBeforeCommands,
                 (QList<int>{answers + 1, answers + 3, answers + 5, answers + 7, answers + 10}));
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterRefused);
    }

    void nothingToResume()
    {
        Bench bench;
        bench.start();
        bench.module->resume([](const NetResumeEvent &) { QFAIL("nothing to report"); });
        QVERIFY(!bench.module->isInstalling());
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterAccepted);
    }

    void resumesMeanwhileRefuses()
    {
        Bench bench;
        bench.platform.pauses.beforeModuleReboot = 0ms;
        bench.platform.timeOuts.runGuard = 1ms;
        QSemaphore held;
        bench.shell.onRun = [&](const QString &command) {
            if (command.startsWith("sudo tar"))
                held.acquire();
        };
        bench.start();
        bench.interrupt();
        const Releaser releaser{held};
        QList<NetResumeEvent::Kind> events;
        bench.module->resume([&](const NetResumeEvent &event) {
            QCOMPARE(QThread::currentThread(), bench.module->thread());
            events.append(event.kind);
        });
        QVERIFY(bench.module->isInstalling());
        QCOMPARE(bench.ask(netframes::enter()), netframes::enterRefused);
        QTRY_COMPARE(bench.lastCommand(), QString("sudo tar -C / -xf /data/sysupdate.tar.bz2"));
        QTRY_COMPARE(events, QList{NetResumeEvent::Kind::Begun});
        const int answers = bench.answers.size();
        bench.module->noticeUpgradingFalse();
        QCOMPARE(bench.answers.size(), answers);
        QVERIFY(bench.module->isInstalling());
        held.release();
        QTRY_COMPARE(bench.lastCommand(), QString("sudo reboot"));
        QCOMPARE(events, (QList{NetResumeEvent::Kind::Begun, NetResumeEvent::Kind::Completed}));
        QTRY_VERIFY(!bench.module->isInstalling());
        QCOMPARE(bench.log, QStringList(netframes::enterRefused.toHex()));
    }

    void resumesWithoutAThread()
    {
        Bench bench;
        bench.platform.pauses.beforeModuleReboot = 0ms;
        bench.start();
        bench.interrupt();
        const NoThreads none;
        bench.module->resume([](const NetResumeEvent &) {});
        QCOMPARE(bench.commands(), QStringList());
        QTRY_COMPARE(bench.lastCommand(), QString("sudo reboot"));
        QCOMPARE(bench.commands().size(), 6);
    }

    void destroyedWhileResuming()
    {
        Bench bench;
        bench.start();
        bench.interrupt();
        bench.module->resume([](const NetResumeEvent &) { QFAIL("too late to report"); });
        bench.module.reset();
        QCOMPARE(bench.commands().size(), 5);
    }
};

AGENT_TEST(TestModule)

} // namespace netupgrade::tst_module

#include "tst_module.moc"
