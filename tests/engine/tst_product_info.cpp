// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "protocol/CommandWords.h"
#include "support/TestCase.h"

namespace engine::tst_product_info {

namespace command = protocol::command;
namespace mcu = protocol::mcu;

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
    Fixture() : EngineHarness(fourChips())
    {
        engine->slotConnect("ttyS2");
        clear();
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

QStringList keyed(const QStringList &lines)
{
    QStringList all;
    for (const QString &line : lines)
        all.append("READPI|" + line);
    return all;
}

QStringList readsOf(const QString &name)
{
    return {QString("Read bootcode information of '%1'.").arg(name),
            QString("Read the bootcode information of '%1' success.").arg(name),
            QString("Read the product information of '%1'.").arg(name),
            QString("Read the product information of '%1'  success.").arg(name)};
}

QStringList versionOf(const QString &name, const QString &version)
{
    return {QString("Send 'Read FW version' command to '%1'.").arg(name),
            QString("Read '%1' version success, version is V%2").arg(name, version)};
}

QStringList mainReads()
{
    QStringList lines = readsOf("MAIN");
    lines.insert(2, QString("MAIN MCU running in APP."));
    return lines;
}

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
        QStringList chain{"Read virtual version.", "Read virtual version success."};
        chain += mainReads() + readsOf("AUX") + readsOf("AUX") +
                 QStringList{"'FPGA' model is FPGA, ignore to read bootcode information.",
                             "Read all mcu(list) bootcode and product information done."} +
                 versionOf("MAIN", "1.2.3") + versionOf("AUX", "4.5") + versionOf("AUX", "4.6") +
                 versionOf("FPGA", "7.8");
        QVERIFY(sameTranscript(fixture.lines.mid(0, fixture.lines.size() - 1), keyed(chain)));
        QCOMPARE(fixture.report(), heading + device + rowReport("MAIN,0,0,1,01,A,1,02,03,0,1") +
                                       rowReport("AUX,1,0,2,01,A,4,05,,0,1") +
                                       rowReport("AUX,1,1,2,01,A,4,06,,0,1") +
                                       rowReport("FPGA,17,0,,,,7,08,,,"));
        QCOMPARE(fixture.sentText(),
                 QString("F905 F900 F901 F900 F901 F900 F901 F902 F902 F902 F902"));
        QVERIFY(fixture.engine->timersIdle());
    }

    void invalidFlag()
    {
        DeviceDescription with = fourChips();
        with.chips.first().productInformation = false;
        EngineHarness fixture(with);
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->getProductInfo();
        QVERIFY(fixture.waitForEnd());
        QVERIFY(fixture.lines.contains(
            QString("READPI|'MAIN' product information flag is invalid, exit read product "
                    "information.")));
        QVERIFY(fixture.lines.contains("READPI|APPSTATUS|10"));
    }

    void virtualVersion_data()
    {
        const tests::DataTable<QString, QStringList> rows("fault", "said");
        const QStringList retry1{"Read virtual version fail, retry 1."};
        const QStringList retry2{"Read virtual version fail, retry 2."};
        const QStringList success{"Read virtual version success."};
        const QStringList givenUp{"Read virtual version fail."};
        rows("silent once", "silent:count=once,word=virtual-version", retry1 + success);
        rows("silent twice", "silent:count=twice,word=virtual-version", retry1 + retry2 + success);
        rows("silent", "silent:word=virtual-version", retry1 + retry2 + givenUp);
        rows("refused", "refuse:word=virtual-version", retry1 + retry2 + givenUp);
        // The version is only shown: a malformed answer is reported, and the reads continue.
        rows("malformed", "short:word=virtual-version", QStringList{"Read virtual version error."});
    }

