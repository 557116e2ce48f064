// SPDX-License-Identifier: Apache-2.0
#include "bytes/AtomicFile.h"
#include "support/OrdinaryUser.h"
#include "support/TestCase.h"
#include "support/TestFolder.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace bytes::tst_atomic_file {

using Unwritable = AtomicFile::Unwritable;

namespace {

mode_t modeOf(const QString &path)
{
    struct stat status = {};
    return ::stat(qPrintable(path), &status) == 0 ? status.st_mode & 07777 : 0;
}

/** Device and inode. */
QPair<quint64, quint64> identityOf(const QString &path)
{
    struct stat status = {};
    ::stat(qPrintable(path), &status);
    return {status.st_dev, status.st_ino};
}

/** Writes "new" and returns the error. */
QString replace(const QString &path, Unwritable unwritable = Unwritable::Keep,
                const AtomicFile::Sync &sync = ::fsync)
{
    AtomicFile file(path, unwritable, sync);
    const bool done = file.open() && file.write(QByteArray("new")) && file.commit();
    return done ? QString() : file.errorString();
}

} // namespace

class TestAtomicFile : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_folder = std::make_unique<TestFolder>();
        OrdinaryUser::give(m_folder->path().toLocal8Bit());
    }

    void reachesTheDisk_data()
    {
        const tests::DataTable<bool> rows("isLink");
        rows("file", false);
        rows("link into another folder", true);
    }

    /** First the file, while it still has its other name, then the folder that has the new name. */
    void reachesTheDisk()
    {
        QFETCH(bool, isLink);
        QVERIFY(QDir(m_folder->path()).mkdir("other"));
        const char *const target = isLink ? "other/file" : "file";
        put(target, "old");
        if (isLink)
            QVERIFY(QFile::link(QStringLiteral("other/file"), path("file")));

        QStringList synced;
        QPair<quint64, quint64> fileSynced;
        const auto sync = [&](int descriptor) {
            struct stat status = {};
            ::fstat(descriptor, &status);
            const QPair<quint64, quint64> identity{status.st_dev, status.st_ino};
            if (identity == identityOf(QFileInfo(path(target)).path()))
                synced.append("folder, with " + m_folder->contents(target));
            else
                synced.append(QString("%1 bytes, beside %2")
                                  .arg(status.st_size)
                                  .arg(QString(m_folder->contents(target))));
            if (synced.size() == 1)
                fileSynced = identity;
            return ::fsync(descriptor);
        };
        QCOMPARE(replace(path("file"), Unwritable::Keep, sync), QString());
        QCOMPARE(synced, (QStringList{"3 bytes, beside old", "folder, with new"}));
        QCOMPARE(fileSynced, identityOf(path(target)));
    }

    void failedSyncLeavesTheOldFile()
    {
        put("file", "old");
        const auto sync = [](int) {
            errno = EIO;
            return -1;
        };
        QCOMPARE(replace(path("file"), Unwritable::Keep, sync), qt_error_string(EIO));
        QCOMPARE(m_folder->contents("file"), QByteArray("old"));
        QCOMPARE(m_folder->names(), QStringList("file"));
    }

    /** The file is there anyway. */
    void folderThatCannotBeSynced()
    {
        const auto sync = [](int descriptor) {
            struct stat status = {};
            ::fstat(descriptor, &status);
            return S_ISDIR(status.st_mode) ? -1 : 0;
        };
        QCOMPARE(replace(path("file"), Unwritable::Keep, sync), QString());
        QCOMPARE(m_folder->names(), QStringList("file"));
    }

    /** Those of the older file, or those that any new file gets. */
    void permissions()
    {
        put("old", "old", 0640);
        QCOMPARE(replace(path("old")), QString());
        QCOMPARE(modeOf(path("old")), mode_t(0640));
        const mode_t before = ::umask(027);
        replace(path("new"));
        ::umask(before);
        QCOMPARE(modeOf(path("new")), mode_t(0640));
    }

    void chainOfLinks()
    {
        QVERIFY(QFile::link(QStringLiteral("second"), path("first")));
        QVERIFY(QFile::link(QStringLiteral("file"), path("second")));
        for (int time = 0; time < 2; ++time) {
            QCOMPARE(replace(path("first"), Unwritable::Replace), QString());
            QCOMPARE(m_folder->contents("file"), QByteArray("new"));
            QVERIFY(QFileInfo(path("first")).isSymLink() && QFileInfo(path("second")).isSymLink());
        }
        QCOMPARE(m_folder->names(), (QStringList{"file", "first", "second"}));
    }

    void circleOfLinks()
    {
        QVERIFY(QFile::link(QStringLiteral("second"), path("first")));
        QVERIFY(QFile::link(QStringLiteral("first"), path("second")));
        QCOMPARE(replace(path("first")), qt_error_string(ELOOP));
    }

    void fileOfAnotherUser_data()
    {
        const tests::DataTable<bool> rows("isReplaced");
        rows("kept", false);
        rows("replaced", true);
    }

    void fileOfAnotherUser()
    {
        QFETCH(bool, isReplaced);
        put("file", "old", 0444);
        const OrdinaryUser user;
        QCOMPARE(
            replace(path("file"), isReplaced ? Unwritable::Replace : Unwritable::Keep).isEmpty(),
            isReplaced);
        QCOMPARE(m_folder->contents("file"), QByteArray(isReplaced ? "new" : "old"));
        QCOMPARE(m_folder->names(), QStringList("file"));
    }

    /** The folder that the link leads to may not be written, so the link gives way, not its target.
     */
    void linkToAnotherUsersFile()
    {
        QVERIFY(QDir(m_folder->path()).mkdir("closed"));
        put("closed/file", "old", 0444);
        ::chmod(qPrintable(path("closed")), 0555);
        QVERIFY(QFile::link(QStringLiteral("closed/file"), path("link")));
        {
            const OrdinaryUser user;
            QVERIFY(!replace(path("link"), Unwritable::Keep).isEmpty());
            QCOMPARE(replace(path("link"), Unwritable::Replace), QString());
            QVERIFY(!QFileInfo(path("link")).isSymLink());
            QCOMPARE(m_folder->contents("link"), QByteArray("new"));
            QCOMPARE(m_folder->contents("closed/file"), QByteArray("old"));
        }
        ::chmod(qPrintable(path("closed")), 0755);
    }

    void folderOfAnotherUser()
    {
        put("file", "old", 0444);
        ::chmod(qPrintable(m_folder->path()), 0555);
        {
            const OrdinaryUser user;
            QVERIFY(!replace(path("file"), Unwritable::Replace).isEmpty());
        }
        QCOMPARE(m_folder->contents("file"), QByteArray("old"));
        ::chmod(qPrintable(m_folder->path()), 0755);
    }

    /** As /tmp: only the owner of a file may take its name away. */
    void stickyFolder()
    {
        if (::geteuid() != 0)
            QSKIP("takes files of two users");
        put("file", "old");
        QCOMPARE(::chown(qPrintable(m_folder->path()), 0, 0), 0);
        ::chmod(qPrintable(m_folder->path()), 01777);
        {
            const OrdinaryUser user;
            QCOMPARE(replace(path("file"), Unwritable::Replace), qt_error_string(EPERM));
        }
        QCOMPARE(m_folder->contents("file"), QByteArray("old"));
        QCOMPARE(m_folder->names(), QStringList("file"));
    }

private:
    QString path(const char *name = ".") const { return m_folder->path(name); }

    void put(const char *name, const QByteArray &bytes, mode_t mode = 0644) const
    {
        m_folder->store(name, bytes);
        ::chmod(qPrintable(path(name)), mode);
    }

    std::unique_ptr<TestFolder> m_folder;
};

AGENT_TEST_WITHOUT_APPLICATION(TestAtomicFile)

} // namespace bytes::tst_atomic_file

#include "tst_atomic_file.moc"
