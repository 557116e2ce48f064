// SPDX-License-Identifier: Apache-2.0
#include "bytes/Crc32.h"
#include "bytes/FileSource.h"
#include "package/PackageChecksum.h"
#include "package/PackageLayout.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"
#include "tests/package/TestSource.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <zlib.h>

namespace package::tst_checksum {

using bytes::BytesSource;
using bytes::Crc32;
using bytes::FileSource;

namespace {

quint32 zlibCrc(const QByteArray &bytes)
{
    return quint32(
        ::crc32(0, reinterpret_cast<const Bytef *>(bytes.constData()), uInt(bytes.size())));
}

QByteArray checksummed(const QByteArray &body)
{
    return QByteArray::number(zlibCrc(body), 16).leftJustified(8, '\0') + body;
}

} // namespace

class TestChecksum : public QObject
{
    Q_OBJECT

private slots:
    void knownValues()
    {
        Crc32 crc;
        QCOMPARE(crc.text(), QByteArray("0"));
        crc.add("123456789");
        // The check value that catalogues of CRCs give for this one.
        QCOMPARE(crc.value(), 0xcbf43926U);
        QCOMPARE(crc.text(), QByteArray("cbf43926"));
        crc.add(QByteArray());
        crc.add(nullptr, 0);
        QCOMPARE(crc.value(), 0xcbf43926U);
    }

    void agreesWithZlib()
    {
        for (const int size : {1, 2, 7, 8, 15, 16, 63, 64, 255, 300, 4096, 100'003}) {
            const QByteArray bytes = pattern(size);
            for (int split = 0; split <= std::min(size, 300); ++split) {
                Crc32 crc;
                crc.add(bytes.left(split));
                crc.add(bytes.mid(split));
                QCOMPARE(crc.value(), zlibCrc(bytes));
            }
        }
    }

    void goldenPackages_data()
    {
        const tests::DataTable<bool> row("matches");
        for (const char *name : {"good", "good-checksum-of-seven-digits", "good-no-images",
                                 "one-byte-after-the-checksum", "no-magic", "version-2",
                                 "version-7", "record-cut", "json-not-json"})
            row(name, true);
        for (const char *name :
             {"empty", "checksum-text-only", "bare", "bare-cut-in-head", "checksum-in-uppercase",
              "checksum-wrong", "checksum-padded-with-zero"})
            row(name, false);
    }

    void goldenPackages()
    {
        const QByteArray bytes = golden(QTest::currentDataTag());
        BytesSource source(bytes);
        const PackageChecksum checksum = checkPackage(source);
        QTEST(checksum.matches(), "matches");
        if (bytes.size() > 8)
            QCOMPARE(checksum.computed, QByteArray::number(zlibCrc(bytes.mid(8)), 16));
        else
            QCOMPARE(checksum.computed, QByteArray());
    }

    /** From four chunks on, two threads share the work. */
    void sizesAroundTheChunk_data()
    {
        const tests::DataTable<int> row("size");
        const int chunk = int(checkReadSize);
        for (const int size :
             {1, 2, chunk - 9, chunk - 8, chunk - 1, chunk, chunk + 1, 2 * chunk, 2 * chunk + 1,
              4 * chunk - 1, 4 * chunk, 4 * chunk + 1, 5 * chunk + 12'345})
            row(qPrintable(QString::number(size)), size);
    }

    void sizesAroundTheChunk()
    {
        QFETCH(int, size);
        const QByteArray package = checksummed(pattern(size));
        BytesSource source(package);
        QVERIFY(checkPackage(source).matches());
        for (const int place : {8, 8 + (size - 1) / 2, 8 + size / 2, 8 + size - 1}) {
            TestSource damaged(package);
            damaged.bytes[place] = char(damaged.bytes.at(place) ^ 1);
            QVERIFY(!checkPackage(damaged).matches());
        }
    }

    void shortReadsAreTakenUp()
    {
        TestSource source(checksummed(pattern(3'000'000)));
        source.most = 1000;
        QVERIFY(checkPackage(source).matches());
        QCOMPARE(qint64(source.longest), checkReadSize);
    }

    /** What can be read counts, wherever the end comes. */
    void shrinkingFileEnds_data()
    {
        const tests::DataTable<int> row("size");
        for (const int size : {0, 1, 100, 1'000'000, 4'999'992, 4'999'993, 8'000'000})
            row(qPrintable(QString::number(size)), size);
    }

    void shrinkingFileEnds()
    {
        QFETCH(int, size);
        TestSource source(checksummed(pattern(size)));
        source.missing = 5'000'000;
        QCOMPARE(checkPackage(source).matches(), size > 0);
        TestSource nothing{QByteArray()};
        nothing.missing = 5'000'000;
        QVERIFY(!checkPackage(nothing).matches());
    }

    void readsAFile()
    {
        const QTemporaryDir folder;
        QFile file(folder.filePath(QStringLiteral("a.fwm")));
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(checksummed(pattern(2'500'000)));
        file.close();

        FileSource source(file.fileName());
        QVERIFY(source.open());
        QCOMPARE(source.size(), 2'500'008);
        QVERIFY(checkPackage(source).matches());
        QCOMPARE(source.read(2'500'000, 1'000'000'000'000).size(), 8);
        QCOMPARE(source.read(2'500'008, 1), QByteArray());
        QCOMPARE(source.read(-1, 4), QByteArray());
    }

    void hasNoSourceWithoutFile()
    {
        const QTemporaryDir folder;
        for (const QString &path : {folder.path(), folder.filePath(QStringLiteral("none.fwm"))}) {
            FileSource source(path);
            QVERIFY(!source.open());
            QVERIFY(!source.errorString().isEmpty());
        }
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestChecksum)

} // namespace package::tst_checksum

#include "tst_checksum.moc"
