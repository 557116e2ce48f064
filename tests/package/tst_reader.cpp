// SPDX-License-Identifier: Apache-2.0
#include "package/MatchMask.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "package/RepeatedKeys.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"
#include "tests/package/TestSource.h"

#include <QtTest>

Q_DECLARE_METATYPE(package::PackageHeader::Form)
Q_DECLARE_METATYPE(package::PackageHeader::Error)
Q_DECLARE_METATYPE(package::PackageDescription::Error)

namespace package::tst_reader {

using bytes::BytesSource;

namespace {

using Form = PackageHeader::Form;
using HeadError = PackageHeader::Error;
using TextError = PackageDescription::Error;

/** A description with one image, whose values the test fills in. */
QByteArray one(const char *chip, const char *mcu, const char *pcb)
{
    return QByteArray(R"({"model":"M","version":"1","chips":[{)") + chip + R"("mcus":[{)" + mcu +
           R"("pcbs":[{)" + pcb + "}]}]}]}";
}

} // namespace

class TestReader : public QObject
{
    Q_OBJECT

private slots:
    void readsHeaders_data()
    {
        const tests::DataTable<HeadError, Form, int, int, qint64> row("error", "form", "version",
                                                                      "jsonOffset", "jsonLength");
        row("good-no-images", HeadError::None, Form::Current, 6, 15, 47);
        row("version-2", HeadError::None, Form::Current, 2, 17, 218);
        row("version-3", HeadError::None, Form::Current, 3, 15, 218);
        row("version-5", HeadError::None, Form::Current, 5, 15, 218);
        row("version-0", HeadError::BadHead, Form::Current, 0, 0, 0);
        row("version-1", HeadError::BadHead, Form::Current, 1, 0, 0);
        row("version-7", HeadError::BadHead, Form::Current, 7, 0, 0);
        row("version-bytes-swapped", HeadError::BadHead, Form::Current, 0x0600, 0, 0);
        row("version-2-claims-4-gib-of-json", HeadError::None, Form::Current, 2, 17, 0xffffffffLL);
        row("bare", HeadError::None, Form::Bare, 6, 9, 218);
        row("bare-claims-4-gib-of-json", HeadError::None, Form::Bare, 6, 9, 0xffffffffLL);
        row("bare-cut-in-head", HeadError::BadHead, Form::Bare, 0, 0, 0);
        row("head-cut-in-version", HeadError::BadHead, Form::Current, 0, 0, 0);
        row("head-cut-in-json-length", HeadError::BadHead, Form::Current, 6, 0, 0);
        row("json-longer-than-file", HeadError::None, Form::Current, 6, 15, 60000);
        row("no-magic", HeadError::NotAPackage, Form::Current, 0, 0, 0);
        row("empty", HeadError::NotAPackage, Form::Current, 0, 0, 0);
        row("checksum-text-only", HeadError::NotAPackage, Form::Current, 0, 0, 0);
        row("one-byte-after-the-checksum", HeadError::NotAPackage, Form::Current, 0, 0, 0);
    }

    void readsHeaders()
    {
        BytesSource source(golden(QTest::currentDataTag()));
        const PackageHeader header = readPackageHeader(source);
        QTEST(header.error, "error");
        QTEST(header.form, "form");
        QTEST(header.version, "version");
        QTEST(int(header.jsonOffset), "jsonOffset");
        QTEST(header.jsonLength, "jsonLength");
    }

    void everyPrefixOfAHead_data()
    {
        const tests::DataTable<int, int> row("magicEnd", "headEnd");
        row("good", 11, 15);
        row("bare", 3, 9);
    }

    void everyPrefixOfAHead()
    {
        QFETCH(int, magicEnd);
        QFETCH(int, headEnd);
        for (int size = 0; size <= headEnd; ++size) {
            BytesSource source(golden(QTest::currentDataTag()).left(size));
            const HeadError expected = size < magicEnd  ? HeadError::NotAPackage
                                       : size < headEnd ? HeadError::BadHead
                                                        : HeadError::None;
            QCOMPARE(readPackageHeader(source).error, expected);
        }
    }

    void versionAndForm()
    {
        QCOMPARE(currentFormVersion(QByteArray("12345678MTU\0\6", 13)).value_or(-1), 6);
        QCOMPARE(currentFormVersion(QByteArray("12345678MTU\1\2", 13)).value_or(-1), 0x102);
        QCOMPARE(currentFormVersion(QByteArray("12345678MTU\xff\xff{}", 15)).value_or(-1), 0xffff);
        QVERIFY(!currentFormVersion(QByteArray("12345678MTU\0", 12)));
        QVERIFY(!currentFormVersion(QByteArray("12345678mtu\0\6", 13)));
        QVERIFY(!currentFormVersion(QByteArray()));

        QVERIFY(isBareForm("MTU"));
        QVERIFY(isBareForm("MTU and more"));
        QVERIFY(!isBareForm("MT"));
        QVERIFY(!isBareForm("12345678MTU"));
        QVERIFY(!isBareForm(QByteArray()));
    }

