// SPDX-License-Identifier: Apache-2.0
#include "package/MatchMask.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "package/RepeatedKeys.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"

#include <QtTest>

Q_DECLARE_METATYPE(package::PackageHeader::Form)
Q_DECLARE_METATYPE(package::PackageHeader::Error)
Q_DECLARE_METATYPE(package::PackageDescription::Error)

namespace tst_reader {

using bytes::BytesSource;
using package::currentFormVersion;
using package::imageEntries;
using package::ImageEntry;
using package::isBareForm;
using package::MatchMask;
using package::PackageDescription;
using package::PackageHeader;
using package::parseDescription;
using package::readDescription;
using package::readPackageHeader;
using package::repeatedKey;

namespace {

using Form = PackageHeader::Form;
using HeadError = PackageHeader::Error;
using TextError = PackageDescription::Error;

PackageDescription describe(const QByteArray &package)
{
    BytesSource source(package);
    return parseDescription(readDescription(source, readPackageHeader(source)));
}

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
    void readsHeaders_data();
    void readsHeaders();
    void everyPrefixOfAHead();
    void versionAndForm();
    void parsesDescriptions_data();
    void parsesDescriptions();
    void repeatedKeys_data();
    void repeatedKeys();
    void listsImages_data();
    void listsImages();
    void keepsOrder();
    void absurdLengthIsNotRead();
    void masks();
};

void TestReader::readsHeaders_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<HeadError>("error");
    QTest::addColumn<Form>("form");
    QTest::addColumn<int>("version");
    QTest::addColumn<int>("jsonOffset");
    QTest::addColumn<qint64>("jsonLength");

