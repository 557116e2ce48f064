// SPDX-License-Identifier: Apache-2.0
#include "package/DescriptionKeys.h"
#include "package/NetMerge.h"
#include "package/PackageChecksum.h"
#include "package/PackageLayout.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"
#include "tests/package/TestSource.h"

#include <QJsonArray>
#include <QtTest>

Q_DECLARE_METATYPE(package::NetMergePlan::Error)

namespace package::tst_net {

using bytes::BytesSink;
using bytes::BytesSource;

namespace {

using Error = NetMergePlan::Error;

QByteArray netFile(const QByteArray &version, const QByteArray &archive)
{
    const QByteArray md5 = QCryptographicHash::hash(archive, QCryptographicHash::Md5).toHex();
    return version + '\0' + md5 + QByteArray(25, '\0') + archive;
}

NetMergePlan plan(const QByteArray &package, const QByteArray &file,
                  const QString &release = QString())
{
    BytesSource source(package);
    return planNetMerge(source, parseNetImage(file), QStringLiteral("images/net.bin"), release);
}

/** The merged package, empty when anything refused it. */
QByteArray merge(const QByteArray &package, const QByteArray &file,
                 const QString &release = QString())
{
    const NetMergePlan planned = plan(package, file, release);
    if (planned.error != Error::None)
        return {};
    BytesSource source(package);
    BytesSource net(file);
    BytesSink sink;
    PackageWriter writer(sink);
    return writeNetMerge(writer, planned, source, net) ? sink.bytes() : QByteArray();
}

PackageDescription describe(const QByteArray &package)
{
    BytesSource source(package);
    return parseDescription(readDescription(source, readPackageHeader(source)));
}

/** The headers and images of every record that is not the network module's. */
QByteArray otherRecords(const QByteArray &package)
{
    BytesSource source(package);
    RecordWalker walker(source, readPackageHeader(source).recordsOffset());
    QByteArray all;
    while (const auto record = walker.next()) {
        if (record->key.chipType != 32)
            all +=
                package.mid(int(record->headerOffset), int(record->end() - record->headerOffset));
    }
    return all;
}

int netRecords(const QByteArray &package)
{
    BytesSource source(package);
    RecordWalker walker(source);
    int count = 0;
    while (const auto record = walker.next())
        count += record->key.chipType == 32 ? 1 : 0;
    return walker.state() == RecordWalker::State::End ? count : -1;
}

QByteArray netImageOf(const QByteArray &package)
{
    BytesSource source(package);
    const auto record = findImageRecord(source, MatchMask(), 32, 0, 0, 0);
    return record ? source.read(record->imageOffset, record->length) : QByteArray();
}

bool hasGoodChecksum(const QByteArray &package)
{
    BytesSource source(package);
    return checkPackage(source).matches();
}

QByteArray packageOf(const QByteArray &json, const QByteArray &keyHex)
{
    BytesSink sink;
    PackageWriter writer(sink);
    writer.writeHeader(json, quint16(json.size()));
    for (const QByteArray &key : keyHex.split(' ')) {
        BytesSource image("image " + key);
        writer.writeRecord(RecordKey::fromBytes(QByteArray::fromHex(key)), image);
    }
    writer.finish();
    return sink.bytes();
}

} // namespace

class TestNet : public QObject
{
    Q_OBJECT

private slots:
    void parsesEverySize()
    {
        const QByteArray whole = netFile("1.23", "archive");
        for (int size = 0; size <= whole.size(); ++size) {
            const QByteArray image = whole.left(size);
            BytesSource source(image);
            for (const NetImage &parsed : {parseNetImage(image), readNetImage(source)}) {
                QCOMPARE(parsed.version, image.left(4).leftJustified(4, '\0'));
                QCOMPARE(parsed.md5Text, image.mid(5, 32).leftJustified(32, '\0'));
                QCOMPARE(parsed.archiveLength, qMax(0, size - 62));
            }
            QCOMPARE(netArchive(image), whole.mid(62, qMax(0, size - 62)));
        }
    }

