// SPDX-License-Identifier: Apache-2.0
#include "package/BuildTexts.h"
#include "package/DescriptionKeys.h"
#include "package/MergeRequest.h"
#include "support/TestCase.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

Q_DECLARE_METATYPE(package::MergeImage::Error)

namespace package::tst_request {

namespace {

using Error = MergeImage::Error;

/** What a request says of one image; a test changes one value. */
struct Values
{
    QString chipType = QStringLiteral("1");
    QJsonObject pcb{
        {key::name, "MAIN-A"},   {key::pcbVersion, "1"},   {key::speciality, "B"},
        {key::ver1, "1"},        {key::ver2, "2"},         {key::ver3, "3"},
        {key::file, "main.bin"}, {key::inChipType, "0"},   {key::inChipQuantity, "1"},
        {key::inMcuType, "4"},   {key::inPcbVersion, "5"}, {key::inSpeciality, "65"},
        {key::inVer1, "6"},      {key::inVer2, "7"},       {key::inVer3, "8"},
    };

    QString request() const
    {
        const QJsonObject mcu{{key::mcuType, "4"}, {key::pcbs, QJsonArray{pcb}}};
        const QJsonObject chip{{key::chipType, chipType}, {key::mcus, QJsonArray{mcu}}};
        const QJsonObject all{{key::model, "M"}, {key::chips, QJsonArray{chip}}};
        return QString::fromUtf8(QJsonDocument(all).toJson());
    }

    MergeImage image() const { return parseMergeRequest(request()).images.value(0); }
};

} // namespace

class TestRequest : public QObject
{
    Q_OBJECT

private slots:
    void readsAnImage()
    {
        const MergeImage image = Values().image();
        QCOMPARE(image.error, Error::None);
        QCOMPARE(image.key.bytes().toHex(), QByteArray("0001040541060708"));
        QCOMPARE(image.file, QStringLiteral("main.bin"));
    }

    void checksValues_data()
    {
        const tests::DataTable<QString, QString, QString, Error> row("chipType", "key", "value",
                                                                     "error");
        row("main MCU", "1", key::inChipType, "0", Error::None);
        row("chip type 0", "0", key::inChipType, "0", Error::ChipType);
        row("chip type 256", "256", key::inChipType, "0", Error::ChipType);
        row("chip type missing", "", key::inChipType, "0", Error::ChipType);
        row("quantity 0", "1", key::inChipQuantity, "0", Error::ChipQuantity);
        row("quantity no number", "1", key::inChipQuantity, "two", Error::ChipQuantity);
        row("quantity 0 of an FPGA", "18", key::inChipQuantity, "0", Error::ChipQuantity);
        row("MCU type 0", "1", key::inMcuType, "0", Error::McuType);
        row("MCU type 0 at 17", "17", key::inMcuType, "0", Error::McuType);
        row("MCU type 0 at 18", "18", key::inMcuType, "0", Error::None);
        row("PCB version 0", "1", key::inPcbVersion, "0", Error::PcbVersion);
        row("PCB version 0 at 17", "17", key::inPcbVersion, "0", Error::PcbVersion);
        row("PCB version 0 at 18", "18", key::inPcbVersion, "0", Error::None);
        row("speciality 64", "1", key::inSpeciality, "64", Error::Speciality);
        row("speciality 65", "1", key::inSpeciality, "65", Error::None);
        row("speciality 90", "1", key::inSpeciality, "90", Error::None);
        row("speciality 91", "1", key::inSpeciality, "91", Error::Speciality);
        row("speciality 0 at 17", "17", key::inSpeciality, "0", Error::Speciality);
        row("speciality 0 at 18", "18", key::inSpeciality, "0", Error::None);
        row("network module", "33", key::inMcuType, "0", Error::None);
    }

    void checksValues()
    {
        QFETCH(QString, chipType);
        QFETCH(QString, key);
        QFETCH(QString, value);
        Values values;
        values.chipType = chipType;
        values.pcb.insert(key, value);
        QTEST(values.image().error, "error");
    }

