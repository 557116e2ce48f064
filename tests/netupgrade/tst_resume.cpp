// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/ModuleFiles.h"
#include "netupgrade/NetInstaller.h"
#include "netupgrade/NetResume.h"
#include "support/FullDisk.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QDir>
#include <QSemaphore>
#include <QtTest>

#include <sys/stat.h>

Q_DECLARE_METATYPE(netupgrade::NetMarker::State)
Q_DECLARE_METATYPE(netupgrade::NetArchiveState)

namespace netupgrade::tst_resume {

using State = NetMarker::State;

using namespace std::chrono_literals;

namespace {

const QByteArray archive = "the archive";

NetMarker marker(State state, NetInstallVariant variant = NetInstallVariant::Blocks)
{
    return {state, variant, imageHeader(archive).md5Text, "1.23", false, 0};
}

/** A module. What is done and what is on the disk at that moment is in one list, in order. */
struct Bench : ModuleFiles
{
    Bench()
    {
        platform.pauses.betweenSyncs = 1h;
        platform.pauses.leftCommandPoll = 1ms;
        platform.system.syncFileSystem = [this](const QString &path) {
            note("sync " + (path == folder.path() ? "/" : QFileInfo(path).fileName()));
            return true;
        };
        platform.shell.run = [this](const QString &command) {
            note("$ " + command);
            if (command.startsWith("sudo rm"))
                QFile::remove(platform.paths.netArchive);
        };
        platform.shell.readFirst = [](const QString &command, int count) {
            return RecordingShell::md5OfNamedFile(command).left(count);
        };
    }

    bool resume()
    {
        return NetResume(platform, [this](const NetResumeEvent &event) { note(event); }).run();
    }

    void note(const QString &what)
    {
        QString line = what;
        line.replace(folder.path(), "/data");
        log.append(line + " [" + inShort(platform.paths.netMarker) + ' ' +
                   inShort(platform.paths.netVersion) + ']');
    }

    void note(const NetResumeEvent &event)
    {
        constexpr const char *kinds[] = {"begun", "completed", "discarded", "postponed"};
        QStringList words{kinds[int(event.kind)], event.version, event.variant, event.state};
        words << (event.attempt == 0 ? QString() : QString::number(event.attempt)) << event.reason;
        words.removeAll(QString());
        note(words.join(' '));
    }

    /** A file in short: of a marker only the state and the attempts. */
    static QString inShort(const QString &path)
    {
        QFile file(path);
        if (!file.open(QIODevice::ReadOnly))
            return "-";
        const QByteArray bytes = file.readAll();
        const auto marker = parseNetMarker(bytes);
        return marker ? nameOf(marker->state) + QString::number(marker->attempts)
                      : QString::fromLatin1(bytes);
    }

    void putMarker(const NetMarker &marker) const
    {
        QVERIFY(NetMarkerFile(platform).store(marker));
    }

    /** An install of the archive that has got as far as this. */
    void interrupt(State state, NetInstallVariant variant = NetInstallVariant::Blocks) const
    {
        putArchive(archive);
        putMarker(marker(state, variant));
    }

    bool install(NetInstallVariant variant)
    {
        return NetInstaller(platform, {}).install(variant, imageHeader(archive));
    }

    void putKeys() const
    {
        QVERIFY(QDir().mkpath(platform.paths.keys));
        put(platform.paths.keys + "/any.pub", "no key");
    }

