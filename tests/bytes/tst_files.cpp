// SPDX-License-Identifier: Apache-2.0
#include "bytes/AtomicFile.h"
#include "bytes/FileSource.h"
#include "support/FaultyReads.h"
#include "support/FullDisk.h"
#include "support/TestCase.h"

#include <QDir>
#include <QTemporaryDir>
#include <QtTest>

#include <cerrno>
#include <sys/stat.h>

namespace tst_files {

using bytes::AtomicFile;
using bytes::FileSource;
using bytes::FileStamp;

namespace {

QByteArray contents(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

} // namespace

class TestFiles : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_folder.reset(new QTemporaryDir); }

    void appearsWithCommit()
    {
        AtomicFile file(path("new"));
        QVERIFY(file.open());
        QVERIFY(file.write("abc", 3));
        QVERIFY(!QFile::exists(path("new")));
        QVERIFY(file.commit());
        QCOMPARE(contents(path("new")), QByteArray("abc"));
        QCOMPARE(names(), QStringList("new"));
    }

    void replacesWithCommit()
    {
        for (const char *text : {"first", "second"}) {
            AtomicFile file(path("same"));
            QVERIFY(file.open());
            QVERIFY(file.write(QByteArray(text)));
            QVERIFY(file.commit());
            QCOMPARE(contents(path("same")), QByteArray(text));
        }
        QCOMPARE(names(), QStringList("same"));
    }

    void leavesNothingWithoutCommit()
    {
        {
            AtomicFile file(path("never"));
            QVERIFY(file.open());
            QVERIFY(file.write(QByteArray(200'000, 'x')));
        }
        QCOMPARE(names(), QStringList());
    }

    void overwritesAndGoesOn()
    {
        AtomicFile file(path("patched"));
        QVERIFY(file.open());
        QVERIFY(file.write(QByteArray("0000000abc")));
        QVERIFY(file.overwrite(2, "XY"));
        QVERIFY(file.write(QByteArray("def")));
        QVERIFY(file.commit());
        QCOMPARE(contents(path("patched")), QByteArray("00XY000abcdef"));
    }

    void fullDiskLeavesTheOldFile_data()
    {
        QTest::addColumn<int>("limit");
        QTest::addColumn<int>("size");
        QTest::newRow("no free space") << 0 << 5;
        QTest::newRow("last bytes") << 4096 << 4097;
        QTest::newRow("in the middle") << 4096 << 500'000;
    }

    void fullDiskLeavesTheOldFile()
    {
        QFETCH(int, limit);
        QFETCH(int, size);
        QFile old(path("file"));
        QVERIFY(old.open(QIODevice::WriteOnly));
        old.write("old");
        old.close();
        {
            const FullDisk disk(static_cast<unsigned long>(limit));
            AtomicFile file(path("file"));
            QVERIFY(file.open());
            file.write(QByteArray(size, 'x'));
            QVERIFY(!file.commit());
            // The system's own words for a file that may grow no further.
            QCOMPARE(file.errorString(), qt_error_string(EFBIG));
        }
        QCOMPARE(contents(path("file")), QByteArray("old"));
        QCOMPARE(names(), QStringList("file"));
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
        QCOMPARE(names(), QStringList("pipe"));
    }

    void keepsSymbolicLinks()
    {
        QVERIFY(QFile::link(QStringLiteral("target"), path("link")));
        AtomicFile file(path("link"));
        QVERIFY(file.open());
        QVERIFY(file.write(QByteArray("abc")));
        QVERIFY(file.commit());
        QCOMPARE(contents(path("target")), QByteArray("abc"));
        QVERIFY(QFileInfo(path("link")).isSymLink());
    }

    void readsOn_data()
    {
        QTest::addColumn<qint64>("most");
        QTest::addColumn<bool>("interrupted");
        QTest::newRow("a byte at a time") << qint64(1) << false;
        QTest::newRow("pieces") << qint64(333) << false;
        QTest::newRow("interrupted") << qint64(5000) << true;
        QTest::newRow("both") << qint64(77) << true;
    }

    void readsOn()
    {
        QFETCH(qint64, most);
        QFETCH(bool, interrupted);
        const QByteArray bytes = QByteArray("0123456789").repeated(100);
        store("file", bytes);
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
        store("file", QByteArray(1000, 'x'));
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
        store("file", "one");
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

        store("other", "other");
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
    QString path(const char *name) const { return m_folder->filePath(QString::fromLatin1(name)); }
    void store(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(bytes);
    }
    QStringList names() const
    {
        return QDir(m_folder->path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot);
    }

    QScopedPointer<QTemporaryDir> m_folder;
};

AGENT_TEST_WITHOUT_APPLICATION(TestFiles)

} // namespace tst_files

#include "tst_files.moc"
