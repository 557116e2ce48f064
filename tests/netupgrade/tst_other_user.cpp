// SPDX-License-Identifier: Apache-2.0
// What an agent that ran as another user, mostly as root, has left in the folder.
#include "netupgrade/ModuleFiles.h"
#include "netupgrade/NetArchive.h"
#include "netupgrade/NetInstaller.h"
#include "support/OrdinaryUser.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QDir>
#include <QtTest>

#include <sys/stat.h>

namespace netupgrade::tst_other_user {

namespace {

bool store(const QString &path, const QByteArray &bytes)
{
    NetArchive archive(path);
    return archive.create() && archive.append(bytes);
}

} // namespace

class TestOtherUser : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_files.reset(new ModuleFiles);
        OrdinaryUser::give(m_files->folder.path().toLocal8Bit());
    }

    void archive()
    {
        put("archive", "a longer old one");
        const OrdinaryUser user;
        QVERIFY(store(path("archive"), "new"));
        QCOMPARE(contents("archive"), QByteArray("new"));
    }

    /** A link to a file that may be written is followed, as an archive on another disk needs it;
     * any other gives way itself. */
    void linkToAnArchive()
    {
        put("closed", "old");
        QVERIFY(QFile::link(QStringLiteral("closed"), path("archive")));
        const OrdinaryUser user;
        QVERIFY(store(path("archive"), "new"));
        QVERIFY(!QFileInfo(path("archive")).isSymLink());
        QCOMPARE(contents("archive"), QByteArray("new"));
        QCOMPARE(contents("closed"), QByteArray("old"));

        QVERIFY(QFile::link(QStringLiteral("archive"), path("link")));
        QVERIFY(store(path("link"), "newer"));
        QVERIFY(QFileInfo(path("link")).isSymLink());
        QCOMPARE(contents("archive"), QByteArray("newer"));
    }

    /** Neither a folder nor what is in a folder that may not be written. */
    void folder()
    {
        QVERIFY(QDir(m_files->folder.path()).mkdir("archive"));
        put("file", "old");
        ::chmod(qPrintable(m_files->folder.path()), 0555);
        {
            const OrdinaryUser user;
            QVERIFY(!store(path("archive"), "new"));
            QVERIFY(!store(path("file"), "new"));
        }
        ::chmod(qPrintable(m_files->folder.path()), 0755);
        QVERIFY(QFileInfo(path("archive")).isDir());
        QCOMPARE(contents("file"), QByteArray("old"));
    }

    void wholeInstall()
    {
        put("sysupdate.tar.bz2", "old");
        put("version", "1.00");
        RecordingShell shell;
        m_files->platform.shell = shell.shell();
        QStringList lines;
        NetReport report;
        report.text = [&lines](const QString &line) { lines.append(line); };

        const OrdinaryUser user;
        const QByteArray archive(1000, 'a');
        QVERIFY(store(m_files->platform.paths.netArchive, archive));
        QVERIFY(NetInstaller(m_files->platform, report)
                    .install(NetInstallVariant::Blocks, imageHeader(archive)));
        QVERIFY(lines.contains("Create version file success"));
        QCOMPARE(m_files->storedVersion(), QByteArray("1.23"));
        QCOMPARE(QDir(m_files->folder.path()).entryList(QDir::Files),
                 (QStringList{"sysupdate.tar.bz2", "version"}));
    }

private:
    /** A file of the other user, which only its owner may change. */
    void put(const char *name, const QByteArray &bytes) const
    {
        ModuleFiles::put(path(name), bytes);
        ::chmod(qPrintable(path(name)), 0444);
    }

    QByteArray contents(const char *name) const { return ModuleFiles::stored(path(name)); }

    QString path(const char *name) const
    {
        return m_files->folder.filePath(QString::fromLatin1(name));
    }

    QScopedPointer<ModuleFiles> m_files;
};

AGENT_TEST(TestOtherUser)

} // namespace netupgrade::tst_other_user

#include "tst_other_user.moc"
