// SPDX-License-Identifier: Apache-2.0
#include "bytes/AtomicFile.h"
#include "bytes/FileSource.h"
#include "support/FaultyReads.h"
#include "support/FullDisk.h"
#include "support/TestCase.h"
#include "support/TestFolder.h"

#include <cerrno>
#include <sys/stat.h>

namespace bytes::tst_files {

class TestFiles : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_folder = std::make_unique<TestFolder>(); }

    void appearsWithCommit()
    {
        AtomicFile file(path("new"));
        QVERIFY(file.open());
        QVERIFY(file.write("0000000abc", 10));
        QVERIFY(file.overwrite(2, "XY"));
        QVERIFY(file.write(QByteArray("def")));
        QVERIFY(!QFile::exists(path("new")));
        QVERIFY(file.commit());
        QCOMPARE(m_folder->contents("new"), QByteArray("00XY000abcdef"));
        QCOMPARE(m_folder->names(), QStringList("new"));
    }

    void leavesNothingWithoutCommit()
    {
        {
            AtomicFile file(path("never"));
            QVERIFY(file.open());
            QVERIFY(file.write(QByteArray(200'000, 'x')));
        }
        QCOMPARE(m_folder->names(), QStringList());
    }

    void fullDiskLeavesTheOldFile_data()
    {
        const tests::DataTable<int, int> rows("limit", "size");
        rows("no free space", 0, 5);
        rows("last bytes", 4096, 4097);
        rows("in the middle", 4096, 500'000);
    }

    void fullDiskLeavesTheOldFile()
    {
        QFETCH(int, limit);
        QFETCH(int, size);
        m_folder->store("file", "old");
        {
            const FullDisk disk(static_cast<unsigned long>(limit));
            AtomicFile file(path("file"));
            QVERIFY(file.open());
            file.write(QByteArray(size, 'x'));
            QVERIFY(!file.commit());
            // The system's own words for a file that may grow no further.
            QCOMPARE(file.errorString(), qt_error_string(EFBIG));
        }
        QCOMPARE(m_folder->contents("file"), QByteArray("old"));
        QCOMPARE(m_folder->names(), QStringList("file"));
    }

    void refusesOddPlaces()
    {
        AtomicFile folder(m_folder->path());
        QVERIFY(!folder.open());
        AtomicFile nowhere(path("no/such/folder"));
        QVERIFY(!nowhere.open());
        QVERIFY(!nowhere.errorString().isEmpty());

        QCOMPARE(::mkfifo(qPrintable(path("pipe")), 0600), 0);
        AtomicFile pipe(path("pipe"));
        QVERIFY(!pipe.open());
        FileSource reading(path("pipe"));
        QVERIFY(!reading.open());
        QCOMPARE(m_folder->names(), QStringList("pipe"));
    }

    void readsOn_data()
    {
        const tests::DataTable<qint64, bool> rows("most", "interrupted");
        rows("a byte at a time", 1, false);
        rows("pieces", 333, false);
        rows("interrupted", 5000, true);
        rows("both", 77, true);
    }

    void readsOn()
    {
        QFETCH(qint64, most);
        QFETCH(bool, interrupted);
        const QByteArray bytes = QByteArray("0123456789").repeated(100);
        m_folder->store("file", bytes);
        FileSource source(path("file"));
        QVERIFY(source.open());
        FaultyReads reads;
        reads.most = most;
        reads.interrupted = interrupted;
        QCOMPARE(source.read(0, bytes.size()), bytes);
        QCOMPARE(source.read(17, 500), bytes.mid(17, 500));
        errno = EIO;
        QByteArray buffer(bytes.size(), '\0');
        QCOMPARE(source.readInto(900, buffer.data(), bytes.size()), 100);
        QCOMPARE(buffer.left(100), bytes.mid(900));
        QCOMPARE(errno, 0);
    }

    void readErrors()
    {
        m_folder->store("file", QByteArray(1000, 'x'));
        FileSource source(path("file"));
        QVERIFY(source.open());
        FaultyReads reads;
        reads.brokenFrom = 600;
        QByteArray buffer(1000, '\0');
        errno = 0;
        QCOMPARE(source.readInto(0, buffer.data(), 1000), 600);
        QCOMPARE(errno, EIO);
        QCOMPARE(source.readInto(600, buffer.data(), 1), 0);
        QCOMPARE(source.read(500, 300), QByteArray(100, 'x'));
    }

    /** Another file with the same name is another file. */
    void stampsOfTheOpenFile()
    {
        m_folder->store("file", "one");
        FileSource first(path("file"));
        QCOMPARE(first.stamp(), FileStamp());
        QVERIFY(first.open());
        const FileStamp before = first.stamp();
        QCOMPARE(before.size, 3);
        QCOMPARE(before.modified / 1'000'000'000,
                 QFileInfo(path("file")).lastModified().toSecsSinceEpoch());
        struct stat status = {};
        QCOMPARE(::stat(qPrintable(path("file")), &status), 0);
        QCOMPARE(before.inode, quint64(status.st_ino));
        QCOMPARE(before.device, quint64(status.st_dev));
        QCOMPARE(before.changed, status.st_ctim.tv_sec * 1'000'000'000LL + status.st_ctim.tv_nsec);

        m_folder->store("other", "other");
        QCOMPARE(::rename(qPrintable(path("other")), qPrintable(path("file"))), 0);
        QCOMPARE(first.stamp().inode, before.inode);
        QCOMPARE(first.size(), 3);
        QCOMPARE(first.read(0, 10), QByteArray("one"));
        FileSource second(path("file"));
        QVERIFY(second.open());
        QVERIFY(!(second.stamp() == before));
        QCOMPARE(second.size(), 5);
    }

private:
    QString path(const char *name) const { return m_folder->path(name); }

    std::unique_ptr<TestFolder> m_folder;
};

AGENT_TEST_WITHOUT_APPLICATION(TestFiles)

} // namespace bytes::tst_files

#include "tst_files.moc"
