// SPDX-License-Identifier: Apache-2.0
#include "bytes/VerifiedSource.h"
#include "package/PackageChecksum.h"
#include "package/PackageLayout.h"
#include "support/TestCase.h"
#include "tests/package/TestSource.h"

#include <QtTest>

#include <cerrno>

Q_DECLARE_METATYPE(bytes::VerifiedSource::Fault)
Q_DECLARE_METATYPE(bytes::SumKind)

namespace package::tst_verified {

using bytes::Blake2b;
using bytes::BytesSource;
using bytes::ChunkSums;
using bytes::Crc32;
using bytes::SumKind;
using bytes::VerifiedSource;

using Fault = VerifiedSource::Fault;

namespace {

constexpr int chunk = int(bytes::smallestChunk);

/** The size of each chunk and its sum. */
QVector<QPair<qint64, quint32>> valuesOf(const ChunkSums &sums)
{
    QVector<QPair<qint64, quint32>> values;
    for (size_t i = 0; i < sums.count(); ++i)
        values.append({sums.lengthOf(i), sums.at(i).value()});
    return values;
}

ChunkSums sumsOf(const QByteArray &bytes, qint64 chunkSize = chunk)
{
    ChunkSums sums(chunkSize);
    sums.add(bytes.constData(), bytes.size());
    return sums;
}

} // namespace

class TestVerified : public QObject
{
    Q_OBJECT

private slots:
    void chunkSizes_data()
    {
        const tests::DataTable<SumKind, qint64, qint64> row("kind", "size", "chunkSize");
        const qint64 mib = 1024 * 1024;
        const qint64 largest = std::numeric_limits<qint64>::max();
        row("nothing", SumKind::Crc32, 0, 4096);
        row("16 MiB", SumKind::Crc32, 16 * mib, 4096);
        row("a byte more", SumKind::Crc32, 16 * mib + 1, 8192);
        row("64 MiB", SumKind::Crc32, 64 * mib, 16'384);
        row("4 GiB", SumKind::Crc32, 4096 * mib, mib);
        row("64 GiB", SumKind::Crc32, 65'536 * mib, 16 * mib);
        row("the largest file", SumKind::Crc32, largest, 16 * mib);
        row("digest of nothing", SumKind::Blake2b, 0, 4096);
        row("digest of 2 MiB", SumKind::Blake2b, 2 * mib, 4096);
        row("digest of a byte more", SumKind::Blake2b, 2 * mib + 1, 8192);
        row("digest of 1 GiB", SumKind::Blake2b, 1024 * mib, 2 * mib);
        row("digest of 64 GiB", SumKind::Blake2b, 65'536 * mib, 128 * mib);
        row("digest of the largest file", SumKind::Blake2b, largest, qint64(1) << 54);
    }

    /** The states of the digests take 256 KiB at most, however large the file is. */
    void chunkSizes()
    {
        QFETCH(SumKind, kind);
        QFETCH(qint64, size);
        QFETCH(qint64, chunkSize);
        QCOMPARE(ChunkSums::chunkSizeFor(size, kind), chunkSize);
        QVERIFY(kind == SumKind::Crc32 ||
                (size - 1) / chunkSize < qint64(256 * 1024 / sizeof(Blake2b)));
    }

    void sumsOfPieces()
    {
        const QByteArray bytes = pattern(100);
        QVector<QPair<qint64, quint32>> expected;
        for (int at = 0; at < bytes.size(); at += 16) {
            Crc32 crc;
            crc.add(bytes.mid(at, 16));
            expected.append({std::min<qint64>(16, bytes.size() - at), crc.value()});
        }
        for (int piece = 1; piece <= bytes.size(); ++piece) {
            ChunkSums sums(16);
            for (int at = 0; at < bytes.size(); at += piece)
                sums.add(bytes.constData() + at, std::min(piece, int(bytes.size()) - at));
            QCOMPARE(valuesOf(sums), expected);
            QCOMPARE(sums.size(), 100);
        }
        ChunkSums sums = sumsOf(bytes.left(48), 16);
        sums.append(sumsOf(bytes.mid(48), 16));
        QCOMPARE(valuesOf(sums), expected);
        QCOMPARE(sums.size(), 100);
    }

    /** One thread and two, with sizes around every border. */
    void checkGivesTheChunks_data()
    {
        const tests::DataTable<int> row("size");
        const int shared = 4 * int(checkReadSize);
        for (const int size : {0, 1, 8, 9, chunk - 1, chunk, chunk + 1, 5 * chunk + 17, shared - 1,
                               shared, shared + 1, 16 * 1024 * 1024 + 1})
            row(qPrintable(QString::number(size)), size);
    }

    void checkGivesTheChunks()
    {
        QFETCH(int, size);
        const QByteArray bytes = pattern(size);
        BytesSource source(bytes);
        const PackageChecksum checksum = checkPackage(source);
        const ChunkSums expected = sumsOf(bytes, ChunkSums::chunkSizeFor(size));
        QCOMPARE(checksum.chunks.chunkSize(), expected.chunkSize());
        QCOMPARE(checksum.chunks.size(), size);
        QCOMPARE(valuesOf(checksum.chunks), valuesOf(expected));
        QCOMPARE(checksum.readError, 0);
        QCOMPARE(checksum.digest, QByteArray());
        Crc32 covered;
        covered.add(bytes.mid(8));
        QCOMPARE(checksum.computed, size > 8 ? covered.text() : QByteArray());

        const PackageChecksum digested = checkPackage(source, SumKind::Blake2b);
        Blake2b digest;
        digest.add(bytes.constData(), bytes.size());
        QCOMPARE(digested.digest, digest.digest());
        QCOMPARE(digested.computed, checksum.computed);
        VerifiedSource verified(source, digested.chunks);
        QCOMPARE(verified.read(0, size + 1), bytes);
        QCOMPARE(verified.fault(), Fault::None);
    }

    void sumWithoutItsFront()
    {
        const QByteArray bytes = pattern(300);
        Crc32 whole;
        whole.add(bytes);
        for (int at = 0; at <= bytes.size(); ++at) {
            Crc32 front;
            front.add(bytes.left(at));
            Crc32 rest;
            rest.add(bytes.mid(at));
            QCOMPARE(whole.withoutFront(front, bytes.size() - at).value(), rest.value());
        }
    }

    void readsWhatIsThere_data()
    {
        const tests::DataTable<qint64, qint64> row("offset", "length");
        const qint64 huge = std::numeric_limits<qint64>::max();
        const qint64 last = 3 * chunk + 100;
        const std::pair<qint64, qint64> ranges[] = {
            {0, last},           {0, 1},         {0, chunk},        {chunk, chunk},
            {chunk - 1, 2},      {5, 3 * chunk}, {3 * chunk, 100},  {3 * chunk + 99, 1},
            {last - 1, huge},    {0, huge},      {chunk + 1, huge}, {last, 1},
            {last + chunk, 100}, {-1, 10},       {10, 0},           {10, -5},
        };
        for (const auto &[offset, length] : ranges)
            row(qPrintable(QStringLiteral("%1 %2").arg(offset).arg(length)), offset, length);
    }

    void readsWhatIsThere()
    {
        QFETCH(qint64, offset);
        QFETCH(qint64, length);
        const QByteArray bytes = pattern(3 * chunk + 100);
        BytesSource plain(bytes);
        TestSource source(bytes + "more");
        VerifiedSource verified(source, sumsOf(bytes));
        QCOMPARE(verified.size(), bytes.size());
        QCOMPARE(verified.read(offset, length), plain.read(offset, length));
        QByteArray buffer(bytes.size() + 1, '?');
        const qint64 count = verified.readInto(offset, buffer.data(), length);
        QCOMPARE(buffer.left(int(count)), plain.read(offset, length));
        QCOMPARE(buffer.mid(int(count)), QByteArray(buffer.size() - int(count), '?'));
        QCOMPARE(verified.fault(), Fault::None);
    }

    void takesUpShortReads()
    {
        const QByteArray bytes = pattern(2 * chunk + 100);
        TestSource source(bytes);
        source.most = 1000;
        VerifiedSource verified(source, sumsOf(bytes));
        QCOMPARE(verified.read(10, bytes.size()), bytes.mid(10));
    }

    /** Each bit counts, wherever in the chunk it is. */
    void findsEveryChange()
    {
        const QByteArray bytes = pattern(200);
        for (int at = 0; at < bytes.size(); ++at) {
            TestSource source(bytes);
            VerifiedSource verified(source, sumsOf(bytes, 64));
            source.bytes[at] = char(source.bytes.at(at) ^ (1 << at % 8));
            const int inSameChunk = at / 64 * 64;
            QCOMPARE(verified.read(inSameChunk, 1), QByteArray());
            QCOMPARE(verified.fault(), Fault::Changed);
        }
    }

    void leavesUntouchedChunksAlone()
    {
        const QByteArray bytes = pattern(4 * chunk);
        TestSource source(bytes);
        VerifiedSource verified(source, sumsOf(bytes));
        source.bytes[2 * chunk] = '!';
        QCOMPARE(verified.read(chunk - 5, chunk + 5), bytes.mid(chunk - 5, chunk + 5));
        QCOMPARE(verified.read(3 * chunk, chunk), bytes.mid(3 * chunk));
        QCOMPARE(verified.fault(), Fault::None);
        QCOMPARE(verified.read(chunk - 5, chunk + 6), QByteArray());
        QCOMPARE(verified.fault(), Fault::Changed);
    }

    void nothingAfterAFault()
    {
        const QByteArray bytes = pattern(2 * chunk);
        TestSource source(bytes);
        VerifiedSource verified(source, sumsOf(bytes));
        source.bytes[0] = '!';
        QCOMPARE(verified.read(0, 1), QByteArray());
        source.bytes = bytes;
        const int reads = source.reads;
        QCOMPARE(verified.read(chunk, 1), QByteArray());
        char byte = '?';
        QCOMPARE(verified.readInto(chunk, &byte, 1), 0);
        QCOMPARE(byte, '?');
        QCOMPARE(int(source.reads), reads);
    }

    void faults_data()
    {
        const tests::DataTable<int, qint64, qint64, Fault, int> row("left", "missing", "brokenFrom",
                                                                    "fault", "error");
        row("cut", 100, 0, -1, Fault::Changed, 0);
        row("emptied", 0, 0, -1, Fault::Changed, 0);
        row("gives less than it has", 100, 2 * chunk - 100, -1, Fault::ReadError, 0);
        row("fails at once", 2 * chunk, 0, 0, Fault::ReadError, EIO);
        row("fails later", 2 * chunk, 0, chunk + 7, Fault::ReadError, EIO);
        row("cut and fails", 100, 0, 0, Fault::ReadError, EIO);
    }

    void faults()
    {
        QFETCH(int, left);
        QFETCH(qint64, missing);
        QFETCH(qint64, brokenFrom);
        const QByteArray bytes = pattern(2 * chunk);
        TestSource source(bytes.left(left));
        source.missing = missing;
        source.brokenFrom = brokenFrom;
        VerifiedSource verified(source, sumsOf(bytes));
        QCOMPARE(verified.read(0, bytes.size()), QByteArray());
        QTEST(verified.fault(), "fault");
        QTEST(verified.error(), "error");
    }

    /** In the checksum's text, in the first half and in the second. */
    void readErrorOfACheck()
    {
        const int size = 5 * int(checkReadSize);
        const QByteArray bytes = pattern(size);
        for (const int place : {0, 100, size / 2 - 1, size / 2 + 5000, size - 1}) {
            TestSource source(bytes);
            source.brokenFrom = place;
            const PackageChecksum checksum = checkPackage(source);
            QCOMPARE(checksum.readError, EIO);
            QVERIFY(checksum.chunks.size() <= place);
        }
        TestSource shorter(bytes);
        shorter.missing = 1;
        QCOMPARE(checkPackage(shorter).readError, 0);
    }

    void findsChangesThatKeepTheCrc()
    {
        const QByteArray bytes = pattern(3 * chunk);
        // Every multiple of the CRC's polynomial leaves the CRC-32 as it is. This one is the
        // polynomial itself, least significant bits first.
        const QByteArray unseen = QByteArray::fromHex("410671db01");
        for (const int at : {0, chunk - 5, chunk, 2 * chunk + 100, 3 * chunk - 5}) {
            BytesSource original(bytes);
            TestSource source(bytes);
            for (int i = 0; i < unseen.size(); ++i)
                source.bytes[at + i] = char(bytes.at(at + i) ^ unseen.at(i));
            VerifiedSource crcs(source, checkPackage(original).chunks);
            QCOMPARE(crcs.read(at, 5), source.bytes.mid(at, 5));
            VerifiedSource digests(source, checkPackage(original, SumKind::Blake2b).chunks);
            QCOMPARE(digests.read(at, 5), QByteArray());
            QCOMPARE(digests.fault(), Fault::Changed);
        }
    }

    /** A chunk larger than the buffer, of which each read wants another part. */
    void readsDigestedChunks()
    {
        const QByteArray bytes = pattern(700'000);
        ChunkSums sums(262'144, SumKind::Blake2b);
        sums.add(bytes.constData(), bytes.size());
        for (const int offset : {0, 1, 65'535, 65'536, 200'000, 262'144, 600'000, 699'999}) {
            for (const int length : {1, 100, 65'536, 131'072, 300'000, 700'000}) {
                TestSource source(bytes);
                VerifiedSource verified(source, sums);
                QCOMPARE(verified.read(offset, length), bytes.mid(offset, length));
                source.bytes[offset / 262'144 * 262'144] = '!';
                QCOMPARE(verified.read(offset, length), QByteArray());
            }
        }
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestVerified)

} // namespace package::tst_verified

#include "tst_verified.moc"