    void virtualVersion()
    {
        QFETCH(QString, fault);
        QFETCH(QStringList, said);
        Fixture fixture;
        fixture.addFault(fault);
        // After a failed virtual version, the retries of the next read have other texts.
        fixture.addFault("silent:count=twice,word=bootcode,type=0");
        QVERIFY(fixture.read());
        QVERIFY(fixture.report().startsWith(heading + device));
        const bool success = said.last().endsWith("success.");
        const QString retry =
            success ? QString("Read the bootcode information of 'MAIN' fail, retry %1.")
                    : QString("Read the bootcode information of 'MAIN'. fail, retry %1.");
        const QString boot = QString("Read bootcode information of 'MAIN'.");
        QVERIFY(
            sameTranscript(fixture.lines.mid(0, said.size() + 7),
                           keyed(QStringList{"Read virtual version."} + said +
                                 QStringList{boot, retry.arg(1), boot, retry.arg(2), boot,
                                             "Read the bootcode information of 'MAIN' success."})));
    }

    void bootcodeDoesNotStartAnUpgrade()
    {
        DeviceDescription with = fourChips();
        with.chips.first().bootcode = true;
        EngineHarness fixture(with);
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->getProductInfo();
        QVERIFY(fixture.waitForEnd());
        QVERIFY(fixture.lines.contains("READPI|MAIN MCU running in Bootcode."));
        QVERIFY(fixture.lines.last().startsWith("PISHOW|"));
        QVERIFY(!fixture.sentText().contains("7900"));
    }

    void writes()
    {
        Fixture fixture;
        QVERIFY(
            fixture.write({description, "MAIN,0,0,1,3,67", "AUX,1,1,2,4,68", "FPGA,17,0,1,1,65"}));
        QVERIFY(sameTranscript(
            fixture.lines,
            {"Start to write Product Information.", "Start to write 'MAIN' product information.",
             "Write 'MAIN' product information success.", "SETPIRESULT|MAIN,0,0,1,3,67,0,0,0,0|1",
             "Start to write 'AUX' product information.",
             "Write 'AUX' product information success.", "SETPIRESULT|AUX,1,1,2,4,68,0,0,0,0|1",
             "'FPGA' model is FPGA, ignore to write product information.",
             "Write all product information done."}));
        QCOMPARE(fixture.link->sent.first().mid(9, fixture.link->sent.first().size() - 10).toHex(),
                 QByteArray("000003430e00") + QByteArray("00").repeated(10) + "0104" +
                     QByteArray("HX-9").toHex() + "0306" + "010203" + QByteArray("AUX").toHex());
        QCOMPARE(fixture.device.violationCount(), 0);
        QVERIFY(fixture.engine->timersIdle());
    }

    void writesAndReadsBack()
    {
        Fixture fixture;
        QVERIFY(fixture.write({"MAIN,0,0,1,3,67", "AUX,1,1,2,4,68", description}));
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
        QByteArray body("MTU\0\6", 5);
        const QByteArray json = description.toLatin1();
        body.append(char(json.size() & 0xFF)).append(char(json.size() >> 8));
        fixture.setPackage(withChecksum(body + json));
        fixture.engine->getMergeFWJSON(fixture.packagePath());
        QVERIFY(fixture.write({"AUX,1,0,2,4,68"}));
        QCOMPARE(fixture.lines.filter("SETPIRESULT"),
                 QStringList{"SETPIRESULT|AUX,1,0,2,4,68,0,0,0,0|1"});
    }

    /** A reply of the ordinary form says in its result whether the record was taken. */
    void writeRefusedByItsResult()
    {
        Fixture fixture;
        int writes = 0;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const bool refused = EngineHarness::wordOf(frame) == "7903" && ++writes == 1;
            return QList<QByteArray>{refused ? mcu::buildFrame(mcu::replyStart, {},
                                                               command::writeProductInformation,
                                                               QByteArray::fromHex("000001"))
                                             : fixture.link->deviceAnswer(frame)};
        };
        const QString startWrite = QString("Start to write 'AUX' product information.");
        QVERIFY(fixture.write({description, "AUX,1,0,2,4,68"}));
        QVERIFY(
            sameTranscript(fixture.lines, {"Start to write Product Information.", startWrite,
                                           "Write 'AUX' product information fail, retry 1.",
                                           startWrite, "Write 'AUX' product information success.",
                                           "SETPIRESULT|AUX,1,0,2,4,68,0,0,0,0|1",
                                           "Write all product information done."}));
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
