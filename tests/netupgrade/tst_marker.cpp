// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/ModuleFiles.h"
#include "netupgrade/NetMarkerFile.h"
#include "support/FullDisk.h"
#include "support/TestCase.h"

#include <QDir>
#include <QtTest>

#include <sys/stat.h>

Q_DECLARE_METATYPE(netupgrade::NetMarker)

namespace netupgrade::tst_marker {

namespace {

const QByteArray digest = "0123456789abcdef0123456789abcdef";

NetMarker marker()
{
    return {NetMarker::State::Unpacked, NetInstallVariant::Blocks, digest, "1.23", true, 1};
}

const QByteArray text = "upgrade-agent install 1\n"
                        "archive 0123456789abcdef0123456789abcdef\n"
                        "version 312e3233\n"
                        "kind blocks\n"
                        "signed yes\n"
                        "state unpacked\n"
                        "attempts 1\n";

/** A marker's folder, with everything that is synced in a list. */
struct Bench : ModuleFiles
{
    Bench()
    {
        platform.system.syncFileSystem = [this](const QString &path) {
            synced.append(path == folder.path() && !file().exists() ? "folder without marker"
                                                                    : path);
            return true;
        };
    }

    NetMarkerFile file() const { return NetMarkerFile(platform); }

    void putMarker(const QByteArray &bytes, mode_t mode = 0644) const
    {
        put(platform.paths.netMarker, bytes);
        QCOMPARE(::chmod(qPrintable(platform.paths.netMarker), mode), 0);
    }

    /** A link takes the marker's place. */
    void moveMarker() const
    {
        QVERIFY(QFile::rename(platform.paths.netMarker, folder.filePath("else")));
        QVERIFY(QFile::link("else", platform.paths.netMarker));
    }

    QByteArray marker() const { return stored(platform.paths.netMarker); }

    QStringList synced;
};

} // namespace

class TestMarker : public QObject
{
    Q_OBJECT

private slots:
    void textOfAMarker_data()
    {
        const tests::DataTable<NetMarker, QByteArray> rows("marker", "lines");
        const auto lines = [](const QByteArray &kind, const QByteArray &isSigned,
                              const QByteArray &state, const QByteArray &attempts) {
            return "upgrade-agent install 1\narchive " + digest + "\nversion 00ff0a41\nkind " +
                   kind + "\nsigned " + isSigned + "\nstate " + state + "\nattempts " + attempts +
                   '\n';
        };
        using State = NetMarker::State;
        const QByteArray version("\0\xff\nA", 4);
        rows("package", NetMarker{State::Unpacking, NetInstallVariant::Package, digest, version},
             lines("package", "no", "unpacking", "0"));
        rows("device",
             NetMarker{State::Unpacked, NetInstallVariant::Quiet, digest, version, true, 2},
             lines("device", "yes", "unpacked", "2"));
        rows("blocks",
             NetMarker{State::Unpacking, NetInstallVariant::Blocks, digest, version, false, 1},
             lines("blocks", "no", "unpacking", "1"));
    }

    void textOfAMarker()
    {
        QFETCH(NetMarker, marker);
        QFETCH(QByteArray, lines);
        QCOMPARE(netMarkerText(marker), lines);
        const auto parsed = parseNetMarker(lines);
        QVERIFY(parsed.has_value());
        QCOMPARE(netMarkerText(*parsed), lines);
    }

    void everyTruncation()
    {
        QVERIFY(parseNetMarker(text).has_value());
        for (int size = 0; size < text.size(); ++size)
            QVERIFY2(!parseNetMarker(text.left(size)), qPrintable(QString::number(size)));
    }

    /** A changed byte is detected, or gives another complete marker. */
    void everyChangedByte()
    {
        int accepted = 0;
        for (int at = 0; at < text.size(); ++at) {
            for (int value = 0; value < 256; ++value) {
                QByteArray bytes = text;
                bytes[at] = char(value);
                const auto parsed = parseNetMarker(bytes);
                accepted += parsed.has_value();
                QVERIFY(!parsed || netMarkerText(*parsed) == bytes);
            }
        }
        // The 32 digits of the digest and the 8 of the version have 16 values, the attempts 10;
        // every other byte only its own.
        QCOMPARE(accepted, 40 * 16 + 10 + (text.size() - 41));
    }

