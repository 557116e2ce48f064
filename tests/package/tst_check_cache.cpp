// SPDX-License-Identifier: Apache-2.0
#include "package/PackageCheckCache.h"
#include "support/TestCase.h"

#include "tests/package/Golden.h"

#include <QtTest>

#include <cerrno>

namespace tst_check_cache {

using bytes::BytesSource;
using bytes::FileStamp;
using bytes::SumKind;
using package::checkPackage;
using package::PackageCheckCache;
using package::PackageChecksum;

namespace {

constexpr qint64 second = 1'000'000'000;
constexpr qint64 now = 1'700'000'000 * second;

/** Counts how often it is read from its start. */
class CountingSource : public BytesSource
{
public:
    using BytesSource::BytesSource;

    QByteArray read(qint64 offset, qint64 length) override
    {
        if (broken) {
            errno = EIO;
            return {};
        }
        checks += offset == 0 && length == 8 ? 1 : 0;
        return BytesSource::read(offset, length);
    }

    bool broken = false;
    int checks = 0;
};

FileStamp settled()
{
    return {1, 2, 3, now - 10 * second, now - 5 * second};
}

} // namespace

class TestCheckCache : public QObject
{
    Q_OBJECT

private slots:
    void keepsTheResult_data()
    {
        QTest::addColumn<QString>("name");
        QTest::newRow("right") << "good";
        QTest::newRow("wrong") << "checksum-wrong";
        QTest::newRow("empty") << "empty";
    }

    void keepsTheResult()
    {
        QFETCH(QString, name);
        CountingSource source(golden(name));
        const PackageChecksum expected = checkPackage(source);
        source.checks = 0;
        PackageCheckCache cache([] { return now; });
        for (int time = 0; time < 3; ++time) {
            const PackageChecksum checksum = cache.check(settled(), source);
            QCOMPARE(checksum.stored, expected.stored);
            QCOMPARE(checksum.computed, expected.computed);
            QCOMPARE(checksum.matches(), expected.matches());
            QCOMPARE(source.checks, 1);
        }
    }

    void readsAgainWhenAnythingDiffers_data()
    {
        QTest::addColumn<int>("field");
        QTest::newRow("device") << 0;
        QTest::newRow("inode") << 1;
        QTest::newRow("size") << 2;
        QTest::newRow("modified, by a nanosecond") << 3;
        QTest::newRow("changed, by a nanosecond") << 4;
    }

    void readsAgainWhenAnythingDiffers()
    {
        QFETCH(int, field);
        FileStamp other = settled();
        switch (field) {
        case 0:
            ++other.device;
            break;
        case 1:
            ++other.inode;
            break;
        case 2:
            ++other.size;
            break;
        case 3:
            ++other.modified;
            break;
        default:
            ++other.changed;
        }
        PackageCheckCache cache([] { return now; });
        CountingSource first(golden("good"));
        QVERIFY(cache.check(settled(), first).matches());
        CountingSource second(golden("checksum-wrong"));
        QVERIFY(!cache.check(other, second).matches());
        QCOMPARE(second.checks, 1);
    }

    void keepsTheLastResultOnly()
    {
        FileStamp other = settled();
        ++other.inode;
        PackageCheckCache cache([] { return now; });
        CountingSource source(golden("good"));
        cache.check(settled(), source);
        cache.check(other, source);
        cache.check(settled(), source);
        QCOMPARE(source.checks, 3);
    }

    void keepsSettledStampsOnly_data()
    {
        QTest::addColumn<qint64>("modified");
        QTest::addColumn<qint64>("changed");
        QTest::addColumn<bool>("kept");
        const qint64 old = now - 100 * second;
        const qint64 edge = now - 2 * second;
        QTest::newRow("old") << old << old << true;
        QTest::newRow("two seconds") << edge << edge << true;
        QTest::newRow("modified a nanosecond later") << edge + 1 << old << false;
        QTest::newRow("changed a nanosecond later") << old << edge + 1 << false;
        QTest::newRow("now") << now << now << false;
        QTest::newRow("modified in the future") << now + 100 * second << old << false;
        QTest::newRow("changed in the future") << old << now + 100 * second << false;
        QTest::newRow("before 1970") << -5 * second << -5 * second << true;
    }

    void keepsSettledStampsOnly()
    {
        QFETCH(qint64, modified);
        QFETCH(qint64, changed);
        QFETCH(bool, kept);
        const FileStamp stamp{1, 2, 3, modified, changed};
        PackageCheckCache cache([] { return now; });
        CountingSource source(golden("good"));
        QVERIFY(cache.check(stamp, source).matches());
        QVERIFY(cache.check(stamp, source).matches());
        QCOMPARE(source.checks, kept ? 1 : 2);
    }

    void keepsWhatSettledLater()
    {
        qint64 time = now;
        PackageCheckCache cache([&time] { return time; });
        CountingSource source(golden("good"));
        const FileStamp stamp{1, 2, 3, now, now};
        cache.check(stamp, source);
        // The first result stays forgotten: it was of a time in which the file could still change.
        time += 3 * second;
        cache.check(stamp, source);
        QCOMPARE(source.checks, 2);
        cache.check(stamp, source);
        QCOMPARE(source.checks, 2);
    }

    void keepsNoReadError()
    {
        PackageCheckCache cache([] { return now; });
        CountingSource source(golden("good"));
        source.broken = true;
        const PackageChecksum failed = cache.check(settled(), source);
        QVERIFY(!failed.matches());
        QCOMPARE(failed.readError, EIO);
        source.broken = false;
        QVERIFY(cache.check(settled(), source).matches());
    }

    void readsAgainForADigest()
    {
        CountingSource source(golden("good"));
        PackageCheckCache cache([] { return now; });
        QCOMPARE(cache.check(settled(), source).digest, QByteArray());
        const PackageChecksum digested = cache.check(settled(), source, SumKind::Blake2b);
        QCOMPARE(digested.digest, checkPackage(source, SumKind::Blake2b).digest);
        QCOMPARE(int(digested.chunks.count()), 0);
        source.checks = 0;
        QCOMPARE(cache.check(settled(), source, SumKind::Blake2b).digest, digested.digest);
        QVERIFY(cache.check(settled(), source).matches());
        QCOMPARE(source.checks, 0);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestCheckCache)

} // namespace tst_check_cache

#include "tst_check_cache.moc"
