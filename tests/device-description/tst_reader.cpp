// SPDX-License-Identifier: Apache-2.0
#include "device-description/DeviceDescription.h"
#include "support/TestCase.h"

#include <QDir>
#include <QFile>
#include <QtTest>

namespace tst_reader {

namespace {

DeviceDescription read(const QByteArray &json)
{
    QString error;
    return DeviceDescription::fromJson(json, &error).value();
}

} // namespace

class TestDescription : public QObject
{
    Q_OBJECT

private slots:
    void readsEveryKey()
    {
        const DeviceDescription device = read(R"({
        "model": "HX-8", "product_id": "P", "virtual_version": 9,
        "restart_ms": 1, "reboot_ms": 2, "erase_ms": 3, "answer_ms": 4,
        "chips": [{"name": "AUX", "chip_type": 1, "chip_index": 2, "mcu_type": 3,
                   "pcb_version": 4, "speciality": "C", "version": "5.6", "upgrades_to": "5.7.8",
                   "bootcode": true, "bootcode_clears": false, "product_information": false}],
        "aux": [{"name": "AUX", "chip_type": 1, "quantity": 2}]
    })");
        QCOMPARE(device.model, QByteArray("HX-8"));
        QCOMPARE(device.productId, QByteArray("P"));
        QCOMPARE(int(device.virtualVersion), 9);
        QCOMPARE(device.restartTime.count(), 1);
        QCOMPARE(device.rebootTime.count(), 2);
        QCOMPARE(device.eraseTime.count(), 3);
        QCOMPARE(device.answerTime.count(), 4);
        const ChipDescription &chip = device.chips.at(0);
        QCOMPARE(chip.name, QStringLiteral("AUX"));
        QCOMPARE(int(chip.chipType), 1);
        QCOMPARE(int(chip.chipIndex), 2);
        QCOMPARE(int(chip.mcuType), 3);
        QCOMPARE(int(chip.pcbVersion), 4);
        QCOMPARE(char(chip.speciality), 'C');
        QCOMPARE(chip.version.text(), QStringLiteral("5.6"));
        QCOMPARE(chip.upgradesTo->text(), QStringLiteral("5.7.8"));
        QVERIFY(chip.bootcode && !chip.bootcodeClears && !chip.productInformation);
        QCOMPARE(device.auxChips.at(0).name, QByteArray("AUX"));
        QCOMPARE(int(device.auxChips.at(0).quantity), 2);
    }

    void fillsDefaults()
    {
        const ChipDescription chip = read(R"({"chips": [{}]})").chips.at(0);
        QCOMPARE(int(chip.chipType), 0);
        QCOMPARE(int(chip.mcuType), 1);
        QCOMPARE(char(chip.speciality), 'A');
        QCOMPARE(chip.version.text(), QStringLiteral("0.0.0"));
        QVERIFY(!chip.upgradesTo);
        QVERIFY(!chip.bootcode && chip.bootcodeClears && chip.productInformation);
    }

    void numbersByQuantity()
    {
        const auto indices = [](const QByteArray &numbering) {
            const DeviceDescription device =
                read("{" + numbering +
                     R"("chips": [{}, {"chip_type": 1}, {"chip_type": 2, "chip_index": 7}],
                "aux": [{"chip_type": 1, "quantity": 3}, {"chip_type": 2, "quantity": 4}]})");
            QList<int> all;
            for (const ChipDescription &chip : device.chips)
                all.append(chip.chipIndex);
            return all;
        };
        QCOMPARE(indices(""), QList<int>({0, 0, 7}));
        QCOMPARE(indices(R"("numbering": "from-zero",)"), QList<int>({0, 0, 7}));
        QCOMPARE(indices(R"("numbering": "quantity",)"), QList<int>({1, 3, 7}));
    }

    void namesErrors_data()
    {
        const tests::DataTable<QString> row("error");
        row("{", "not JSON: unterminated object at byte 1 (line 1)");
        row("[]", "not a JSON object");
        row("{}", "chips must name at least one chip");
        row(R"({"chips": {}})", "chips must be an array");
        row(R"({"chips": [1]})", "chips must hold objects");
        row(R"({"chips": [{}, {}]})", "chips: type 0, index 0 is there twice");
        row(R"({"chips": [{}], "colour": 1})", "colour is not a known key");
        row(R"({"chips": [{"chip_typ": 1}]})", "chips[0].chip_typ is not a known key");
        row(R"({"chips": [{"chip_type": 256}]})",
            "chips[0].chip_type must be a whole number from 0 to 255");
        row(R"({"chips": [{"chip_type": 1.5}]})",
            "chips[0].chip_type must be a whole number from 0 to 255");
        row(R"({"chips": [{"chip_type": "1"}]})",
            "chips[0].chip_type must be a whole number from 0 to 255");
        row(R"({"chips": [{"bootcode": 1}]})", "chips[0].bootcode must be true or false");
        row(R"({"chips": [{"speciality": "AB"}]})",
            "chips[0].speciality must be one ASCII character");
        row(R"({"chips": [{"version": "1"}]})",
            "chips[0].version must be like \"1.2\" or \"1.2.3\", each number up to 255");
        row(R"({"model": 8, "chips": [{}]})", "model must be a text of at most 255 characters");
        row(R"({"numbering": "other", "chips": [{}]})",
            "numbering must be \"from-zero\" or \"quantity\"");
        row(R"({"reboot_ms": -1, "chips": [{}]})",
            "reboot_ms must be a whole number from 0 to 3600000");
    }

    void namesErrors()
    {
        QFETCH(QString, error);
        QString message;
        QVERIFY(!DeviceDescription::fromJson(QTest::currentDataTag(), &message));
        QCOMPARE(message, error);
    }

    void readsVersions()
    {
        QCOMPARE(ChipVersion::parse("1.10")->text(), QStringLiteral("1.10"));
        QCOMPARE(ChipVersion::parse("1.10.255")->text(), QStringLiteral("1.10.255"));
        for (const char *text : {"", "1", "1.2.3.4", "1.256", "a.b", "1.", "-1.2"})
            QVERIFY2(!ChipVersion::parse(text), text);
    }

    void readsTheExamples()
    {
        const QDir examples(EXAMPLES_DIR);
        const QStringList files = examples.entryList({QStringLiteral("*.json")});
        QVERIFY(files.size() >= 3);
        for (const QString &name : files) {
            QFile file(examples.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QString error;
            QVERIFY2(DeviceDescription::fromJson(file.readAll(), &error),
                     qPrintable(name + ": " + error));
        }
    }
};

AGENT_TEST(TestDescription)

} // namespace tst_reader

#include "tst_reader.moc"
