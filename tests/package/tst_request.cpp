// SPDX-License-Identifier: Apache-2.0
#include "package/BuildTexts.h"
#include "package/DescriptionKeys.h"
#include "package/MergeRequest.h"
#include "support/TestCase.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

Q_DECLARE_METATYPE(package::MergeImage::Error)

namespace tst_request {

namespace buildtext = package::buildtext;
using package::mergeErrorText;
using package::MergeImage;
using package::MergeRequest;
using package::parseMergeRequest;

namespace {

using Error = MergeImage::Error;

/** What a request says of one image; a test changes one value. */
struct Values
{
    QString chipType = QStringLiteral("1");
    QJsonObject pcb{
        {package::key::name, QStringLiteral("MAIN-A")},
        {package::key::pcbVersion, QStringLiteral("1")},
        {package::key::speciality, QStringLiteral("B")},
        {package::key::ver1, QStringLiteral("1")},
        {package::key::ver2, QStringLiteral("2")},
        {package::key::ver3, QStringLiteral("3")},
        {package::key::file, QStringLiteral("main.bin")},
        {package::key::inChipType, QStringLiteral("0")},
        {package::key::inChipQuantity, QStringLiteral("1")},
        {package::key::inMcuType, QStringLiteral("4")},
        {package::key::inPcbVersion, QStringLiteral("5")},
        {package::key::inSpeciality, QStringLiteral("65")},
        {package::key::inVer1, QStringLiteral("6")},
        {package::key::inVer2, QStringLiteral("7")},
        {package::key::inVer3, QStringLiteral("8")},
    };

    QString request() const
    {
        const QJsonObject mcu{{package::key::mcuType, QStringLiteral("4")},
                              {package::key::pcbs, QJsonArray{pcb}}};
        const QJsonObject chip{{package::key::chipType, chipType},
                               {package::key::mcus, QJsonArray{mcu}}};
        const QJsonObject all{{package::key::model, QStringLiteral("M")},
                              {package::key::chips, QJsonArray{chip}}};
        return QString::fromUtf8(QJsonDocument(all).toJson());
    }

    MergeImage image() const
    {
        const MergeRequest parsed = parseMergeRequest(request());
        return parsed.images.value(0);
    }
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
        QTest::addColumn<QString>("chipType");
        QTest::addColumn<QString>("key");
        QTest::addColumn<QString>("value");
        QTest::addColumn<Error>("error");

        const auto row = [](const char *name, const char *chipType, const QString &key,
                            const char *value, Error error) {
            QTest::newRow(name) << QString::fromLatin1(chipType) << key
                                << QString::fromLatin1(value) << error;
        };
        row("main MCU", "1", package::key::inChipType, "0", Error::None);
        row("chip type 0", "0", package::key::inChipType, "0", Error::ChipType);
        row("chip type 256", "256", package::key::inChipType, "0", Error::ChipType);
        row("chip type missing", "", package::key::inChipType, "0", Error::ChipType);
        row("quantity 0", "1", package::key::inChipQuantity, "0", Error::ChipQuantity);
        row("quantity no number", "1", package::key::inChipQuantity, "two", Error::ChipQuantity);
        row("quantity 0 of an FPGA", "18", package::key::inChipQuantity, "0", Error::ChipQuantity);
        row("MCU type 0", "1", package::key::inMcuType, "0", Error::McuType);
        row("MCU type 0 at 17", "17", package::key::inMcuType, "0", Error::McuType);
        row("MCU type 0 at 18", "18", package::key::inMcuType, "0", Error::None);
        row("PCB version 0", "1", package::key::inPcbVersion, "0", Error::PcbVersion);
        row("PCB version 0 at 17", "17", package::key::inPcbVersion, "0", Error::PcbVersion);
        row("PCB version 0 at 18", "18", package::key::inPcbVersion, "0", Error::None);
        row("speciality 64", "1", package::key::inSpeciality, "64", Error::Speciality);
        row("speciality 65", "1", package::key::inSpeciality, "65", Error::None);
        row("speciality 90", "1", package::key::inSpeciality, "90", Error::None);
        row("speciality 91", "1", package::key::inSpeciality, "91", Error::Speciality);
        row("speciality 0 at 17", "17", package::key::inSpeciality, "0", Error::Speciality);
        row("speciality 0 at 18", "18", package::key::inSpeciality, "0", Error::None);
        row("network module", "33", package::key::inMcuType, "0", Error::None);
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
        QCOMPARE(values.image().error, Error::NeedVer3);
        values.pcb.insert(package::key::inVer3, QStringLiteral("1"));
        QCOMPARE(values.image().error, Error::NeedVer3);
        values.pcb.insert(package::key::ver3, QString());
        QCOMPARE(values.image().error, Error::ChipType);
        values.chipType = QStringLiteral("1");
        QCOMPARE(values.image().error, Error::ChipQuantity);
        values.pcb.insert(package::key::inChipQuantity, QStringLiteral("1"));
        QCOMPARE(values.image().error, Error::McuType);
        values.pcb.insert(package::key::inMcuType, QStringLiteral("1"));
        QCOMPARE(values.image().error, Error::PcbVersion);
        values.pcb.insert(package::key::inPcbVersion, QStringLiteral("1"));
        QCOMPARE(values.image().error, Error::Speciality);
        values.pcb.insert(package::key::speciality, QStringLiteral("A"));
        QCOMPARE(values.image().error, Error::None);
        QCOMPARE(values.image().key.bytes().toHex(), QByteArray("0001010141000001"));
    }

