// SPDX-License-Identifier: Apache-2.0
#include "device-description/DeviceDescription.h"
#include "support/TestCase.h"
#include "tests/engine/TestPackage.h"
#include "tests/fwm/Fwm.h"

#include <QDir>
#include <QJsonArray>

namespace tst_plan {

namespace {

QByteArray package()
{
    return makePackage({{"MAIN", 0, 1, 1, 1, 'A', {1, 2, 0}, patternImage(700)},
                        {"OLD", 1, 1, 2, 1, 'A', {1, 9, 0}, patternImage(300)},
                        {"NEW", 1, 1, 2, 2, 'A', {1, 9, 1}, patternImage(400)},
                        {"GONE", 2, 1, 3, 1, 'A', {2, 0, 0}, patternImage(10), false},
                        {"FPGA", 17, 1, 0, 0, '\0', {3, 2, 0}, patternImage(512)}});
}

/** A device with the package's chips; `more` are further keys of the main MCU. */
QByteArray deviceFile(const QByteArray &model, const QByteArray &more, const QByteArray &top = {})
{
    return "{\"model\":\"" + model + "\"," + top + R"("chips":[{"name":"MAIN",)" + more + R"(},
        {"name":"AUX","chip_type":1,"mcu_type":2,"version":"1.9.0"},
        {"name":"GONE","chip_type":2,"mcu_type":3,"version":"2.0.0"},
        {"name":"FPGA","chip_type":17,"version":"3.2"}]})";
}

} // namespace

class TestPlan : public QObject, private Fwm
{
    Q_OBJECT

private slots:
    void init()
    {
        renew();
        write("p.fwm", package());
    }

    void rows()
    {
        const Ran ran = planOf("# name, type, index, MCU, PCB, speciality, version\n"
                               "MAIN,0,0,1,1,65,1,10,0\n\nAUX,1,0,2,2,65,1,9,0\n"
                               "GONE,2,0,3,1,65,1,0,0\nFPGA,17,0,,,,3,1,\n");
        QCOMPARE(ran.status, 1);
        QVERIFY(ran.err.contains(" that it does not hold: GONE,2,0\n"));
        QCOMPARE(QString(ran.out).remove(QRegularExpression(" at 0x[0-9a-f]{8}")),
                 QString("MAIN: leave as it is\n"
                         "    Firmware version V1.2.0 less than the 'MAIN' version V1.10.0, will "
                         "not upgrade.\n"
                         "AUX: send version 1.9.1, 400 bytes\n"
                         "    entry 1 'OLD': PCB version 1, the chip has 2\n"
                         "    Firmware version V1.9.1 greater than the 'AUX' version V1.9.0, will "
                         "upgrade.\n"
                         "GONE: no image\n"
                         "    Firmware version V2.0.0 greater than the 'GONE' version V1.0.0, will "
                         "upgrade.\n"
                         "    The description names an image that the package lacks, or one that "
                         "is too long.\n"
                         "FPGA: send version 3.2.0, 512 bytes\n"
                         "    Firmware version V3.2.0 greater than the 'FPGA' version V3.1.0, will "
                         "upgrade.\n"
                         "2 images would be written.\n"));
    }

    void everyVersionInMode5()
    {
        const Ran ran = planOf("MAIN,0,0,1,1,65,1,10,0\n", " --mode 5");
        QCOMPARE(ran.status, 0);
        QVERIFY(ran.out.contains("MAIN: send version 1.2.0, 700 bytes"));
        QVERIFY(ran.out.contains("this mode sends every version"));
    }

    /** A client refuses all rows then. */
    void rowThatThePackageLacks()
    {
        const Ran ran = planOf("AUX,1,0,2,2,65,1,9,0\nKEY,5,0,1,1,65,1,0,0\n");
        QCOMPARE(ran.status, 2);
        QCOMPARE(ran.out,
                 QByteArray("'upgrade-console upgrade' refuses these rows, and the run does "
                            "not begin.\n"
                            "KEY: leave as it is\n"
                            "    The package has nothing for this chip type.\n"
                            "0 images would be written.\n"));
        QVERIFY(ran.err.contains(" holds nothing for a row of the request: KEY,5,0\n"));
    }