    void parsesDescriptions_data()
    {
        const tests::DataTable<TextError, QString, QString, QStringList> row("error", "model",
                                                                             "version", "list");
        const QString main = QStringLiteral("MAIN-A,0,1,1,1,65,1,2,3");
        const QStringList onlyMain{main};
        row("good", TextError::None, "MX-88", "1.0.12",
            {main, QStringLiteral("FPGA,17,1,0,0,0,2,0,0"),
             QStringLiteral("NET,32,1,0,0,0,1,23,0")});
        row("good-no-images", TextError::None, "MX-88", "1.0.12", {});
        row("good-numbers-above-255", TextError::None, "MX-88", "1.0.12",
            {QStringLiteral("BIG,0,44,2,3,90,0,255,1")});
        row("version-2", TextError::None, "MX-88", "1.0.12", onlyMain);
        row("version-3", TextError::None, "MX-88", "1.0.12", onlyMain);
        row("bare", TextError::None, "MX-88", "1.0.12", onlyMain);
        row("json-longer-than-file", TextError::None, "MX-88", "1.0.12", onlyMain);
        row("json-not-json", TextError::NotJson, "", "", {});
        row("json-empty", TextError::NotJson, "", "", {});
        row("json-nested-too-deep", TextError::NotJson, "", "", {});
        row("json-lists-under-one-key-twice", TextError::NotJson, "", "", {});
        row("json-a-list", TextError::NotAnObject, "", "", {});
        row("json-chips-an-object", TextError::ChipsNotAnArray, "MX-88", "1", {});
        row("json-chips-missing", TextError::ChipsNotAnArray, "MX-88", "1", {});
        row("json-wrong-types", TextError::None, "", "",
            {QStringLiteral(",-1,0,0,0,0,0,0,0"), QStringLiteral(",-1,0,0,0,0,0,0,0")});
    }

    void parsesDescriptions()
    {
        const PackageDescription description = describe(golden(QTest::currentDataTag()));
        QTEST(description.error, "error");
        QTEST(description.model, "model");
        QTEST(description.version, "version");
        QTEST(description.firmwareList, "list");
        QCOMPARE(description.hasModel, !description.model.isEmpty());
        QCOMPARE(description.hasVersion, !description.version.isEmpty());
        QCOMPARE(description.error == TextError::NotJson, !description.parseError.isEmpty());
    }

    void repeatedKeys_data();
    void repeatedKeys()
    {
        QTEST(repeatedKey(QTest::currentDataTag()).value_or(QString()), "key");
        QVERIFY(!repeatedKey(QByteArray()));
    }

    void listsImages_data();
    void listsImages()
    {
        QFETCH(QByteArray, json);
        const PackageDescription description = parseDescription(json);
        QCOMPARE(description.error, TextError::None);
        QCOMPARE(description.firmwareList.size(), 1);
        QTEST(description.firmwareList.first(), "entry");
        QCOMPARE(description.json, json);
    }