    const auto row = [](const char *name, HeadError error, Form form, int version, int offset,
                        qint64 length) {
        QTest::newRow(name) << QString::fromLatin1(name) << error << form << version << offset
                            << length;
    };
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

void TestReader::readsHeaders()
{
    QFETCH(QString, name);
    BytesSource source(golden(name));
    const PackageHeader header = readPackageHeader(source);
    QTEST(header.error, "error");
    QTEST(header.form, "form");
    QTEST(header.version, "version");
    QTEST(int(header.jsonOffset), "jsonOffset");
    QTEST(header.jsonLength, "jsonLength");
}

void TestReader::everyPrefixOfAHead()
{
    const QByteArray good = golden(QStringLiteral("good"));
    for (int size = 0; size <= 15; ++size) {
        BytesSource source(good.left(size));
        const HeadError expected = size < 11   ? HeadError::NotAPackage
                                   : size < 15 ? HeadError::BadHead
                                               : HeadError::None;
        QCOMPARE(readPackageHeader(source).error, expected);
    }
    const QByteArray bare = golden(QStringLiteral("bare"));
    for (int size = 0; size <= 9; ++size) {
        BytesSource source(bare.left(size));
        const HeadError expected = size < 3   ? HeadError::NotAPackage
                                   : size < 9 ? HeadError::BadHead
                                              : HeadError::None;
        QCOMPARE(readPackageHeader(source).error, expected);
    }
}

void TestReader::versionAndForm()
{
    const auto version = [](const QByteArray &first) { return currentFormVersion(first); };
    QCOMPARE(version(QByteArray("12345678MTU\0\6", 13)).value_or(-1), 6);
    QCOMPARE(version(QByteArray("12345678MTU\1\2", 13)).value_or(-1), 0x102);
    QCOMPARE(version(QByteArray("12345678MTU\xff\xff{}", 15)).value_or(-1), 0xffff);
    QVERIFY(!version(QByteArray("12345678MTU\0", 12)));
    QVERIFY(!version(QByteArray("12345678mtu\0\6", 13)));
    QVERIFY(!version(QByteArray()));

    QVERIFY(isBareForm("MTU"));
    QVERIFY(isBareForm("MTU and more"));
    QVERIFY(!isBareForm("MT"));
    QVERIFY(!isBareForm("12345678MTU"));
    QVERIFY(!isBareForm(QByteArray()));
}

void TestReader::parsesDescriptions_data()
{
    QTest::addColumn<QString>("name");
    QTest::addColumn<TextError>("error");
    QTest::addColumn<QString>("model");
    QTest::addColumn<QString>("version");
    QTest::addColumn<QStringList>("list");

    const auto row = [](const char *name, TextError error, const char *model, const char *version,
                        const QStringList &list) {
        QTest::newRow(name) << QString::fromLatin1(name) << error << QString::fromLatin1(model)
                            << QString::fromLatin1(version) << list;
    };
    const QString main = QStringLiteral("MAIN-A,0,1,1,1,65,1,2,3");
    const QStringList onlyMain{main};
    row("good", TextError::None, "MX-88", "1.0.12",
        {main, QStringLiteral("FPGA,17,1,0,0,0,2,0,0"), QStringLiteral("NET,32,1,0,0,0,1,23,0")});
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

void TestReader::parsesDescriptions()
{
    QFETCH(QString, name);
    const PackageDescription description = describe(golden(name));
    QTEST(description.error, "error");
    QTEST(description.model, "model");
    QTEST(description.version, "version");
    QTEST(description.firmwareList, "list");
    QCOMPARE(description.hasModel, !description.model.isEmpty());
    QCOMPARE(description.hasVersion, !description.version.isEmpty());
    QCOMPARE(description.error == TextError::NotJson, !description.parseError.isEmpty());
}

void TestReader::repeatedKeys_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("key");

    const auto row = [](const char *json, const char *key) {
        QTest::newRow(json) << QByteArray(json) << QString::fromLatin1(key);
    };
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
    row("", "");
}

void TestReader::repeatedKeys()
{
    QFETCH(QByteArray, json);
    QTEST(repeatedKey(json).value_or(QString()), "key");
}

void TestReader::listsImages_data()
{
    QTest::addColumn<QByteArray>("json");
    QTest::addColumn<QString>("entry");

    const char *const chip = R"("chip_type":"2","chip_quanity":"3",)";
    const char *const mcu = R"("mcu_type":"4",)";
    QTest::newRow("all") << one(chip, mcu,
                                R"("name":"N","pcb_version":"5","speciality":"B","ver1":"6",)"
                                R"("ver2":"07","ver3":"8")")
                         << "N,1,3,4,5,66,6,7,8";
    QTest::newRow("nothing") << one("", "", "") << ",-1,0,0,0,0,0,0,0";
    QTest::newRow("numbers instead of strings")
        << one(R"("chip_type":2,)", R"("mcu_type":4,)", R"("ver1":1)") << ",-1,0,0,0,0,0,0,0";
    QTest::newRow("low bytes") << one(R"("chip_type":"256","chip_quanity":"511",)",
                                      R"("mcu_type":"-1",)", R"("ver1":"70000")")
                               << ",-1,255,255,0,0,112,0,0";
    QTest::newRow("no numbers") << one(R"("chip_type":"0x10","chip_quanity":"1.5",)",
                                       R"("mcu_type":"one",)", R"("ver1":"99999999999999999999")")
                                << ",-1,0,0,0,0,0,0,0";
    QTest::newRow("network module") << one(R"("chip_type":"33",)", "", "") << ",32,0,0,0,0,0,0,0";
    QTest::newRow("first character counts")
        << one("", "", R"("speciality":"ZA")") << ",-1,0,0,0,90,0,0,0";
    // Two bytes and four bytes in UTF-8, of which the first one counts.
    QTest::newRow("umlaut") << one("", "", "\"speciality\":\"\xc3\x84\"") << ",-1,0,0,0,195,0,0,0";
    QTest::newRow("beyond the basic plane")
        << one("", "", "\"speciality\":\"\xf0\x9f\x98\x80\"") << ",-1,0,0,0,240,0,0,0";
    QTest::newRow("lower case") << one("", "", R"("speciality":"a")") << ",-1,0,0,0,97,0,0,0";
    QTest::newRow("name with a comma") << one("", "", R"("name":"a,b")") << "a,b,-1,0,0,0,0,0,0,0";
}

void TestReader::listsImages()
{
    QFETCH(QByteArray, json);
    const PackageDescription description = parseDescription(json);
    QCOMPARE(description.error, TextError::None);
    QCOMPARE(description.firmwareList.size(), 1);
    QTEST(description.firmwareList.first(), "entry");
    QCOMPARE(description.json, json);
}

void TestReader::keepsOrder()
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

void TestReader::absurdLengthIsNotRead()
{
    class Watched : public BytesSource
    {
    public:
        using BytesSource::BytesSource;
        QByteArray read(qint64 offset, qint64 length) override
        {
            longest = std::max(longest, length);
            return BytesSource::read(offset, length);
        }
        qint64 longest = 0;
    };
    for (const char *name : {"bare-claims-4-gib-of-json", "version-2-claims-4-gib-of-json"}) {
        Watched source(golden(QString::fromLatin1(name)));
        const PackageHeader header = readPackageHeader(source);
        QCOMPARE(readDescription(source, header), QByteArray());
        QVERIFY(source.longest <= package::longestDescription);
    }
}

void TestReader::masks()
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

AGENT_TEST_WITHOUT_APPLICATION(TestReader)

} // namespace tst_reader

#include "tst_reader.moc"