    void oldPackage()
    {
        write("p.fwm", withVersion(package(), 5));
        QCOMPARE(planOf("AUX,1,0,2,2,65,1,9,0\n", " --json").problem(),
                 QString("7 package-too-old"));
    }

    /** In the words of the client's own results. */
    void results()
    {
        const Ran ran = planFor(R"({"model":"HX-8","chips":[
        {"name":"MAIN","version":"1.3.0","bootcode":true},
        {"name":"AUX","chip_type":1,"mcu_type":4,"version":"1.9.0"},
        {"name":"FPGA","chip_type":17,"version":"3.2"}]})",
                                " --json");
        QCOMPARE(ran.status, 1);
        QStringList found;
        for (const QJsonValue &row : ran.at("rows").toArray())
            found += row["name"].toString() + ' ' + row["verdict"].toString() + ' ' +
                     row["result"].toString() + (row["goes_first"].toBool() ? " first" : "");
        QCOMPARE(found, QStringList({"MAIN send updated first", "NEW no-match no-fit",
                                     "GONE no-answer failed", "FPGA not-newer up-to-date"}));
        QCOMPARE(ran.at("virtual_version").toInt(), 12);
        const Ran other =
            planFor(R"({"model":"HX-9","chips":[{"name":"MAIN","version":"1.3.0"}]})", " --json");
        QCOMPARE(other.at("rows.0.verdict").toString(), QString("not-reached"));
        QCOMPARE(other.at("rows.0.result").toString(), QString("not-reached"));
        QVERIFY(other.at("virtual_version").isNull());
    }

    void json()
    {
        const Ran ran = planOf("AUX,1,0,9,1,65,1,0,0\nAUX,1,0,2,1,65,1,0,0\n", " --json");
        QCOMPARE(ran.status, 0);
        QCOMPARE(ran.at("rows").toArray().size(), 2);
        QCOMPARE(ran.at("rows.0.verdict").toString(), QString("no-match"));
        QCOMPARE(ran.at("rows.0.rejected").toArray().size(), 2);
        const QJsonObject rejected{{"entry", 1},
                                   {"name", "OLD"},
                                   {"field", "mcu_type"},
                                   {"entry_value", "2"},
                                   {"chip_value", "9"}};
        QCOMPARE(ran.at("rows.0.rejected.0").toObject(), rejected);
        QCOMPARE(ran.at("rows.1.verdict").toString(), QString("send"));
        QCOMPARE(ran.at("rows.1.entry").toInt(), 1);
        QCOMPARE(package().mid(ran.at("rows.1.image.offset").toInt(),
                               ran.at("rows.1.image.size").toInt()),
                 patternImage(300));
        QCOMPARE(ran.at("would_write").toInt(), 1);
    }

    void device()
    {
        const Ran ran = planFor(deviceFile("HX-8", R"("version":"9.0.0","bootcode":true)"));
        QCOMPARE(ran.status, 0);
        // A main MCU in its bootcode reports no version and gets its image.
        QVERIFY(ran.out.contains("MAIN: send version 1.2.0"));
        QVERIFY(ran.out.contains("The main MCU runs its bootcode: it has its turn before"));
        QVERIFY(ran.out.contains("FPGA: leave as it is"));
        QVERIFY(ran.out.endsWith("1 image would be written.\n"));
    }

    /** The plan has the rows of the upgrade, so it says which of them the device does not answer.
     */
    void numberings()
    {
        const QByteArray main = R"("version":"1.0.0")";
        const QByteArray zero = deviceFile("HX-8", main);
        const QByteArray quantity = deviceFile("HX-8", main, R"("numbering":"quantity",)");
        QCOMPARE(planFor(zero).status, 0);
        QCOMPARE(planFor(quantity, " --request-all").status, 0);
        const Ran wrong = planFor(quantity);
        QCOMPARE(wrong.status, 1);
        QVERIFY(wrong.err.startsWith("fwm: error: the device has no chip") &&
                wrong.err.contains(": MAIN,0,0\n"));
        QVERIFY(wrong.err.contains("--request-all"));
        QVERIFY(wrong.out.contains(
            "MAIN: no answer\n    The device has no chip of type 0 with index 0.\n"));
        QVERIFY(wrong.out.contains("No row asks for MAIN (type 0, index 1).\n"));
        QVERIFY(wrong.out.endsWith("0 images would be written.\n"));
        const Ran all = planFor(zero, " --request-all --json");
        QCOMPARE(all.status, 1);
        QCOMPARE(all.at("would_write").toInt(), 0);
        QCOMPARE(all.at("rows.0.verdict").toString(), QString("no-answer"));
        QCOMPARE(all.at("not_asked_for").toArray().size(), 4);
    }

    void publishedDevices_data()
    {
        const tests::DataTable<QByteArray> row("json");
        const QDir examples(QStringLiteral(EXAMPLES_DIR));
        for (const QString &name : examples.entryList({QStringLiteral("*.json")}))
            row(qPrintable(name), fileBytes(examples.filePath(name)));
        const QByteArray text = fileBytes(QStringLiteral(DOCS_DIR "/reference/mcu-protocol.md"));
        const QByteArray start = "```json device\n";
        QVERIFY(text.contains(start));
        const int from = text.indexOf(start) + start.size();
        row("mcu-protocol.md", text.mid(from, text.indexOf("```", from) - from));
    }

    /** With a package of the right quantities, an upgrade finds every chip of every device that
     * comes with the project. */
    void publishedDevices()
    {
        QFETCH(QByteArray, json);
        QString error;
        const auto device = DeviceDescription::fromJson(json, &error);
        QVERIFY2(device, qPrintable(error));
        const bool isByQuantity = json.contains("\"numbering\": \"quantity\"");
        QVector<TestImage> images;
        QMap<int, int> counts;
        for (const ChipDescription &chip : device->chips)
            counts[chip.chipType] = isByQuantity ? chip.chipIndex : counts[chip.chipType] + 1;
        for (const ChipDescription &chip : device->chips) {
            if (counts.contains(chip.chipType))
                images.append({chip.name,
                               chip.chipType,
                               quint8(counts.take(chip.chipType)),
                               chip.mcuType,
                               chip.pcbVersion,
                               char(chip.speciality),
                               {9, 0, 0},
                               patternImage(300)});
        }
        write("d.fwm", makePackage(images));
        write("d.json", json);
        const QString numbering = isByQuantity ? " --request-all" : "";
        const Ran ran = run("plan d.fwm --device d.json --json" + numbering);
        QVERIFY2(ran.status == 0, ran.out.constData());
        QCOMPARE(ran.at("would_write").toInt(), device->chips.size());
        QCOMPARE(ran.at("not_asked_for").toArray().size(), 0);
    }

    void deviceOfAnotherModel()
    {
        const QByteArray other = deviceFile("HX-9", R"("version":"1.0.0")");
        const Ran newer = planFor(other);
        QCOMPARE(newer.status, 7);
        QVERIFY(newer.out.startsWith("The package is for model 'HX-8' and the device is 'HX-9'"));
        // Mode 5 does not ask for the model.
        const Ran every = planFor(other, " --mode 5");
        QVERIFY(every.out.contains("MAIN: send version 1.2.0"));
        QVERIFY(every.err.contains(": GONE,2,0\n"));
        QCOMPARE(every.status, 1);

        const Ran invalid =
            planFor(deviceFile("HX-8", R"("version":"1.0.0","product_information":false)"));
        QCOMPARE(invalid.status, 1);
        QVERIFY(invalid.out.startsWith("The main MCU's product information is invalid"));
    }

    void wrongInput_data()
    {
        const tests::DataTable<QString, QString> row("words", "error");
        row("no rows file", "p.fwm --rows none", "the file cannot be read: none: ");
        row("no device", "p.fwm --device rows", "the file is not a device file: rows: ");
        row("no package", "rows --rows rows", "the file is not a firmware package: rows\n");
    }

    void wrongInput()
    {
        QFETCH(QString, words);
        QFETCH(QString, error);
        write("rows", "MAIN,0,0,1,1,65,1,2,0\n");
        const Ran ran = run("plan " + words);
        QCOMPARE(ran.status, error.endsWith('\n') ? 7 : 1);
        QVERIFY2(ran.err.startsWith("fwm: error: " + error.toUtf8()), ran.err.constData());
    }

    void rowsThatWouldBeCut_data()
    {
        const tests::DataTable<QByteArray, QByteArray> row("row", "words");
        row("three fields", "MAIN,0,0", "3 fields instead of 9");
        row("ten fields", "MAIN,0,0,1,1,65,1,2,0,9", "10 fields instead of 9");
        row("empty fields", ",,,,,,,,", "field 2 is ''");
        row("no chip index", "MAIN,0,,1,1,65,1,0,0", "field 3 is ''");
        row("letters", "MAIN,0,0,1,1,A,1,0,0", "field 6 is 'A'");
        row("two bytes", "MAIN,256,0,1,1,65,1,0,0", "field 2 is '256'");
        row("negative", "MAIN,0,-1,1,1,65,1,0,0", "field 3 is '-1'");
        row("a version of four numbers", "MAIN,0,0,1,1,65,1.2.3.4,0,0", "field 7 is '1.2.3.4'");
    }

    void rowsThatWouldBeCut()
    {
        QFETCH(QByteArray, row);
        QFETCH(QByteArray, words);
        const Ran ran = planOf("MAIN,0,0,1,1,65,1,0,0\n" + row + "\n");
        QCOMPARE(ran.status, 1);
        QCOMPARE(ran.out, QByteArray());
        QVERIFY2(
            ran.err.startsWith(
                "fwm: error: a row is not one of a device's chips: rows, line 2: " + words + "\n"),
            ran.err.constData());
    }

    void blanksAroundFields()
    {
        const Ran ran = planOf(" AUX , 1, 0, 2, 1, 65, 1, 0, 0 \r\n");
        QCOMPARE(ran.status, 0);
        QVERIFY2(ran.out.startsWith("AUX: send version 1.9.0"), ran.out.constData());
    }

    void longFiles()
    {
        const QByteArray row = "MAIN,0,0,1,1,65,1,0,0\n";
        const QByteArray longest = "#" + QByteArray(1024 * 1024 - 2 - row.size(), 'x') + "\n" + row;
        QCOMPARE(planOf(longest).status, 0);
        write("long", longest + "AUX,1,0,2,1,65,1,0,0\n");
        for (const QString option : {"--rows", "--device"}) {
            const Ran ran = run("plan p.fwm " + option + " long --json");
            QCOMPARE(ran.problem(), QString("1 input-too-long"));
            QCOMPARE(ran.at("error.detail").toString(), QString("long: 1048597 bytes"));
        }
    }

private:
    /** For the device of this file. */
    Ran planFor(const QByteArray &device, const QString &options = {})
    {
        write("d.json", device);
        return run("plan p.fwm --device d.json" + options);
    }
    /** For these rows. */
    Ran planOf(const QByteArray &rows, const QString &options = {})
    {
        write("rows", rows);
        return run("plan p.fwm --rows rows" + options);
    }
};

AGENT_TEST(TestPlan)

} // namespace tst_plan

#include "tst_plan.moc"