    void readsSpeciality_data()
    {
        QTest::addColumn<QJsonValue>("value");
        QTest::addColumn<int>("code");

        QTest::newRow("decimal") << QJsonValue(QStringLiteral("67")) << 67;
        QTest::newRow("letter") << QJsonValue(QStringLiteral("C")) << 67;
        QTest::newRow("digit is a number") << QJsonValue(QStringLiteral("7")) << 7;
        QTest::newRow("two letters") << QJsonValue(QStringLiteral("CD")) << 0;
        QTest::newRow("empty") << QJsonValue(QString()) << 0;
        QTest::newRow("missing") << QJsonValue(QJsonValue::Undefined) << 66;
        QTest::newRow("JSON number") << QJsonValue(67) << 0;
        QTest::newRow("low byte") << QJsonValue(QStringLiteral("323")) << 67;
    }

    void readsSpeciality()
    {
        QFETCH(QJsonValue, value);
        Values values;
        if (value.isUndefined())
            values.pcb.remove(package::key::inSpeciality);
        else
            values.pcb.insert(package::key::inSpeciality, value);
        QTEST(int(values.image().key.speciality), "code");
    }

    void textsAreTheInterface()
    {
        QCOMPARE(mergeErrorText(Error::None), QString());
        QCOMPARE(mergeErrorText(Error::NeedVer3),
                 QStringLiteral("Merge file fail, need Ver3 in each MCU."));
        QCOMPARE(mergeErrorText(Error::ChipType), QStringLiteral("Chip type error."));
        QCOMPARE(mergeErrorText(Error::ChipQuantity), QStringLiteral("Chip quanity error."));
        QCOMPARE(mergeErrorText(Error::McuType), QStringLiteral("MCU type error."));
        QCOMPARE(mergeErrorText(Error::PcbVersion), QStringLiteral("PCB version error."));
        QCOMPARE(mergeErrorText(Error::Speciality), QStringLiteral("Speciality error."));
        QCOMPARE(QString::fromLatin1(buildtext::success).arg(QStringLiteral("/x/FW.fwm")),
                 QStringLiteral("Merge firmware '/x/FW.fwm' success!"));
    }

    void refusesBadRequests()
    {
        QCOMPARE(parseMergeRequest(QString()).error, MergeRequest::Error::NotJson);
        QCOMPARE(parseMergeRequest(QStringLiteral("{")).error, MergeRequest::Error::NotJson);
        QVERIFY(!parseMergeRequest(QStringLiteral("{")).parseError.isEmpty());
        QCOMPARE(parseMergeRequest(QStringLiteral("[]")).error, MergeRequest::Error::NotAnObject);
        QCOMPARE(parseMergeRequest(QStringLiteral("{}")).error,
                 MergeRequest::Error::ChipsNotAnArray);
        QCOMPARE(parseMergeRequest(QStringLiteral(R"({"chips":""})")).error,
                 MergeRequest::Error::ChipsNotAnArray);
        QCOMPARE(parseMergeRequest(QStringLiteral(R"({"chips":[]})")).error,
                 MergeRequest::Error::None);
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

} // namespace tst_request

#include "tst_request.moc"