    QStringList log;
};

/** What a resumed install does from its marker's state on. */
QStringList unpackSteps(const QString &attempts)
{
    const QString before = " [unpacking" + attempts + " 1.00]";
    return {"$ sudo mount -o remount rw /" + before,
            "$ sudo tar -C / -xf /data/sysupdate.tar.bz2" + before, "sync /" + before};
}

const QString removal = "$ sudo rm /data/sysupdate.tar.bz2";
const QString readOnly = "$ sudo mount -o remount ro /";

} // namespace

class TestResume : public QObject
{
    Q_OBJECT

private slots:
    void plan_data()
    {
        const tests::DataTable<State, int, NetArchiveState, bool, bool, bool, QString> rows(
            "state", "attempts", "archive", "isSigned", "isOwn", "signedOnly", "plan");
        using Archive = NetArchiveState;
        const auto name = [](const QStringList &words) { return words.join(' ').toLatin1(); };
        for (const int attempts : {0, 1, 2, 3, 1000}) {
            for (int bits = 0; bits < 8; ++bits) {
                const bool isSigned = bits & 1;
                const bool isOwn = bits & 2;
                const bool signedOnly = bits & 4;
                const bool isRefused = signedOnly && !(isSigned && isOwn);
                const auto row = [&](State state, Archive archive, const QString &plan) {
                    rows(name({nameOf(state), QString::number(int(archive)),
                               QString::number(attempts), QString::number(bits)}),
                         state, attempts, archive, isSigned, isOwn, signedOnly,
                         attempts >= 2 ? QStringLiteral("attempts") : plan);
                };
                const auto unpacking = [&](Archive archive, const QString &plan) {
                    row(State::Unpacking, archive, isRefused ? QStringLiteral("not_signed") : plan);
                };
                unpacking(Archive::Fits, "complete, remove");
                unpacking(Archive::None, "no_archive");
                unpacking(Archive::Differs, "archive_differs");
                row(State::Unpacked, Archive::Fits, "complete, remove");
                row(State::Unpacked, Archive::None, "complete");
                row(State::Unpacked, Archive::Differs, "complete");
            }
        }
    }

    void plan()
    {
        QFETCH(State, state);
        QFETCH(int, attempts);
        QFETCH(NetArchiveState, archive);
        QFETCH(bool, isSigned);
        QFETCH(bool, isOwn);
        QFETCH(bool, signedOnly);
        NetMarker found = marker(state);
        found.attempts = attempts;
        found.isSigned = isSigned;
        const NetResumePlan plan = netResumePlan({found, archive, isOwn, signedOnly});
        const QString text = plan.action == NetResumePlan::Action::Discard ? plan.reason
                             : plan.removesArchive ? QStringLiteral("complete, remove")
                                                   : QStringLiteral("complete");
        QTEST(text, "plan");
    }

    void damagedMarkerIsDiscarded()
    {
        for (const auto archive :
             {NetArchiveState::None, NetArchiveState::Fits, NetArchiveState::Differs}) {
            const NetResumePlan plan = netResumePlan({{}, archive, true, false});
            QVERIFY(plan.action == NetResumePlan::Action::Discard);
            QCOMPARE(plan.reason, QString("damaged"));
        }
    }

    void installOrder_data()
    {
        const tests::DataTable<NetInstallVariant, QStringList> rows("variant", "end");
        rows("package", NetInstallVariant::Package,
             QStringList{"$ sync [unpacked0 1.00]", "sync / [unpacked0 1.00]", "sync / [- 1.23]"});
        rows("device", NetInstallVariant::Quiet,
             QStringList{"$ sync [unpacked0 1.00]", "sync / [- 1.00]"});
        rows("blocks", NetInstallVariant::Blocks,
             QStringList{"sync / [unpacked0 1.00]", "$ sync [unpacked0 1.23]", "sync / [- 1.23]"});
    }

    /** What is synced when, and what the marker and the version file are at that moment. */
    void installOrder()
    {
        QFETCH(NetInstallVariant, variant);
        QFETCH(QStringList, end);
        Bench bench;
        bench.putArchive(archive);
        bench.putVersion("1.00");
        QVERIFY(bench.install(variant));
        QStringList expected{"sync sysupdate.tar.bz2 [- 1.00]"};
        expected += unpackSteps("0");
        expected += {removal + " [unpacked0 1.00]", readOnly + " [unpacked0 1.00]"};
        QCOMPARE(bench.log, expected + end);
    }

