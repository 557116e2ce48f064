// SPDX-License-Identifier: Apache-2.0
#include "package/PackageCheckCache.h"
#include "support/TestCase.h"

#include "tests/package/Golden.h"
#include "tests/package/TestSource.h"

#include <QtTest>

namespace package::tst_check_cache {

using bytes::FileStamp;
using bytes::SumKind;

namespace {

constexpr qint64 second = 1'000'000'000;
constexpr qint64 now = 1'700'000'000 * second;

/** How often the whole source was read. */
int checksOf(const TestSource &source)
{
    TestSource once(source.bytes);
    checkPackage(once);
    return source.reads / once.reads;
}

FileStamp settled()
{
    return {1, 2, 3, now - 10 * second, now - 5 * second};
}

} // namespace

class TestCheckCache : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheResult()
    {
        for (const char *name : {"good", "checksum-wrong", "empty"}) {
            TestSource source(golden(name));
            const PackageChecksum expected = checkPackage(source);
            source.reads = 0;
            PackageCheckCache cache([] { return now; });
            for (int time = 0; time < 3; ++time) {
                const PackageChecksum checksum = cache.check(settled(), source);
                QCOMPARE(checksum.stored, expected.stored);
                QCOMPARE(checksum.computed, expected.computed);
                QCOMPARE(checksum.matches(), expected.matches());
                QCOMPARE(checksOf(source), 1);
            }
        }
    }

    void readsAgainWhenAnythingDiffers()
    {
        const qint64 modified = settled().modified;
        const qint64 changed = settled().changed;
        for (const FileStamp &other :
             {FileStamp{2, 2, 3, modified, changed}, FileStamp{1, 3, 3, modified, changed},
              FileStamp{1, 2, 4, modified, changed}, FileStamp{1, 2, 3, modified + 1, changed},
              FileStamp{1, 2, 3, modified, changed + 1}}) {
            PackageCheckCache cache([] { return now; });
            TestSource first(golden("good"));
            QVERIFY(cache.check(settled(), first).matches());
            TestSource second(golden("checksum-wrong"));
            QVERIFY(!cache.check(other, second).matches());
        }
    }

    void keepsTheLastResultOnly()
    {
        FileStamp other = settled();
        ++other.inode;
        PackageCheckCache cache([] { return now; });
        TestSource source(golden("good"));
        cache.check(settled(), source);
        cache.check(other, source);
        cache.check(settled(), source);
        QCOMPARE(checksOf(source), 3);
    }

    void keepsSettledStampsOnly_data()
    {
        const tests::DataTable<qint64, qint64, bool> row("modified", "changed", "kept");
        const qint64 old = now - 100 * second;
        const qint64 edge = now - 2 * second;
        row("old", old, old, true);
        row("two seconds", edge, edge, true);
        row("modified a nanosecond later", edge + 1, old, false);
        row("changed a nanosecond later", old, edge + 1, false);
        row("now", now, now, false);
        row("modified in the future", now + 100 * second, old, false);
        row("changed in the future", old, now + 100 * second, false);
        row("before 1970", -5 * second, -5 * second, true);
    }

    void keepsSettledStampsOnly()
    {
        QFETCH(qint64, modified);
        QFETCH(qint64, changed);
        QFETCH(bool, kept);
        const FileStamp stamp{1, 2, 3, modified, changed};
        PackageCheckCache cache([] { return now; });
        TestSource source(golden("good"));
        QVERIFY(cache.check(stamp, source).matches());
        QVERIFY(cache.check(stamp, source).matches());
        QCOMPARE(checksOf(source), kept ? 1 : 2);
    }

    void keepsWhatSettledLater()
    {
        qint64 time = now;
        PackageCheckCache cache([&time] { return time; });
        TestSource source(golden("good"));
        const FileStamp stamp{1, 2, 3, now, now};
        cache.check(stamp, source);
        // The first result stays forgotten: it was of a time in which the file could still change.
        time += 3 * second;
        cache.check(stamp, source);
        QCOMPARE(checksOf(source), 2);
        cache.check(stamp, source);
        QCOMPARE(checksOf(source), 2);
    }

    void keepsNoReadError()
    {
        PackageCheckCache cache([] { return now; });
        TestSource source(golden("good"));
        source.brokenFrom = 0;
        const PackageChecksum failed = cache.check(settled(), source);
        QVERIFY(!failed.matches());
        QCOMPARE(failed.readError, EIO);
        source.brokenFrom = -1;
        QVERIFY(cache.check(settled(), source).matches());
    }

    void readsAgainForADigest()
    {
        TestSource source(golden("good"));
        PackageCheckCache cache([] { return now; });
        QCOMPARE(cache.check(settled(), source).digest, QByteArray());
        const PackageChecksum digested = cache.check(settled(), source, SumKind::Blake2b);
        QCOMPARE(digested.digest, checkPackage(source, SumKind::Blake2b).digest);
        QCOMPARE(int(digested.chunks.count()), 0);
        source.reads = 0;
        QCOMPARE(cache.check(settled(), source, SumKind::Blake2b).digest, digested.digest);
        QVERIFY(cache.check(settled(), source).matches());
        QCOMPARE(checksOf(source), 0);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestCheckCache)

} // namespace package::tst_check_cache

#include "tst_check_cache.moc"