    void checksMd5_data()
    {
        const tests::DataTable<QByteArray, bool, bool> row("file", "matches", "installs");
        // What md5sum prints for these nine bytes.
        const QByteArray digest = "25f9e794323b453885f5181f1b624d0b";
        const QByteArray file = netFile("1.23", "123456789");
        row("right", QByteArray(file).replace(5, 32, digest), true, true);
        row("in upper case", QByteArray(file).replace(5, 32, digest.toUpper()), true, false);
        row("wrong", file.left(70) + "0", false, false);
        for (const int size : {0, 1, 4, 36, 37, 61})
            row(qPrintable(QStringLiteral("%1 bytes").arg(size)), netFile("1.23", {}).left(size),
                false, false);
        for (const int size : {0, 4095, 4096, 4097, 8192, 100'000})
            row(qPrintable(QStringLiteral("archive of %1 bytes").arg(size)),
                netFile("1.23", QByteArray(size, 'a')), true, true);
    }

    void checksMd5()
    {
        QFETCH(QByteArray, file);
        BytesSource source(file);
        const NetCheck check = checkNetImage(source);
        QTEST(check.matches(), "matches");
        QTEST(check.installs(), "installs");
    }

    void fileThatShrinksFails()
    {
        TestSource source(netFile("1.23", "archive"));
        source.missing = 1;
        QVERIFY(!checkNetImage(source).matches());
    }

    void keyOfVersions_data()
    {
        const tests::DataTable<QByteArray, QByteArray> row("version", "key");
        row("usual", "1.23", "2001000000011700");
        row("zero in front", "9.05", "2001000000090500");
        row("no digits", "a.bc", "2001000000000000");
        row("no bytes", QByteArray(4, '\0'), "2001000000000000");
    }

    void keyOfVersions()
    {
        QFETCH(QByteArray, version);
        QFETCH(QByteArray, key);
        const NetImage image = parseNetImage(netFile(version, "x"));
        QCOMPARE(netRecordKey(image).bytes().toHex(), key);
        QCOMPARE(netMajorVersion(image), QString::fromLatin1(version.left(1)));
        QCOMPARE(netMinorVersion(image), QString::fromLatin1(version.mid(2)));
    }

    void addsAnEntry()
    {
        const QByteArray old = golden("version-5");
        const QByteArray file = netFile("2.07", "BZh9...");
        const NetMergePlan planned = plan(old, file);
        QCOMPARE(planned.error, Error::None);
        QVERIFY(!planned.hadNet);
        QVERIFY(!planned.oldRecord);
        QCOMPARE(planned.chipsBefore, 1);
        QCOMPARE(planned.chipsAfter, 2);

        const QByteArray merged = merge(old, file);
        QVERIFY(hasGoodChecksum(merged));
        QCOMPARE(netImageOf(merged), file);
        QCOMPARE(otherRecords(merged), otherRecords(old));
        const PackageDescription description = describe(merged);
        QCOMPARE(description.firmwareList,
                 QStringList({"MAIN-A,0,1,1,1,65,1,2,3", "NET,32,1,0,0,0,2,7,0"}));
        QCOMPARE(description.version, QStringLiteral("1.0.12"));
        const QByteArray entry =
            R"({"chip_quanity":"1","chip_type":"33","mcus":[{"mcu_type":"0","pcbs":[)"
            R"({"fw_file":"images/net.bin","name":"NET","pcb_version":"0","speciality":"",)"
            R"("ver1":"2","ver2":"07","ver3":"00"}]}],"name":"NET"})";
        QVERIFY(description.json.contains(entry));
        BytesSource source(merged);
        QCOMPARE(readPackageHeader(source).version, 6);
    }

    void replacesTheEntry()
    {
        const QByteArray old = golden("good");
        const QByteArray file = netFile("3.00", QByteArray(70'000, 'q'));
        const NetMergePlan planned = plan(old, file);
        QVERIFY(planned.hadNet);
        QVERIFY(planned.oldRecord.has_value());
        QCOMPARE(planned.chipsBefore, 3);
        QCOMPARE(planned.chipsAfter, 3);

        const QByteArray merged = merge(old, file);
        QVERIFY(hasGoodChecksum(merged));
        QCOMPARE(netRecords(merged), 1);
        QCOMPARE(netImageOf(merged), file);
        QCOMPARE(otherRecords(merged), otherRecords(old));
        QCOMPARE(describe(merged).firmwareList.last(), QStringLiteral("NET,32,1,0,0,0,3,0,0"));
    }

    void mergesTwice()
    {
        const QByteArray old = golden("version-5");
        const QByteArray second = netFile("2.00", "second");
        const QByteArray merged = merge(merge(old, netFile("1.00", "first")), second);
        QVERIFY(hasGoodChecksum(merged));
        QCOMPARE(netRecords(merged), 1);
        QCOMPARE(netImageOf(merged), second);
        QCOMPARE(otherRecords(merged), otherRecords(old));
        QCOMPARE(describe(merged).firmwareList.size(), 2);
        // The same once more changes nothing at all.
        QCOMPARE(merge(merged, second), merged);
    }

    void severalNetEntries()
    {
        const QByteArray entry = R"({"chip_type":"33","mcus":[{"pcbs":[{"name":"%"}]}]})";
        const QByteArray json = "{\"chips\":[" + QByteArray(entry).replace('%', 'a') + "," +
                                QByteArray(entry).replace('%', 'b') + "]}";
        const QByteArray merged =
            merge(packageOf(json, "2001000000010000 0001010141010203 2001000000020000"),
                  netFile("1.23", "new"));
        QCOMPARE(netRecords(merged), 1);
        QCOMPARE(netImageOf(merged), netFile("1.23", "new"));
        QCOMPARE(describe(merged).firmwareList,
                 QStringList({"NET,32,0,0,0,0,1,23,0", "b,32,0,0,0,0,0,0,0"}));
    }

    void damagedNetEntries()
    {
        for (const char *mcus : {"", R"(,"mcus":[])", R"(,"mcus":[{}])", R"(,"mcus":[{"pcbs":[]}])",
                                 R"(,"mcus":"x")", R"(,"mcus":[5])"}) {
            const QByteArray json =
                R"({"chips":[{"chip_type":"33","chip_quanity":"1")" + QByteArray(mcus) + "}]}";
            const QByteArray merged =
                merge(packageOf(json, "0001010141010203"), netFile("1.23", "new"));
            QCOMPARE(describe(merged).firmwareList, QStringList("NET,32,1,0,0,0,1,23,0"));
            QCOMPARE(netRecords(merged), 1);
        }
    }

    void recordWithoutEntry()
    {
        const QByteArray old = packageOf(R"({"chips":[]})", "2001000000010000 0001010141010203");
        const NetMergePlan planned = plan(old, netFile("1.23", "new"));
        QVERIFY(!planned.hadNet);
        QVERIFY(planned.oldRecord.has_value());
        QCOMPARE(netRecords(merge(old, netFile("1.23", "new"))), 1);
    }

    void keepsForeignTexts()
    {
        const QByteArray json = "{\"chips\":[],\"model\":\"\xc3\x84\"}";
        const QByteArray merged =
            merge(packageOf(json, "0001010141010203"), netFile("1.23", "new"));
        QCOMPARE(describe(merged).model, QString(QChar(0xc4)));
        QCOMPARE(netImageOf(merged), netFile("1.23", "new"));
    }

    void setsTheRelease()
    {
        const QByteArray merged = merge(golden("version-2"), netFile("1.24", "new"), "1.0.13");
        QCOMPARE(describe(merged).version, QString("1.0.13"));
        QCOMPARE(describe(merged).model, QString("MX-88"));
        // The long form becomes the newest version.
        BytesSource source(merged);
        QCOMPARE(readPackageHeader(source).version, 6);
        QCOMPARE(otherRecords(merged), otherRecords(golden("version-2")));
        QVERIFY(!otherRecords(merged).isEmpty());
    }

    void refuses_data()
    {
        const tests::DataTable<Error> row("error");
        row("checksum-wrong", Error::BadChecksum);
        row("bare", Error::BadChecksum);
        row("empty", Error::BadHead);
        row("no-magic", Error::BadHead);
        row("version-7", Error::BadHead);
        row("version-1", Error::BadHead);
        row("json-not-json", Error::NotJson);
        row("json-a-list", Error::NotAnObject);
        row("json-chips-an-object", Error::ChipsNotAnArray);
        row("json-longer-than-file", Error::BadRecords);
        row("record-cut", Error::BadRecords);
        row("record-header-cut", Error::BadRecords);
        row("record-claims-4-gib", Error::BadRecords);
    }

    void refuses()
    {
        QTEST(plan(golden(QTest::currentDataTag()), netFile("1.23", "new")).error, "error");
    }

    void refusesLongDescriptions()
    {
        const int entrySize =
            plan(packageOf(R"({"chips":[],"pad":""})", "0001010141010203"), netFile("1.23", "new"))
                .json.size();
        for (const int over : {0, 1}) {
            const QByteArray pad(longestShortJson - entrySize + over, 'p');
            const QByteArray old =
                packageOf(R"({"chips":[],"pad":")" + pad + R"("})", "0001010141010203");
            QCOMPARE(plan(old, netFile("1.23", "new")).error,
                     over == 0 ? Error::None : Error::DescriptionTooLong);
        }
    }

    void noticesAChangedPackage()
    {
        const QByteArray old = golden("good");
        const QByteArray file = netFile("1.23", "new");
        const NetMergePlan planned = plan(old, file);
        BytesSource cut(old.left(old.size() - 1));
        BytesSource net(file);
        BytesSink sink;
        PackageWriter writer(sink);
        QVERIFY(!writeNetMerge(writer, planned, cut, net));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestNet)

} // namespace package::tst_net

#include "tst_net.moc"
