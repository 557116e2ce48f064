// SPDX-License-Identifier: Apache-2.0
#include "package/ImageRecord.h"
#include "package/PackageHeader.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"

#include <QtEndian>
#include <QtTest>

Q_DECLARE_METATYPE(package::RecordWalker::State)

namespace tst_records {

using bytes::BytesSource;
using package::MatchMask;
using package::readPackageHeader;
using package::RecordKey;
using package::RecordWalker;

namespace {

QByteArray record(const char *keyHex, const QByteArray &image, qint64 length = -1)
{
    QByteArray bytes = QByteArray::fromHex(keyHex);
    char size[4];
    qToLittleEndian(quint32(length < 0 ? image.size() : length), size);
    return bytes + QByteArray(size, 4) + image;
}

/** A package whose description has four bytes; its checksum is of no interest to the lookup. */
QByteArray packageOf(const QByteArray &records)
{
    return QByteArray("00000000MTU\0\6\4\0null", 19) + records;
}

struct Found
{
    bool found;
    QByteArray image;
};

Found find(const QByteArray &package, int chipType, int mcuType, int pcbVersion, int speciality,
           const MatchMask &mask = MatchMask::anyVersion())
{
    BytesSource source(package);
    const auto record = findImageRecord(source, mask, chipType, mcuType, pcbVersion, speciality);
    if (!record)
        return {false, {}};
    return {true, package.mid(int(record->imageOffset), int(record->length))};
}

using State = RecordWalker::State;

struct Walk
{
    int count = 0;
    State state = State::Walking;
    qint64 position = 0;
};

Walk walk(const QByteArray &package)
{
    BytesSource source(package);
    RecordWalker walker(source);
    Walk result;
    while (walker.next())
        ++result.count;
    // The end is an end.
    if (walker.next())
        ++result.count;
    result.state = walker.state();
    result.position = walker.position();
    return result;
}

} // namespace

class TestRecords : public QObject
{
    Q_OBJECT

private slots:
    void keyBytes()
    {
        const QByteArray bytes = QByteArray::fromHex("0102030405060708");
        const RecordKey key = RecordKey::fromBytes(bytes);
        QCOMPARE(int(key.chipType), 1);
        QCOMPARE(int(key.chipQuantity), 2);
        QCOMPARE(int(key.mcuType), 3);
        QCOMPARE(int(key.pcbVersion), 4);
        QCOMPARE(int(key.speciality), 5);
        QCOMPARE(int(key.ver1), 6);
        QCOMPARE(int(key.ver2), 7);
        QCOMPARE(int(key.ver3), 8);
        QCOMPARE(key.bytes(), bytes);
        QVERIFY(key == RecordKey::fromBytes(bytes));
        QVERIFY(key != RecordKey::fromBytes(bytes.left(7)));
    }

    void walksRecords()
    {
        const QByteArray package = packageOf(record("0001010141010203", "abc") +
                                             record("2001000000011700", QByteArray(5000, 'n')));
        BytesSource source(package);
        RecordWalker walker(source);
        auto first = walker.next();
        QVERIFY(first.has_value());
        QCOMPARE(first->headerOffset, 19);
        QCOMPARE(first->imageOffset, 31);
        QCOMPARE(first->length, 3);
        QCOMPARE(first->end(), 34);
        QCOMPARE(first->key.bytes().toHex(), QByteArray("0001010141010203"));
        const auto second = walker.next();
        QVERIFY(second.has_value());
        QCOMPARE(second->headerOffset, 34);
        QCOMPARE(second->length, 5000);
        QVERIFY(!walker.next());
        QCOMPARE(walker.state(), State::End);
        QCOMPARE(walker.position(), package.size());
    }

    void walksEnd_data()
    {
        QTest::addColumn<QByteArray>("package");
        QTest::addColumn<int>("count");
        QTest::addColumn<State>("state");
        QTest::addColumn<qint64>("position");

        const QByteArray one = record("0001010141010203", "abc");
        QTest::newRow("no records") << packageOf({}) << 0 << State::End << qint64(19);
        for (const int left : {1, 11})
            QTest::newRow(qPrintable(QStringLiteral("%1 bytes left").arg(left)))
                << packageOf(one + QByteArray(left, 'x')) << 1 << State::ShortHeader << qint64(34);
        QTest::newRow("cut by one byte") << packageOf(one + record("00", "abc").left(11)) << 1
                                         << State::ShortHeader << qint64(34);
        QTest::newRow("image cut")
            << packageOf(one + one.left(14)) << 1 << State::LengthBeyondEnd << qint64(34);
        QTest::newRow("claims 4 GiB") << packageOf(record("0001010141010203", "abc", 0xffffffff))
                                      << 0 << State::LengthBeyondEnd << qint64(19);
        QTest::newRow("empty image at the end")
            << packageOf(record("0001010141010203", {})) << 1 << State::End << qint64(31);
        QTest::newRow("description beyond the end")
            << QByteArray("00000000MTU\0\6\xff\xff{}", 17) << 0 << State::LengthBeyondEnd
            << qint64(15 + 65535);
    }

    void walksEnd()
    {
        QFETCH(QByteArray, package);
        const Walk result = walk(package);
        QTEST(result.count, "count");
        QTEST(result.state, "state");
        QTEST(result.position, "position");
    }

    void walkNeedsALength()
    {
        for (int size = 0; size < 15; ++size) {
            const Walk result = walk(packageOf({}).left(size));
            QCOMPARE(result.count, 0);
            QCOMPARE(result.state, State::ShortHeader);
        }
    }