    void damaged_data()
    {
        const tests::DataTable<QByteArray> rows("bytes");
        const auto changed = [](const char *from, const char *to) {
            return QByteArray(text).replace(from, to);
        };
        rows("empty", QByteArray());
        rows("another file", QByteArray("1.23"));
        rows("a later format", changed("install 1", "install 2"));
        rows("upper case digest", changed("abcdef", "ABCDEF"));
        rows("short digest", changed("abcdef\n", "abcde\n"));
        rows("short version", changed("3233", "32"));
        rows("unknown kind", changed("blocks", "block"));
        rows("unknown state", changed("unpacked", "removed"));
        rows("unknown word", changed("yes", "maybe"));
        rows("negative attempts", changed("attempts 1", "attempts -1"));
        rows("attempts with a zero", changed("attempts 1", "attempts 01"));
        rows("huge attempts", changed("attempts 1", "attempts 99999999999"));
        rows("line too many", text + "kind blocks\n");
        rows("line end of another system", changed("\n", "\r\n"));
        rows("too long", text + QByteArray(300, ' '));
    }

    void damaged()
    {
        QFETCH(QByteArray, bytes);
        QVERIFY(!parseNetMarker(bytes));
    }

    void isStored()
    {
        Bench bench;
        QVERIFY(!bench.file().exists());
        QVERIFY(!bench.file().read());
        const mode_t before = ::umask(0);
        const bool written = bench.file().store(marker());
        ::umask(before);
        QVERIFY(written);
        QVERIFY(bench.file().exists());
        QCOMPARE(bench.marker(), text);
        QCOMPARE(netMarkerText(*bench.file().read()), text);
        QVERIFY(bench.file().isOwn());
        QCOMPARE(QDir(bench.folder.path()).entryList(QDir::Files), QStringList("sysupdate.marker"));
    }

    void isOwn()
    {
        const Bench bench;
        QVERIFY(!bench.file().isOwn());
        for (const mode_t mode : {0600, 0644, 0664, 0646}) {
            bench.putMarker(text, mode);
            QCOMPARE(bench.file().isOwn(), (mode & 0022) == 0);
        }
        bench.moveMarker();
        QVERIFY(bench.file().exists());
        QVERIFY(!bench.file().isOwn());
    }

    /** Otherwise the new file would have the permissions of the old one. */
    void replacesWhatOthersCanWrite()
    {
        const Bench bench;
        bench.putMarker("forged", 0666);
        QVERIFY(bench.file().store(marker()));
        QVERIFY(bench.file().isOwn());
        QCOMPARE(bench.marker(), text);
    }

    void replacesALink()
    {
        const Bench bench;
        bench.putMarker("another file");
        bench.moveMarker();
        QVERIFY(bench.file().store(marker()));
        QVERIFY(bench.file().isOwn());
        QCOMPARE(Bench::stored(bench.folder.filePath("else")), QByteArray("another file"));
    }

    void keepsTheOlderOne()
    {
        const Bench bench;
        bench.putMarker("older");
        {
            const FullDisk disk(0);
            QVERIFY(!bench.file().store(marker()));
        }
        QCOMPARE(bench.marker(), QByteArray("older"));
    }

    void removalIsSynced()
    {
        Bench bench;
        bench.putMarker("anything");
        QVERIFY(bench.file().remove());
        QVERIFY(!bench.file().exists());
        QCOMPARE(bench.synced, QStringList("folder without marker"));
        // A folder is not removed.
        QVERIFY(QDir().mkpath(bench.platform.paths.netMarker));
        QVERIFY(!bench.file().remove());
    }

    /** Nothing with the marker's name can make the agent wait. */
    void cannotBeRead()
    {
        const Bench bench;
        QCOMPARE(::mkfifo(qPrintable(bench.platform.paths.netMarker), 0644), 0);
        QVERIFY(!bench.file().read());
        QVERIFY(!bench.file().isOwn());
        QVERIFY(bench.file().remove());
        bench.putMarker(QByteArray(100'000, 'x'));
        QVERIFY(!bench.file().read());
    }
};

AGENT_TEST(TestMarker)

} // namespace netupgrade::tst_marker

#include "tst_marker.moc"