    void syncsWhileUnpacking()
    {
        Bench bench;
        bench.putArchive(archive);
        bench.platform.pauses.betweenSyncs = 1ms;
        QSemaphore syncs;
        const QString root = bench.platform.paths.root;
        bench.platform.system.syncFileSystem = [&](const QString &path) {
            if (path == root)
                syncs.release();
            return true;
        };
        bool enough = false;
        bench.platform.shell.run = [&](const QString &command) {
            if (command.startsWith("sudo tar"))
                enough = syncs.tryAcquire(3, 10'000);
        };
        QVERIFY(bench.install(NetInstallVariant::Quiet));
        QVERIFY(enough);
    }

    void unpacksAgain()
    {
        Bench bench;
        bench.interrupt(State::Unpacking);
        bench.putVersion("1.00");
        QVERIFY(bench.resume());
        QStringList expected{"begun 1.23 blocks unpacking 1 [unpacking1 1.00]"};
        expected += unpackSteps("1");
        expected += {removal + " [unpacked1 1.00]",
                     readOnly + " [unpacked1 1.00]",
                     "sync / [unpacked1 1.00]",
                     "$ sync [unpacked1 1.23]",
                     "sync / [- 1.23]",
                     "completed 1.23 blocks unpacking 1 [- 1.23]"};
        QCOMPARE(bench.log, expected);
    }

    void finishes_data()
    {
        const tests::DataTable<NetInstallVariant, QByteArray, QStringList, bool> rows(
            "variant", "archive", "steps", "reboots");
        const QString now = " [unpacked1 1.00]";
        const QStringList package{readOnly + now, "$ sync" + now, "sync / [unpacked1 1.00]",
                                  "sync / [- 1.23]"};
        const QStringList blocks{readOnly + now, "sync /" + now, "$ sync [unpacked1 1.23]",
                                 "sync / [- 1.23]"};
        const QStringList device{readOnly + now, "$ sync" + now, "sync / [- 1.00]"};
        rows("package", NetInstallVariant::Package, archive, QStringList{removal + now} + package,
             false);
        rows("package, archive removed", NetInstallVariant::Package, QByteArray(), package, false);
        rows("package, another archive", NetInstallVariant::Package, QByteArray("another"), package,
             false);
        rows("blocks", NetInstallVariant::Blocks, archive, QStringList{removal + now} + blocks,
             true);
        rows("blocks, archive removed", NetInstallVariant::Blocks, QByteArray(), blocks, true);
        rows("device", NetInstallVariant::Quiet, archive, QStringList{removal + now} + device,
             true);
    }

    void finishes()
    {
        QFETCH(NetInstallVariant, variant);
        QFETCH(QByteArray, archive);
        QFETCH(QStringList, steps);
        Bench bench;
        if (!archive.isEmpty())
            bench.putArchive(archive);
        bench.putMarker(marker(State::Unpacked, variant));
        bench.putVersion("1.00");
        QTEST(bench.resume(), "reboots");
        QCOMPARE(bench.log.mid(1, bench.log.size() - 2), steps);
        QCOMPARE(QFile::exists(bench.platform.paths.netArchive), archive == "another");
    }

    void discards_data()
    {
        const tests::DataTable<QByteArray, QByteArray, bool, QString> rows("text", "archive",
                                                                           "keys", "event");
        const QByteArray unpacking = netMarkerText(marker(State::Unpacking));
        const auto event = [](const QString &reason) {
            return "discarded 1.23 blocks unpacking " + reason;
        };
        rows("damaged", QByteArray("upgrade-agent install"), archive, false, "discarded damaged");
        rows("another archive", unpacking, QByteArray("another"), false, event("archive_differs"));
        rows("shortened archive", unpacking, archive.left(5), false, event("archive_differs"));
        rows("empty archive", unpacking, QByteArray(), false, event("archive_differs"));
        rows("no archive", unpacking, QByteArray("-"), false, event("no_archive"));
        rows("keys", unpacking, archive, true, event("not_signed"));
        rows("two attempts", QByteArray(unpacking).replace("attempts 0", "attempts 2"), archive,
             false, event("2 attempts"));
    }

    /** Nothing is unpacked, and the archive stays. */
    void discards()
    {
        QFETCH(QByteArray, text);
        QFETCH(QByteArray, archive);
        QFETCH(bool, keys);
        QFETCH(QString, event);
        Bench bench;
        if (keys)
            bench.putKeys();
        if (archive != "-")
            bench.putArchive(archive);
        Bench::put(bench.platform.paths.netMarker, text);
        QVERIFY(!bench.resume());
        QCOMPARE(bench.log, (QStringList{"sync / [- -]", event + " [- -]"}));
        QCOMPARE(bench.storedArchive(), archive == "-" ? QByteArray("no file") : archive);
    }

    void archiveThatCannotBeRead()
    {
        Bench bench;
        bench.putMarker(marker(State::Unpacking));
        QCOMPARE(::mkfifo(qPrintable(bench.platform.paths.netArchive), 0644), 0);
        QVERIFY(!bench.resume());
        QCOMPARE(bench.log.last(),
                 QString("discarded 1.23 blocks unpacking archive_differs [- -]"));
    }

    void keepsAMarkerThatCannotBeCounted()
    {
        Bench bench;
        bench.interrupt(State::Unpacking);
        {
            const FullDisk disk(0);
            QVERIFY(!bench.resume());
        }
        QCOMPARE(bench.log,
                 QStringList("postponed 1.23 blocks unpacking 1 not_writable [unpacking0 -]"));
        QVERIFY(bench.resume());
    }

    /** Each attempt ends with the agent, in the middle of tar. */
    void triesTwice()
    {
        struct PowerCut
        {
        };
        Bench bench;
        bench.interrupt(State::Unpacking);
        const auto run = bench.platform.shell.run;
        bench.platform.shell.run = [&](const QString &command) {
            if (command.startsWith("sudo tar"))
                throw PowerCut();
            run(command);
        };
        for (const char *const attempt : {"1", "2"}) {
            bench.log.clear();
            QVERIFY_EXCEPTION_THROWN(bench.resume(), PowerCut);
            QCOMPARE(bench.log.first(),
                     QString("begun 1.23 blocks unpacking %1 [unpacking%1 -]").arg(attempt));
        }
        bench.log.clear();
        QVERIFY(!bench.resume());
        QCOMPARE(bench.log.last(), QString("discarded 1.23 blocks unpacking 2 attempts [- -]"));
    }

    void waitsForALeftCommand()
    {
        Bench bench;
        bench.interrupt(State::Unpacking);
        int looks = 0;
        QStringList lookedFor;
        bench.platform.system.hasProcess = [&](const QString &argument) {
            lookedFor.append(argument);
            return ++looks < 4;
        };
        QVERIFY(bench.resume());
        QCOMPARE(looks, 4);
        lookedFor.removeDuplicates();
        QCOMPARE(lookedFor, QStringList(bench.platform.paths.netArchive));
    }

    void waitsNoLongerThanTheLimit()
    {
        Bench bench;
        bench.interrupt(State::Unpacking);
        bench.platform.timeOuts.leftCommand = 1ms;
        bench.platform.system.hasProcess = [](const QString &) { return true; };
        QVERIFY(!bench.resume());
        QCOMPARE(bench.log, QStringList("postponed command_runs [unpacking0 -]"));
    }

    /** On a full disk the install goes on, and no older marker describes it wrongly. */
    void installWithoutAMarker()
    {
        Bench bench;
        bench.interrupt(State::Unpacked);
        const FullDisk disk(0);
        QVERIFY(bench.install(NetInstallVariant::Blocks));
        QCOMPARE(bench.log.filter("sudo tar").first(),
                 QString("$ sudo tar -C / -xf /data/sysupdate.tar.bz2 [- -]"));
    }

    void keepsTheFirstStateWhenTheSecondCannotBeWritten()
    {
        Bench bench;
        bench.putArchive(archive);
        std::unique_ptr<FullDisk> disk;
        const auto run = bench.platform.shell.run;
        bench.platform.shell.run = [&](const QString &command) {
            run(command);
            if (command.startsWith("sudo tar"))
                disk = std::make_unique<FullDisk>(0);
        };
        QVERIFY(bench.install(NetInstallVariant::Blocks));
        QCOMPARE(bench.log.filter("sudo rm").first(),
                 QString("$ sudo rm /data/sysupdate.tar.bz2 [unpacking0 -]"));
    }
};

AGENT_TEST(TestResume)

} // namespace netupgrade::tst_resume

#include "tst_resume.moc"
