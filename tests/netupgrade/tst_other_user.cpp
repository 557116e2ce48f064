// SPDX-License-Identifier: Apache-2.0
// What an agent that ran as another user, mostly as root, has left in the folder.
#include "netupgrade/NetArchive.h"
#include "netupgrade/NetInstaller.h"
#include "support/InstallFolder.h"
#include "support/NetFrames.h"
#include "support/OrdinaryUser.h"
#include "support/RecordingShell.h"
#include "support/TestCase.h"

#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>

namespace tst_other_user {

using netupgrade::NetArchive;
using netupgrade::NetInstaller;
using netupgrade::NetInstallVariant;
using netupgrade::NetReport;
using package::parseNetImage;
using platform::Platform;

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("no file");
}

void put(const QString &path, const QByteArray &bytes)
{
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
        qFatal("cannot write %s", qPrintable(path));
    file.close();
    ::chmod(qPrintable(path), 0444);
}

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
        m_folder.reset(new QTemporaryDir);
        OrdinaryUser::give(m_folder->path().toLocal8Bit());
    }

    void archive()
    {
        put(path("archive"), "a longer old one");
        const OrdinaryUser user;
        QVERIFY(store(path("archive"), "new"));
        QCOMPARE(contents(path("archive")), QByteArray("new"));
    }

    /** A link to a file that may be written is followed, as an archive on another disk needs it;
     * any other gives way itself. */
    void linkToAnArchive()
    {
        put(path("closed"), "old");
        QVERIFY(QFile::link(QStringLiteral("closed"), path("archive")));
        const OrdinaryUser user;
        QVERIFY(store(path("archive"), "new"));
        QVERIFY(!QFileInfo(path("archive")).isSymLink());
        QCOMPARE(contents(path("archive")), QByteArray("new"));
        QCOMPARE(contents(path("closed")), QByteArray("old"));

        QVERIFY(QFile::link(QStringLiteral("archive"), path("link")));
        QVERIFY(store(path("link"), "newer"));
        QVERIFY(QFileInfo(path("link")).isSymLink());
        QCOMPARE(contents(path("archive")), QByteArray("newer"));
    }

    /** Neither a folder nor what is in a folder that may not be written. */
    void folder()
    {
        QVERIFY(QDir(m_folder->path()).mkdir("archive"));
        put(path("file"), "old");
        ::chmod(qPrintable(m_folder->path()), 0555);
        {
            const OrdinaryUser user;
            QVERIFY(!store(path("archive"), "new"));
            QVERIFY(!store(path("file"), "new"));
        }
        ::chmod(qPrintable(m_folder->path()), 0755);
        QVERIFY(QFileInfo(path("archive")).isDir());
        QCOMPARE(contents(path("file")), QByteArray("old"));
    }

    void wholeInstall()
    {
        put(path("archive"), "old");
        put(path("version"), "1.00");
        RecordingShell shell;
        Platform platform;
        useInstallFolder(platform, m_folder->path());
        platform.paths.netArchive = path("archive");
        platform.shell = shell.shell();
        QStringList lines;
        NetReport report;
        report.text = [&lines](const QString &line) { lines.append(line); };

        const OrdinaryUser user;
        const QByteArray archive(1000, 'a');
        QVERIFY(store(path("archive"), archive));
        QVERIFY(NetInstaller(platform, report)
                    .install(NetInstallVariant::Blocks, parseNetImage(netframes::header(archive))));
        QVERIFY(lines.contains("Create version file success"));
        QCOMPARE(contents(path("version")), QByteArray("1.23"));
        QCOMPARE(QDir(m_folder->path()).entryList(QDir::Files),
                 (QStringList{"archive", "version"}));
    }

private:
    QString path(const char *name) const { return m_folder->filePath(QString::fromLatin1(name)); }

    QScopedPointer<QTemporaryDir> m_folder;
};

AGENT_TEST(TestOtherUser)

} // namespace tst_other_user

#include "tst_other_user.moc"