    void walksFromAnOffset()
    {
        // A description with a length of four bytes: the records begin two bytes later.
        BytesSource source(golden(QStringLiteral("version-2")));
        RecordWalker walker(source, readPackageHeader(source).recordsOffset());
        const auto record = walker.next();
        QVERIFY(record.has_value());
        QCOMPARE(record->length, 276);
        QVERIFY(!walker.next());
        QCOMPARE(walker.state(), State::End);
    }

    void walksManySmallRecords()
    {
        class Counting : public BytesSource
        {
        public:
            using BytesSource::BytesSource;
            QByteArray read(qint64 offset, qint64 length) override
            {
                ++reads;
                return BytesSource::read(offset, length);
            }
            int reads = 0;
        };
        // Sizes that put headers across every edge of what is read at once.
        QByteArray records;
        const int count = 5000;
        for (int index = 0; index < count; ++index)
            records += record("0001010141010203", QByteArray(index % 5, 'x'));
        Counting source(packageOf(records));
        RecordWalker walker(source);
        int seen = 0;
        while (const auto next = walker.next()) {
            QCOMPARE(next->length, seen % 5);
            ++seen;
        }
        QCOMPARE(seen, count);
        QCOMPARE(walker.state(), State::End);
        QVERIFY(source.reads < 30);
    }

    void findsByEveryField_data()
    {
        QTest::addColumn<QVector<int>>("wanted");
        QTest::addColumn<bool>("found");

        using Wanted = QVector<int>;
        QTest::newRow("equal") << Wanted{3, 4, 5, 66} << true;
        QTest::newRow("chip type") << Wanted{2, 4, 5, 66} << false;
        QTest::newRow("MCU type") << Wanted{3, 5, 5, 66} << false;
        QTest::newRow("PCB version") << Wanted{3, 4, 4, 66} << false;
        QTest::newRow("speciality") << Wanted{3, 4, 5, 65} << false;
    }

    void findsByEveryField()
    {
        QFETCH(QVector<int>, wanted);
        QFETCH(bool, found);
        // Quantity and versions are never compared.
        const QByteArray package = packageOf(record("0309040542070809", "image"));
        for (const MatchMask &mask : {MatchMask::anyVersion(), MatchMask::newerVersion()}) {
            const Found result = find(package, wanted[0], wanted[1], wanted[2], wanted[3], mask);
            QCOMPARE(result.found, found);
            QCOMPARE(result.image, QByteArray(found ? "image" : ""));
        }
    }

    void firstMatchWins()
    {
        const QByteArray package =
            packageOf(record("0001010142010000", "other board") +
                      record("0001010141010000", "old") + record("0001010141020000", "new"));
        QCOMPARE(find(package, 0, 1, 1, 65).image, QByteArray("old"));
    }

    void bigChipTypesNeedTheTypeOnly()
    {
        const QByteArray package =
            packageOf(record("1001010141010000", "sixteen") +
                      record("1101010141010000", "seventeen") + record("2001010141010000", "net"));
        QCOMPARE(find(package, 17, 9, 9, 9).image, QByteArray("seventeen"));
        QCOMPARE(find(package, 32, 9, 9, 9).image, QByteArray("net"));
        QVERIFY(!find(package, 16, 9, 9, 9).found);
        QCOMPARE(find(package, 16, 1, 1, 65).image, QByteArray("sixteen"));
        QVERIFY(!find(package, 18, 1, 1, 65).found);
        // Without the type in the mask there is nothing left to compare.
        const MatchMask noType(QStringLiteral("0,0,0,1,1,1"));
        QCOMPARE(find(package, 99, 9, 9, 9, noType).image, QByteArray("sixteen"));
        QVERIFY(!find(package, 1, 9, 9, 9, noType).found);
    }

    void masksSwitchOff()
    {
        const QByteArray package = packageOf(record("0309040542070809", "image"));
        QVERIFY(find(package, 1, 4, 5, 66, MatchMask(QStringLiteral("0,0,0,1,1,1"))).found);
        QVERIFY(find(package, 3, 1, 5, 66, MatchMask(QStringLiteral("0,1,0,0,1,1"))).found);
        QVERIFY(find(package, 3, 4, 1, 66, MatchMask(QStringLiteral("0,1,0,1,0,1"))).found);
        QVERIFY(find(package, 3, 4, 5, 1, MatchMask(QStringLiteral("0,1,0,1,1,0"))).found);
        QVERIFY(find(package, 1, 1, 1, 1, MatchMask(QString())).found);
    }

    void emptyRecordIsFound()
    {
        const Found result = find(golden(QStringLiteral("record-of-length-0")), 0, 1, 1, 65);
        QVERIFY(result.found);
        QCOMPARE(result.image, QByteArray());
    }

    void damagedTailEndsTheSearch()
    {
        QVERIFY(!find(golden(QStringLiteral("record-claims-4-gib")), 0, 1, 1, 65).found);
        QVERIFY(!find(golden(QStringLiteral("record-cut")), 0, 1, 1, 65).found);
        QVERIFY(find(golden(QStringLiteral("record-header-cut")), 0, 1, 1, 65).found);
        QVERIFY(!find(golden(QStringLiteral("record-header-cut")), 0, 1, 1, 66).found);
        QVERIFY(!find(QByteArray(), 0, 1, 1, 65).found);
    }

    void numbersWrap()
    {
        const QByteArray package = packageOf(record("0309040542070809", "image"));
        QVERIFY(find(package, 256 + 3, 256 + 4, 256 + 5, 256 + 66).found);
        QVERIFY(!find(package, -1, 4, 5, 66).found);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestRecords)

} // namespace tst_records

#include "tst_records.moc"