    void keepsOrder()
    {
        const QByteArray json = R"({"chips":[
            {"mcus":[{"pcbs":[{"name":"1"},{"name":"2"}]},{"pcbs":[{"name":"3"}]},{"pcbs":[]}]},
            {"mcus":[]},
            {"mcus":[{"pcbs":[{"name":"4"}]}]}]})";
        const PackageDescription description = parseDescription(json);
        QStringList names;
        for (const QString &entry : description.firmwareList)
            names.append(entry.section(QLatin1Char(','), 0, 0));
        QCOMPARE(names, QStringList({"1", "2", "3", "4"}));

        const QVector<ImageEntry> entries = imageEntries(description.object);
        QCOMPARE(entries.at(2).chipIndex, 0);
        QCOMPARE(entries.at(2).mcuIndex, 1);
        QCOMPARE(entries.at(2).pcbIndex, 0);
        QCOMPARE(entries.at(3).chipIndex, 2);
    }

    void absurdLengthIsNotRead()
    {
        for (const char *name : {"bare-claims-4-gib-of-json", "version-2-claims-4-gib-of-json"}) {
            TestSource source(golden(name));
            QCOMPARE(readDescription(source, readPackageHeader(source)), QByteArray());
            QVERIFY(source.longest <= longestDescription);
        }
    }

    void masks()
    {
        QCOMPARE(MatchMask().text(), QStringLiteral("0,1,0,1,1,1,0,0,0,0,0"));
        QCOMPARE(MatchMask::anyVersion().text(), QStringLiteral("0,1,0,1,1,1,0,0,0,0,0"));
        QCOMPARE(MatchMask::newerVersion().text(), QStringLiteral("0,1,0,1,1,1,1,1,1,0,0"));
        QVERIFY(!MatchMask::anyVersion().enables(6));
        QVERIFY(MatchMask::newerVersion().enables(6));

        const MatchMask odd(QStringLiteral("1, 1,01,1,,x"));
        const bool expected[] = {true, false, false, true, false, false};
        for (int field = 0; field < 6; ++field)
            QCOMPARE(odd.enables(field), expected[field]);
        const MatchMask tooLong(QStringLiteral("1,1,1,1,1,1,1,1,1,1,1,1,1"));
        QVERIFY(tooLong.enables(10));
        QVERIFY(!tooLong.enables(11));
        QVERIFY(!tooLong.enables(-1));
        QVERIFY(!MatchMask(QString()).enables(0));
    }
};

void TestReader::repeatedKeys_data()
{
    const tests::DataTable<QString> row("key");
    row(R"({"a":[1],"a":[2]})", "a");
    row(R"({"a":[1],"a":2})", "a");
    row(R"({"a":1,"a":{}})", "a");
    row(R"({"a":1,"a":2})", "");
    row(R"({"a":1,"a":2,"a":[]})", "a");
    row(R"({"a":[1],"b":[1]})", "");
    row(R"({"a":[1],"\u0061":[1]})", "a");
    row(R"({"\"":[1],"\"":[1]})", "\"");
    row(R"({"a":{"a":{"a":[]}}})", "");
    row(R"([{"a":[]},{"a":[]}])", "");
    row(R"({"x":[{"a":"a"},{"a":[],"b":"}","a":1}]})", "a");
    row(R"({"a":["a","a",["a"]],"b":"a"})", "");
    row(R"( { "a" : [ ] , "b" : "\\" , "a" : [ ] } )", "a");
    row(R"({"a":[],"a":[)", "a");
    row(R"({"a":[],"a)", "");
    row(R"({"a\)", "");
    row(R"(]}]},,"")", "");
}

void TestReader::listsImages_data()
{
    const tests::DataTable<QByteArray, QString> row("json", "entry");

    const char *const chip = R"("chip_type":"2","chip_quanity":"3",)";
    const char *const mcu = R"("mcu_type":"4",)";
    row("all",
        one(chip, mcu,
            R"("name":"N","pcb_version":"5","speciality":"B","ver1":"6",)"
            R"("ver2":"07","ver3":"8")"),
        "N,1,3,4,5,66,6,7,8");
    row("nothing", one("", "", ""), ",-1,0,0,0,0,0,0,0");
    row("numbers instead of strings", one(R"("chip_type":2,)", R"("mcu_type":4,)", R"("ver1":1)"),
        ",-1,0,0,0,0,0,0,0");
    row("low bytes",
        one(R"("chip_type":"256","chip_quanity":"511",)", R"("mcu_type":"-1",)",
            R"("ver1":"70000")"),
        ",-1,255,255,0,0,112,0,0");
    row("no numbers",
        one(R"("chip_type":"0x10","chip_quanity":"1.5",)", R"("mcu_type":"one",)",
            R"("ver1":"99999999999999999999")"),
        ",-1,0,0,0,0,0,0,0");
    row("network module", one(R"("chip_type":"33",)", "", ""), ",32,0,0,0,0,0,0,0");
    row("first character counts", one("", "", R"("speciality":"ZA")"), ",-1,0,0,0,90,0,0,0");
    // Two bytes and four bytes in UTF-8, of which the first one counts.
    row("umlaut", one("", "", "\"speciality\":\"\xc3\x84\""), ",-1,0,0,0,195,0,0,0");
    row("beyond the basic plane", one("", "", "\"speciality\":\"\xf0\x9f\x98\x80\""),
        ",-1,0,0,0,240,0,0,0");
    row("lower case", one("", "", R"("speciality":"a")"), ",-1,0,0,0,97,0,0,0");
    row("name with a comma", one("", "", R"("name":"a,b")"), "a,b,-1,0,0,0,0,0,0,0");
}

AGENT_TEST_WITHOUT_APPLICATION(TestReader)

} // namespace package::tst_reader

#include "tst_reader.moc"
