// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "support/TestCase.h"

namespace engine::tst_product_info {

namespace {

const QString description = QString(R"({"model": "HX-9", "version": "1.0", "chips": [
    {"name": "MAIN", "chip_type": "1", "chip_quanity": "1", "mcus": [
        {"mcu_type": "1", "pcbs": [{"pcb_version": "3", "speciality": "C"}]}]},
    {"name": "AUX", "chip_type": "2", "chip_quanity": "2", "mcus": [
        {"mcu_type": "2", "pcbs": [{"pcb_version": "4", "speciality": "D"}]}]}]})");

DeviceDescription fourChips()
{
    DeviceDescription device =
        Scenario::deviceOf({testChip("MAIN", 0, 0, "1.2.3"), testChip("AUX", 1, 0, "4.5", 2),
                            testChip("AUX", 1, 1, "4.6", 2), testChip("FPGA", 17, 0, "7.8")});
    device.auxChips = {{1, 2, "AUX"}, {17, 1, "FPGA"}};
    return device;
}

/** A main MCU that names two AUX MCUs and an FPGA. */
struct Fixture : EngineHarness
{
    explicit Fixture(const DeviceDescription &device = fourChips()) : EngineHarness(device)
    {
        connectPort();
    }

    bool read()
    {
        clear();
        engine->getProductInfo();
        return waitForEnd();
    }

    bool write(const QStringList &rows)
    {
        clear();
        engine->setProductInfo(rows);
        return waitForEnd();
    }

    /** The report without its line ends, one label after the other. */
    QString report() const
    {
        QString text = lines.last();
        return text.remove("=").replace("\r\n", QString(";"));
    }
};

QString rowReport(const QString &fields)
{
    static const char *const labels[] = {
        "Name:", "Chip Type:", "Chip Index:", "MCU Model:",    "PCB Version:",    "Speciality:",
        "Ver1:", "Ver2:",      "Ver3:",       "BootCodeFlag:", "ProductInfoFlag:"};
    const QStringList values = fields.split(',');
    QString text = QString("|");
    for (int i = 0; i < 11; ++i)
        text += QLatin1String(labels[i]) + values.at(i) + ';';
    return text;
}

const QString heading = QString("PISHOW|product information;");
const QString device = QString("|Model Name:HX-8;|AUX MCU ChipType:1;|AUX MCU ChipQuanity:2;"
                               "|AUX MCU Name:AUX;|AUX MCU ChipType:17;"
                               "|AUX MCU ChipQuanity:1;|AUX MCU Name:FPGA;");

} // namespace

/** Product information read, shown and written. */
class TestProductInfo : public QObject
{
    Q_OBJECT

private slots:
    void readsEverything()
    {
        Fixture fixture;
        QVERIFY(fixture.read());
        QCOMPARE(fixture.with("FPGA'"),
                 QStringList({"READPI|'FPGA' model is FPGA, ignore to read bootcode information.",
                              "READPI|Send 'Read FW version' command to 'FPGA'.",
                              "READPI|Read 'FPGA' version success, version is V7.8"}));
        QCOMPARE(fixture.with("version is V").size(), 4);
        QCOMPARE(fixture.report(), heading + device + rowReport("MAIN,0,0,1,01,A,1,02,03,0,1") +
                                       rowReport("AUX,1,0,2,01,A,4,05,,0,1") +
                                       rowReport("AUX,1,1,2,01,A,4,06,,0,1") +
                                       rowReport("FPGA,17,0,,,,7,08,,,"));
        QCOMPARE(fixture.sentText(),
                 QString("F905 F900 F901 F900 F901 F900 F901 F902 F902 F902 F902"));
        QVERIFY(fixture.engine->timersIdle());
    }

    /** Only an invalid record of the main MCU ends the read. */
    void flagsOfTheMainMcu()
    {
        DeviceDescription with = fourChips();
        with.chips.first().bootcode = true;
        Fixture inBootcode(with);
        QVERIFY(inBootcode.read());
        QVERIFY(inBootcode.lines.contains("READPI|MAIN MCU running in Bootcode."));
        QVERIFY(inBootcode.lines.last().startsWith("PISHOW|"));
        QCOMPARE(inBootcode.count("7900"), 0);

        with.chips.first().productInformation = false;
        Fixture invalid(with);
        QVERIFY(invalid.read());
        QVERIFY(invalid.lines.contains("READPI|'MAIN' product information flag is invalid, exit "
                                       "read product information."));
        QVERIFY(invalid.lines.contains("READPI|APPSTATUS|10"));
    }

    void writesAndReadsBack()
    {
        Fixture fixture;
        QVERIFY(
            fixture.write({"MAIN,0,0,1,3,67", "AUX,1,1,2,4,68", "FPGA,17,0,1,1,65", description}));
        QCOMPARE(fixture.with("SETPIRESULT"),
                 QStringList({"SETPIRESULT|MAIN,0,0,1,3,67,0,0,0,0|1",
                              "SETPIRESULT|AUX,1,1,2,4,68,0,0,0,0|1"}));
        QVERIFY(
            fixture.lines.contains("'FPGA' model is FPGA, ignore to write product information."));
        QCOMPARE(fixture.device.violationCount(), 0);
        QVERIFY(fixture.engine->timersIdle());
        QVERIFY(fixture.read());
        QCOMPARE(
            fixture.report(),
            heading +
                "|Model Name:HX-9;|AUX MCU ChipType:1;|AUX MCU ChipQuanity:2;|AUX MCU Name:AUX;" +
                rowReport("MAIN,0,0,1,03,C,1,02,03,0,1") + rowReport("AUX,1,0,2,01,A,4,05,,0,1") +
                rowReport("AUX,1,1,2,04,D,4,06,,0,1"));
    }

    void writesWithThePackagesDescription()
    {
        Fixture fixture;
        fixture.setPackage(packageWithJson(description.toLatin1()));
        fixture.engine->getMergeFWJSON(fixture.packagePath());
        QVERIFY(fixture.write({"AUX,1,0,2,4,68"}));
        QCOMPARE(fixture.lines.filter("SETPIRESULT"),
                 QStringList{"SETPIRESULT|AUX,1,0,2,4,68,0,0,0,0|1"});
    }

    /** Without a description that was parsed for a write there is no record. */
    void recordOfOneRow()
    {
        Fixture fixture;
        QVERIFY(fixture.engine->getCommandOfProductInformation(0).isEmpty());
        QCOMPARE(fixture.lines, QStringList{"Data struct error!"});
        QVERIFY(fixture.write({description, "AUX,1,0,2,4,68"}));
        QCOMPARE(fixture.engine->getCommandOfProductInformation(0).toHex(),
                 QByteArray("010004440000") + QByteArray("00").repeated(10));
        QVERIFY(fixture.engine->getCommandOfProductInformation(1).size() > 16);
        fixture.engine->setTypeAndIndex(0, 4, QString("9"));
        QVERIFY(fixture.engine->getCommandOfProductInformation(0).isEmpty());
    }
};

AGENT_TEST(TestProductInfo)

} // namespace engine::tst_product_info

#include "tst_product_info.moc"
