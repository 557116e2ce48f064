// SPDX-License-Identifier: Apache-2.0
#include "package/ImageRecord.h"
#include "package/PackageHeader.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"
#include "tests/package/TestSource.h"

#include <QtEndian>
#include <QtTest>

Q_DECLARE_METATYPE(package::RecordWalker::State)

namespace package::tst_records {

using bytes::BytesSource;

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

const QByteArray none = "(none)";

/** The image that is found. */
QByteArray find(const QByteArray &package, int chipType, int mcuType, int pcbVersion,
                int speciality, const MatchMask &mask = MatchMask::anyVersion())
{
    BytesSource source(package);
    const auto record = findImageRecord(source, mask, chipType, mcuType, pcbVersion, speciality);
    return record ? package.mid(int(record->imageOffset), int(record->length)) : none;
}

using State = RecordWalker::State;

struct Walk
{
    /** "header offset, image offset, length, key" of each record. */
    QStringList records;
    State state = State::Walking;
    qint64 position = 0;
};

Walk walk(const QByteArray &package)
{
    BytesSource source(package);
    RecordWalker walker(source);
    Walk result;
    while (const auto record = walker.next())
        result.records.append(QStringLiteral("%1, %2, %3, %4")
                                  .arg(record->headerOffset)
                                  .arg(record->imageOffset)
                                  .arg(record->length)
                                  .arg(QString(record->key.bytes().toHex())));
    // The end is an end.
    if (walker.next())
        result.records.append("one more");
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
        const RecordKey key{1, 2, 3, 4, 5, 6, 7, 8};
        QCOMPARE(key.bytes(), bytes);
        QCOMPARE(RecordKey::fromBytes(bytes).bytes(), bytes);
        QVERIFY(key == RecordKey::fromBytes(bytes));
        QVERIFY(key != RecordKey::fromBytes(bytes.left(7)));
    }

    void walks_data()
    {
        const tests::DataTable<QByteArray, QStringList, State, qint64> row("package", "records",
                                                                           "state", "position");
        const QByteArray one = record("0001010141010203", "abc");
        const QString first = "19, 31, 3, 0001010141010203";
        row("two records", packageOf(one + record("2001000000011700", QByteArray(5000, 'n'))),
            {first, "34, 46, 5000, 2001000000011700"}, State::End, 34 + 12 + 5000);
        row("no records", packageOf({}), {}, State::End, 19);
        row("1 byte left", packageOf(one + "x"), {first}, State::ShortHeader, 34);
        row("11 bytes left", packageOf(one + one.left(11)), {first}, State::ShortHeader, 34);
        row("image cut", packageOf(one + one.left(14)), {first}, State::LengthBeyondEnd, 34);
        row("claims 4 GiB", packageOf(record("0001010141010203", "abc", 0xffffffff)), {},
            State::LengthBeyondEnd, 19);
        row("empty image at the end", packageOf(record("0001010141010203", {})),
            {"19, 31, 0, 0001010141010203"}, State::End, 31);
        row("description beyond the end", QByteArray("00000000MTU\0\6\xff\xff{}", 17), {},
            State::LengthBeyondEnd, 15 + 65535);
    }

    void walks()
    {
        QFETCH(QByteArray, package);
        const Walk result = walk(package);
        QTEST(result.records, "records");
        QTEST(result.state, "state");
        QTEST(result.position, "position");
    }

    void walkNeedsALength()
    {
        for (int size = 0; size < 15; ++size) {
            const Walk result = walk(packageOf({}).left(size));
            QCOMPARE(result.records, QStringList());
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
        // Sizes that put headers across every edge of what is read at once.
        QByteArray records;
        const int count = 5000;
        for (int index = 0; index < count; ++index)
            records += record("0001010141010203", QByteArray(index % 5, 'x'));
        TestSource source(packageOf(records));
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

    void findsByEveryField()
    {
        // Quantity and versions are never compared.
        const QByteArray package = packageOf(record("0309040542070809", "image"));
        for (const MatchMask &mask : {MatchMask::anyVersion(), MatchMask::newerVersion()}) {
            QCOMPARE(find(package, 3, 4, 5, 66, mask), QByteArray("image"));
            QCOMPARE(find(package, 2, 4, 5, 66, mask), none);
            QCOMPARE(find(package, 3, 5, 5, 66, mask), none);
            QCOMPARE(find(package, 3, 4, 4, 66, mask), none);
            QCOMPARE(find(package, 3, 4, 5, 65, mask), none);
        }
        // Numbers wrap.
        QCOMPARE(find(package, 256 + 3, 256 + 4, 256 + 5, 256 + 66), QByteArray("image"));
        QCOMPARE(find(package, -1, 4, 5, 66), none);
    }

    void firstMatchWins()
    {
        const QByteArray package =
            packageOf(record("0001010142010000", "other board") +
                      record("0001010141010000", "old") + record("0001010141020000", "new"));
        QCOMPARE(find(package, 0, 1, 1, 65), QByteArray("old"));
    }

    void bigChipTypesNeedTheTypeOnly()
    {
        const QByteArray package =
            packageOf(record("1001010141010000", "sixteen") +
                      record("1101010141010000", "seventeen") + record("2001010141010000", "net"));
        QCOMPARE(find(package, 17, 9, 9, 9), QByteArray("seventeen"));
        QCOMPARE(find(package, 32, 9, 9, 9), QByteArray("net"));
        QCOMPARE(find(package, 16, 9, 9, 9), none);
        QCOMPARE(find(package, 16, 1, 1, 65), QByteArray("sixteen"));
        QCOMPARE(find(package, 18, 1, 1, 65), none);
        // Without the type in the mask there is nothing left to compare.
        const MatchMask noType(QStringLiteral("0,0,0,1,1,1"));
        QCOMPARE(find(package, 99, 9, 9, 9, noType), QByteArray("sixteen"));
        QCOMPARE(find(package, 1, 9, 9, 9, noType), none);
    }

    void masksSwitchOff()
    {
        const QByteArray package = packageOf(record("0309040542070809", "image"));
        const auto findWith = [&](const char *mask, int type, int mcu, int pcb, int speciality) {
            return find(package, type, mcu, pcb, speciality, MatchMask(QString(mask)));
        };
        QCOMPARE(findWith("0,0,0,1,1,1", 1, 4, 5, 66), QByteArray("image"));
        QCOMPARE(findWith("0,1,0,0,1,1", 3, 1, 5, 66), QByteArray("image"));
        QCOMPARE(findWith("0,1,0,1,0,1", 3, 4, 1, 66), QByteArray("image"));
        QCOMPARE(findWith("0,1,0,1,1,0", 3, 4, 5, 1), QByteArray("image"));
        QCOMPARE(findWith("", 1, 1, 1, 1), QByteArray("image"));
    }

    void damagedTailEndsTheSearch()
    {
        QCOMPARE(find(golden("record-of-length-0"), 0, 1, 1, 65), QByteArray());
        QCOMPARE(find(golden("record-claims-4-gib"), 0, 1, 1, 65), none);
        QCOMPARE(find(golden("record-cut"), 0, 1, 1, 65), none);
        QCOMPARE(find(golden("record-header-cut"), 0, 1, 1, 65).size(), 276);
        QCOMPARE(find(golden("record-header-cut"), 0, 1, 1, 66), none);
        QCOMPARE(find(QByteArray(), 0, 1, 1, 65), none);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestRecords)

} // namespace package::tst_records

#include "tst_records.moc"
