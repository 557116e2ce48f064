// SPDX-License-Identifier: Apache-2.0
#include "bytes/Crc32.h"
#include "bytes/FileSource.h"
#include "package/PackageChecksum.h"
#include "package/PackageLayout.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"

#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <zlib.h>

namespace tst_checksum {

using bytes::BytesSource;
using bytes::Crc32;
using bytes::FileSource;
using package::checkPackage;
using package::PackageChecksum;

namespace {

quint32 zlibCrc(const QByteArray &bytes)
{
    return quint32(
        ::crc32(0, reinterpret_cast<const Bytef *>(bytes.constData()), uInt(bytes.size())));
}

QByteArray pattern(int size)
{
    QByteArray bytes(size, '\0');
    quint32 state = 1;
    for (char &byte : bytes) {
        state = state * 1664525 + 1013904223;
        byte = char(state >> 24);
    }
    return bytes;
}

QByteArray checksummed(const QByteArray &body)
{
    return QByteArray::number(zlibCrc(body), 16).leftJustified(8, '\0') + body;
}

/** Says that it is longer than it is, like a file that is cut while it is read. */
class ShrinkingSource : public BytesSource
{
public:
    using BytesSource::BytesSource;
    qint64 size() const override { return BytesSource::size() + 5'000'000; }
};

/** Remembers the largest read, and never gives more than a few bytes at once. */
class StingySource : public BytesSource
{
public:
    using BytesSource::BytesSource;

    QByteArray read(qint64 offset, qint64 length) override
    {
        largest = std::max(largest, length);
        return BytesSource::read(offset, std::min<qint64>(length, 1000));
    }

    qint64 largest = 0;
};

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
        for (const int size : {1, 2, 7, 8, 15, 16, 63, 64, 255, 4096, 100'003}) {
            const QByteArray bytes = pattern(size);
            Crc32 crc;
            crc.add(bytes);
            QCOMPARE(crc.value(), zlibCrc(bytes));
        }
    }

    void piecesGiveTheSame()
    {
        const QByteArray bytes = pattern(300);
        for (int split = 0; split <= bytes.size(); ++split) {
            Crc32 crc;
            crc.add(bytes.left(split));
            crc.add(bytes.mid(split));
            QCOMPARE(crc.value(), zlibCrc(bytes));
        }
    }

    void goldenPackages_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<bool>("matches");

        const char *const matching[] = {
            "good",           "good-checksum-of-seven-digits",
            "good-no-images", "one-byte-after-the-checksum",
            "no-magic",       "version-2",
            "version-7",      "record-cut",
            "json-not-json",
        };
        for (const char *name : matching)
            QTest::newRow(name) << QString::fromLatin1(name) << true;
        const char *const differing[] = {
            "empty",
            "checksum-text-only",
            "bare",
            "bare-cut-in-head",
            "checksum-in-uppercase",
            "checksum-wrong",
            "checksum-padded-with-zero",
        };
        for (const char *name : differing)
            QTest::newRow(name) << QString::fromLatin1(name) << false;
    }

    void goldenPackages()
    {
        QFETCH(QString, name);
        const QByteArray bytes = golden(name);
        BytesSource source(bytes);
        const PackageChecksum checksum = checkPackage(source);
        QTEST(checksum.matches(), "matches");
        if (bytes.size() > 8)
            QCOMPARE(checksum.computed, QByteArray::number(zlibCrc(bytes.mid(8)), 16));
        else
            QCOMPARE(checksum.computed, QByteArray());
    }

    void sizesAroundTheChunk_data()
    {
        QTest::addColumn<int>("size");
        const int chunk = int(package::checkReadSize);
        for (const int size :
             {1, 2, chunk - 9, chunk - 8, chunk - 1, chunk, chunk + 1, 2 * chunk, 2 * chunk + 1})
            QTest::newRow(qPrintable(QString::number(size))) << size;
    }

    void sizesAroundTheChunk()
    {
        QFETCH(int, size);
        QByteArray package = checksummed(pattern(size));
        BytesSource source(package);
        QVERIFY(checkPackage(source).matches());

        package[package.size() - 1] = char(package.at(package.size() - 1) ^ 0x80);
        BytesSource damaged(package);
        QVERIFY(!checkPackage(damaged).matches());
    }

    void shrinkingFileEnds()
    {
        ShrinkingSource source(checksummed(pattern(100)));
        // What is there is taken; that it was once longer is not the checksum's business.
        QVERIFY(checkPackage(source).matches());
        ShrinkingSource nothing{QByteArray()};
        QVERIFY(!checkPackage(nothing).matches());
    }

    void shortReadsAreTakenUp()
    {
        StingySource source(checksummed(pattern(3'000'000)));
        QVERIFY(checkPackage(source).matches());
        QCOMPARE(source.largest, package::checkReadSize);
    }

    void largePackagesAreShared_data()
    {
        QTest::addColumn<int>("size");
        const int chunk = int(package::checkReadSize);
        for (const int size : {4 * chunk - 1, 4 * chunk, 4 * chunk + 1, 5 * chunk + 12'345})
            QTest::newRow(qPrintable(QString::number(size))) << size;
    }

    void largePackagesAreShared()
    {
        QFETCH(int, size);
        const QByteArray package = checksummed(pattern(size));
        BytesSource source(package);
        QVERIFY(checkPackage(source).matches());
        for (const int place : {8, 8 + size / 2 - 1, 8 + size / 2, 8 + size - 1}) {
            QByteArray damaged = package;
            damaged[place] = char(damaged.at(place) ^ 1);
            BytesSource damagedSource(damaged);
            QVERIFY(!checkPackage(damagedSource).matches());
        }
    }

    /** What can be read counts, wherever the end comes. */
    void largeFileThatShrinksEnds_data()
    {
        QTest::addColumn<int>("size");
        // The source reports a size of 5,000,000 bytes more than it has.
        for (const int size : {0, 1, 1'000'000, 4'999'992, 4'999'993, 8'000'000})
            QTest::newRow(qPrintable(QString::number(size))) << size;
    }

    void largeFileThatShrinksEnds()
    {
        QFETCH(int, size);
        const QByteArray package = checksummed(pattern(size));
        ShrinkingSource source(package);
        const QByteArray expected =
            size == 0 ? QByteArray() : QByteArray::number(zlibCrc(package.mid(8)), 16);
        QCOMPARE(checkPackage(source).computed, expected);
    }

    void readsAFile()
    {
        const QTemporaryDir folder;
        const QString path = folder.filePath(QStringLiteral("a.fwm"));
        QFile file(path);
        QVERIFY(file.open(QIODevice::WriteOnly));
        file.write(checksummed(pattern(2'500'000)));
        file.close();

        FileSource source(path);
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
        FileSource missing(folder.filePath(QStringLiteral("none.fwm")));
        QVERIFY(!missing.open());
        QVERIFY(!missing.errorString().isEmpty());
        FileSource directory(folder.path());
        QVERIFY(!directory.open());
        QVERIFY(!directory.errorString().isEmpty());
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestChecksum)

} // namespace tst_checksum

#include "tst_checksum.moc"
