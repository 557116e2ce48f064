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

/** The key, in hexadecimal, and the image of each record; none of a damaged package. */
QVector<QPair<QByteArray, QByteArray>> recordsOf(const QByteArray &package)
{
    BytesSource source(package);
    RecordWalker walker(source, readPackageHeader(source).recordsOffset());
    QVector<QPair<QByteArray, QByteArray>> records;
    while (const auto record = walker.next())
        records.append(
            {record->key.bytes().toHex(), source.read(record->imageOffset, record->length)});
    const bool isGood =
        walker.state() == RecordWalker::State::End && checkPackage(source).matches();
    return isGood ? records : decltype(records)();
}

const QByteArray mainRecord = "0001010141010203";
const QByteArray newNetRecord = "2001000000011700";
const QByteArray newNet = netFile("1.23", "new");

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
        auto expected = recordsOf(old);
        expected.append({"2001000000020700", file});
        QCOMPARE(recordsOf(merged), expected);
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
        auto expected = recordsOf(old);
        expected.last() = {"2001000000030000", file};
        QCOMPARE(recordsOf(merged), expected);
        QCOMPARE(describe(merged).firmwareList.last(), QStringLiteral("NET,32,1,0,0,0,3,0,0"));
    }

    void mergesTwice()
    {
        const QByteArray old = golden("version-5");
        const QByteArray merged = merge(merge(old, netFile("1.00", "first")), newNet);
        auto expected = recordsOf(old);
        expected.append({newNetRecord, newNet});
        QCOMPARE(recordsOf(merged), expected);
        QCOMPARE(describe(merged).firmwareList.size(), 2);
        // The same once more changes nothing at all.
        QCOMPARE(merge(merged, newNet), merged);
    }

    void oddDescriptions_data()
    {
        const tests::DataTable<QByteArray, QStringList> row("chips", "list");
        row("two entries",
            R"({"chip_type":"33","mcus":[{"pcbs":[{"name":"a"}]}]},)"
            R"({"chip_type":"33","mcus":[{"pcbs":[{"name":"b"}]}]})",
            {"NET,32,0,0,0,0,1,23,0", "b,32,0,0,0,0,0,0,0"});
        for (const char *mcus : {"", R"(,"mcus":[])", R"(,"mcus":[{}])", R"(,"mcus":[{"pcbs":[]}])",
                                 R"(,"mcus":"x")", R"(,"mcus":[5])"})
            row(*mcus == '\0' ? "no MCUs" : mcus,
                R"({"chip_type":"33","chip_quanity":"1")" + QByteArray(mcus) + "}",
                {"NET,32,1,0,0,0,1,23,0"});
        row("no entry", "", {"NET,32,1,0,0,0,1,23,0"});
    }

    void oddDescriptions()
    {
        QFETCH(QByteArray, chips);
        const QByteArray old = packageOf("{\"chips\":[" + chips + "],\"model\":\"\xc3\x84\"}",
                                         "2001000000010000 " + mainRecord + " 2001000000020000");
        QCOMPARE(plan(old, newNet).hadNet, !chips.isEmpty());
        QVERIFY(plan(old, newNet).oldRecord.has_value());
        const QByteArray merged = merge(old, newNet);
        QTEST(describe(merged).firmwareList, "list");
        QCOMPARE(describe(merged).model, QString(QChar(0xc4)));
        const QVector<QPair<QByteArray, QByteArray>> expected{{mainRecord, "image " + mainRecord},
                                                              {newNetRecord, newNet}};
        QCOMPARE(recordsOf(merged), expected);
    }

    void setsTheRelease()
    {
        const QByteArray old = golden("version-2");
        const QByteArray merged = merge(old, newNet, "1.0.13");
        QCOMPARE(describe(merged).version, QString("1.0.13"));
        QCOMPARE(describe(merged).model, QString("MX-88"));
        // The long form becomes the newest version.
        BytesSource source(merged);
        QCOMPARE(readPackageHeader(source).version, 6);
        auto expected = recordsOf(old);
        QCOMPARE(expected.size(), 1);
        expected.append({newNetRecord, newNet});
        QCOMPARE(recordsOf(merged), expected);
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

    void refuses() { QTEST(plan(golden(QTest::currentDataTag()), newNet).error, "error"); }

    void refusesLongDescriptions()
    {
        const int entrySize =
            plan(packageOf(R"({"chips":[],"pad":""})", mainRecord), newNet).json.size();
        for (const int over : {0, 1}) {
            const QByteArray pad(longestShortJson - entrySize + over, 'p');
            const QByteArray old = packageOf(R"({"chips":[],"pad":")" + pad + R"("})", mainRecord);
            QCOMPARE(plan(old, newNet).error, over == 0 ? Error::None : Error::DescriptionTooLong);
        }
    }

    void noticesAChangedPackage()
    {
        const QByteArray old = golden("good");
        const NetMergePlan planned = plan(old, newNet);
        BytesSource cut(old.left(old.size() - 1));
        BytesSource net(newNet);
        BytesSink sink;
        PackageWriter writer(sink);
        QVERIFY(!writeNetMerge(writer, planned, cut, net));
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestNet)

} // namespace package::tst_net

#include "tst_net.moc"