    /** Everything is wrong at first, and the checks speak one after the other as it is put right.
     */
    void checksInOrder()
    {
        Values values;
        values.chipType = QStringLiteral("0");
        values.pcb = {};
        const auto text = [&values] { return mergeErrorText(values.image().error); };
        QCOMPARE(text(), QString("Merge file fail, need Ver3 in each MCU."));
        values.pcb.insert(key::inVer3, QStringLiteral("1"));
        QCOMPARE(text(), QString("Merge file fail, need Ver3 in each MCU."));
        values.pcb.insert(key::ver3, QString());
        QCOMPARE(text(), QString("Chip type error."));
        values.chipType = QStringLiteral("1");
        QCOMPARE(text(), QString("Chip quanity error."));
        values.pcb.insert(key::inChipQuantity, QStringLiteral("1"));
        QCOMPARE(text(), QString("MCU type error."));
        values.pcb.insert(key::inMcuType, QStringLiteral("1"));
        QCOMPARE(text(), QString("PCB version error."));
        values.pcb.insert(key::inPcbVersion, QStringLiteral("1"));
        QCOMPARE(text(), QString("Speciality error."));
        values.pcb.insert(key::speciality, QStringLiteral("A"));
        QCOMPARE(text(), QString());
        QCOMPARE(values.image().key.bytes().toHex(), QByteArray("0001010141000001"));
        QCOMPARE(QString::fromLatin1(buildtext::success).arg("/x/FW.fwm"),
                 QString("Merge firmware '/x/FW.fwm' success!"));
    }

    void readsSpeciality_data()
    {
        const tests::DataTable<QJsonValue, int> row("value", "code");
        row("decimal", "67", 67);
        row("letter", "C", 67);
        row("digit is a number", "7", 7);
        row("two letters", "CD", 0);
        row("empty", "", 0);
        row("missing", QJsonValue::Undefined, 66);
        row("JSON number", 67, 0);
        row("low byte", "323", 67);
    }

    void readsSpeciality()
    {
        QFETCH(QJsonValue, value);
        Values values;
        // An undefined value removes the key.
        values.pcb.insert(key::inSpeciality, value);
        QTEST(int(values.image().key.speciality), "code");
    }

    void refusesBadRequests()
    {
        const auto errorOf = [](const char *text) { return parseMergeRequest(text).error; };
        QCOMPARE(errorOf(""), MergeRequest::Error::NotJson);
        QCOMPARE(errorOf("{"), MergeRequest::Error::NotJson);
        QVERIFY(!parseMergeRequest("{").parseError.isEmpty());
        QCOMPARE(errorOf("[]"), MergeRequest::Error::NotAnObject);
        QCOMPARE(errorOf("{}"), MergeRequest::Error::ChipsNotAnArray);
        QCOMPARE(errorOf(R"({"chips":""})"), MergeRequest::Error::ChipsNotAnArray);
        QCOMPARE(errorOf(R"({"chips":[]})"), MergeRequest::Error::None);
    }

    void lengthCountsCharacters()
    {
        const QString umlaut = QString::fromUtf8("{\"model\":\"\xc3\x84\",\"chips\":[]}");
        const MergeRequest foreign = parseMergeRequest(umlaut);
        QCOMPARE(int(foreign.jsonLength), umlaut.size());
        QCOMPARE(foreign.json.size(), umlaut.size() + 1);

        const QString large = QStringLiteral(R"({"chips":[]})") + QString(65536, QLatin1Char(' '));
        const MergeRequest wrapped = parseMergeRequest(large);
        QCOMPARE(wrapped.error, MergeRequest::Error::None);
        QCOMPARE(int(wrapped.jsonLength), 12);
        QCOMPARE(wrapped.json.size(), 65548);
    }

    void laterImagesAreReadToo()
    {
        const MergeRequest request = parseMergeRequest(QStringLiteral(
            R"({"chips":[{"chip_type":"0","mcus":[{"pcbs":[{"ver3":"1"},{}]}]},
            {"chip_type":"33","mcus":[{"pcbs":[
                {"ver3":"0","in_chip_type":"32","in_chip_quanity":"1","fw_file":"n"}]}]}]})"));
        QCOMPARE(request.images.size(), 3);
        QCOMPARE(request.images.at(0).error, Error::ChipType);
        QCOMPARE(request.images.at(1).error, Error::NeedVer3);
        QCOMPARE(request.images.at(2).error, Error::None);
        QCOMPARE(request.images.at(2).entry.chipIndex, 1);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestRequest)

} // namespace package::tst_request

#include "tst_request.moc"
