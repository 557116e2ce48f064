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

class TestPlan : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_fwm.reset(new Fwm);
        m_fwm->write("p.fwm", package());
    }

    void rows()
    {
        m_fwm->write("rows",
                     "# name, type, index, MCU, PCB, speciality, version\n"
                     "MAIN,0,0,1,1,65,1,10,0\n\nAUX,1,0,2,2,65,1,9,0\nGONE,2,0,3,1,65,1,0,0\n"
                     "FPGA,17,0,,,,3,1,\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows"});
        QVERIFY(ran.err.contains(" that it does not hold: GONE,2,0\n"));
        QCOMPARE(ran.status, 1);
        const QByteArray text = ran.out;
        QVERIFY(
            text.contains("MAIN: leave as it is\n"
                          "    Firmware version V1.2.0 less than the 'MAIN' version V1.10.0, will "
                          "not upgrade.\n"));
        QVERIFY(text.contains("AUX: send version 1.9.1, 400 bytes at 0x"));
        QVERIFY(
            text.contains("    entry 1 'OLD': PCB version 1, the chip has 2\n"
                          "    Firmware version V1.9.1 greater than the 'AUX' version V1.9.0, will "
                          "upgrade.\n"));
        QVERIFY(text.contains("GONE: no image\n"));
        QVERIFY(text.contains(
            "    The description names an image that the package lacks, or one that is too "
            "long.\n"));
        QVERIFY(text.contains("FPGA: send version 3.2.0, 512 bytes at 0x"));
        QVERIFY(text.endsWith("2 images would be written.\n"));
    }

    void everyVersionInMode5()
    {
        m_fwm->write("rows", "MAIN,0,0,1,1,65,1,10,0\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows", "--mode", "5"});
        QCOMPARE(ran.status, 0);
        QVERIFY(ran.out.contains("MAIN: send version 1.2.0, 700 bytes"));
        QVERIFY(ran.out.contains("this mode sends every version"));
    }

    void nothingToDo()
    {
        m_fwm->write("rows", "MAIN,0,0,1,1,65,1,2,0\nAUX,1,0,9,1,65,1,0,0\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows"});
        QCOMPARE(ran.status, 3);
        QVERIFY(ran.out.endsWith("0 images would be written.\n"));
    }

    /** A client refuses all rows then. */
    void rowThatThePackageLacks()
    {
        m_fwm->write("rows", "AUX,1,0,2,2,65,1,9,0\nKEY,5,0,1,1,65,1,0,0\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows"});
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
        m_fwm->write("rows", "AUX,1,0,2,2,65,1,9,0\n");
        m_fwm->write("old.fwm", withVersion(package(), 5));
        const Ran ran = m_fwm->run({"plan", "old.fwm", "--rows", "rows", "--json"});
        QCOMPARE(ran.status, 7);
        QCOMPARE(ran.json().value("error").toObject().value("id").toString(),
                 QStringLiteral("package-too-old"));
    }

    /** In the words of the client's own results. */
    void results()
    {
        m_fwm->write("d.json", R"({"model":"HX-8","chips":[
        {"name":"MAIN","version":"1.3.0","bootcode":true},
        {"name":"AUX","chip_type":1,"mcu_type":4,"version":"1.9.0"},
        {"name":"FPGA","chip_type":17,"version":"3.2"}]})");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--device", "d.json", "--json"});
        QCOMPARE(ran.status, 1);
        QStringList found;
        const QJsonArray rows = ran.json().value("rows").toArray();
        for (const QJsonValue &row : rows)
            found += row["name"].toString() + ' ' + row["verdict"].toString() + ' ' +
                     row["result"].toString() + (row["goes_first"].toBool() ? " first" : "");
        QCOMPARE(found, QStringList({"MAIN send updated first", "NEW no-match no-fit",
                                     "GONE no-answer failed", "FPGA not-newer up-to-date"}));
        QCOMPARE(ran.json().value("virtual_version").toInt(), 12);
        m_fwm->write("d.json", R"({"model":"HX-9","chips":[{"name":"MAIN","version":"1.3.0"}]})");
        const Ran other = m_fwm->run({"plan", "p.fwm", "--device", "d.json", "--json"});
        const QJsonObject row = other.json().value("rows").toArray().first().toObject();
        QCOMPARE(row.value("verdict").toString(), QStringLiteral("not-reached"));
        QCOMPARE(row.value("result").toString(), QStringLiteral("not-reached"));
        QVERIFY(other.json().value("virtual_version").isNull());
    }

    void json()
    {
        m_fwm->write("rows", "AUX,1,0,9,1,65,1,0,0\nAUX,1,0,2,1,65,1,0,0\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows", "--json"});
        QCOMPARE(ran.status, 0);
        const QJsonArray rows = ran.json().value("rows").toArray();
        QCOMPARE(rows.size(), 2);
        const QJsonObject first = rows.at(0).toObject();
        QCOMPARE(first.value("verdict").toString(), QStringLiteral("no-match"));
        QCOMPARE(first.value("rejected").toArray().size(), 2);
        const QJsonObject rejected = first.value("rejected").toArray().first().toObject();
        QCOMPARE(rejected.value("field").toString(), QStringLiteral("mcu_type"));
        QCOMPARE(rejected.value("entry_value").toString(), QStringLiteral("2"));
        QCOMPARE(rejected.value("chip_value").toString(), QStringLiteral("9"));
        const QJsonObject second = rows.at(1).toObject();
        QCOMPARE(second.value("verdict").toString(), QStringLiteral("send"));
        QCOMPARE(second.value("entry").toInt(), 1);
        const QJsonObject image = second.value("image").toObject();
        QCOMPARE(image.value("size").toInt(), 300);
        QCOMPARE(package().mid(image.value("offset").toInt(), 300), patternImage(300));
        QCOMPARE(ran.json().value("would_write").toInt(), 1);
    }

    void device()
    {
        m_fwm->write("d.json", deviceFile("HX-8", R"("version":"9.0.0","bootcode":true)"));
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--device", "d.json"});
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
        m_fwm->write("zero.json", deviceFile("HX-8", main));
        m_fwm->write("quantity.json", deviceFile("HX-8", main, R"("numbering":"quantity",)"));
        const auto plan = [this](const QString &device, const QStringList &more) {
            return m_fwm->run(QStringList{"plan", "p.fwm", "--device", device} + more);
        };
        QCOMPARE(plan("zero.json", {}).status, 0);
        QCOMPARE(plan("quantity.json", {"--request-all"}).status, 0);
        const Ran wrong = plan("quantity.json", {});
        QCOMPARE(wrong.status, 1);
        QVERIFY(wrong.err.startsWith("fwm: error: the device has no chip") &&
                wrong.err.contains(": MAIN,0,0\n"));
        QVERIFY(wrong.err.contains("--request-all"));
        QVERIFY(wrong.out.contains(
            "MAIN: no answer\n    The device has no chip of type 0 with index 0.\n"));
        QVERIFY(wrong.out.contains("No row asks for MAIN (type 0, index 1).\n"));
        QVERIFY(wrong.out.endsWith("0 images would be written.\n"));
        const Ran all = plan("zero.json", {"--request-all", "--json"});
        QCOMPARE(all.status, 1);
        QCOMPARE(all.json().value("would_write").toInt(), 0);
        QCOMPARE(all.json().value("rows").toArray().first().toObject().value("verdict").toString(),
                 QStringLiteral("no-answer"));
        QCOMPARE(all.json().value("not_asked_for").toArray().size(), 4);
    }

    void publishedDevices_data()
    {
        QTest::addColumn<QByteArray>("json");
        const QDir examples(QStringLiteral(EXAMPLES_DIR));
        for (const QString &name : examples.entryList({QStringLiteral("*.json")})) {
            QFile file(examples.filePath(name));
            QVERIFY(file.open(QIODevice::ReadOnly));
            QTest::newRow(qPrintable(name)) << file.readAll();
        }
        QFile page(QStringLiteral(DOCS_DIR "/reference/mcu-protocol.md"));
        QVERIFY(page.open(QIODevice::ReadOnly));
        const QByteArray start = "```json device\n";
        const QByteArray text = page.readAll();
        const int from = text.indexOf(start) + start.size();
        QVERIFY(from > start.size());
        QTest::newRow("mcu-protocol.md") << text.mid(from, text.indexOf("```", from) - from);
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
        m_fwm->write("d.fwm", makePackage(images));
        m_fwm->write("d.json", json);
        QStringList arguments{"plan", "d.fwm", "--device", "d.json", "--json"};
        if (isByQuantity)
            arguments += "--request-all";
        const Ran ran = m_fwm->run(arguments);
        QVERIFY2(ran.status == 0, ran.out.constData());
        QCOMPARE(ran.json().value("would_write").toInt(), device->chips.size());
        QCOMPARE(ran.json().value("not_asked_for").toArray().size(), 0);
    }

    void deviceOfAnotherModel()
    {
        m_fwm->write("d.json", deviceFile("HX-9", R"("version":"1.0.0")"));
        const Ran newer = m_fwm->run({"plan", "p.fwm", "--device", "d.json"});
        QCOMPARE(newer.status, 7);
        QVERIFY(newer.out.startsWith("The package is for model 'HX-8' and the device is 'HX-9'"));
        // Mode 5 does not ask for the model.
        const Ran every = m_fwm->run({"plan", "p.fwm", "--device", "d.json", "--mode", "5"});
        QVERIFY(every.out.contains("MAIN: send version 1.2.0"));
        QVERIFY(every.err.contains(": GONE,2,0\n"));
        QCOMPARE(every.status, 1);

        m_fwm->write("d.json",
                     deviceFile("HX-8", R"("version":"1.0.0","product_information":false)"));
        const Ran invalid = m_fwm->run({"plan", "p.fwm", "--device", "d.json"});
        QCOMPARE(invalid.status, 1);
        QVERIFY(invalid.out.startsWith("The main MCU's product information is invalid"));
    }

    void wrongInput_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("words");
        QTest::newRow("short row") << QStringList{"p.fwm", "--rows", "short"} << 1
                                   << QByteArray("line 2: 3 fields instead of 9");
        QTest::newRow("no rows file")
            << QStringList{"p.fwm", "--rows", "none"} << 1 << QByteArray("cannot be read");
        QTest::newRow("no device") << QStringList{"p.fwm", "--device", "short"} << 1
                                   << QByteArray("error: the file is not a device file: short: ");
        QTest::newRow("no package")
            << QStringList{"short", "--rows", "short"} << 7
            << QByteArray("error: the file is not a firmware package: short\n");
        QTest::newRow("mode 3") << QStringList{"p.fwm", "--rows", "short", "--mode", "3"} << 2
                                << QByteArray("error");
        QTest::newRow("neither") << QStringList{"p.fwm"} << 2 << QByteArray("error");
        QTest::newRow("rows of the package")
            << QStringList{"p.fwm", "--rows", "short", "--request-all"} << 2 << QByteArray("error");
        QTest::newRow("both") << QStringList{"p.fwm", "--rows", "short", "--device", "short"} << 2
                              << QByteArray("error");
    }

    void wrongInput()
    {
        QFETCH(QStringList, arguments);
        QFETCH(int, status);
        QFETCH(QByteArray, words);
        m_fwm->write("short", "MAIN,0,0,1,1,65,1,2,0\nMAIN,0,0\n");
        const Ran ran = m_fwm->run(QStringList{"plan"} + arguments);
        QCOMPARE(ran.status, status);
        QVERIFY2(ran.err.contains(words), ran.err.constData());
    }

    void rowsThatWouldBeCut_data()
    {
        QTest::addColumn<QByteArray>("row");
        QTest::addColumn<QByteArray>("words");
        QTest::newRow("ten fields")
            << QByteArray("MAIN,0,0,1,1,65,1,2,0,9") << QByteArray("10 fields instead of 9");
        QTest::newRow("two rows in one") << QByteArray("MAIN,0,0,1,1,65,1,0,0,AUX,1,0,2,1,65,1,0,0")
                                         << QByteArray("18 fields instead of 9");
        QTest::newRow("empty fields") << QByteArray(",,,,,,,,") << QByteArray("field 2 is ''");
        QTest::newRow("no chip index")
            << QByteArray("MAIN,0,,1,1,65,1,0,0") << QByteArray("field 3 is ''");
        QTest::newRow("letters") << QByteArray("MAIN,0,0,1,1,A,1,0,0")
                                 << QByteArray("field 6 is 'A'");
        QTest::newRow("two bytes")
            << QByteArray("MAIN,256,0,1,1,65,1,0,0") << QByteArray("field 2 is '256'");
        QTest::newRow("negative") << QByteArray("MAIN,0,-1,1,1,65,1,0,0")
                                  << QByteArray("field 3 is '-1'");
        QTest::newRow("a version of four numbers")
            << QByteArray("MAIN,0,0,1,1,65,1.2.3.4,0,0") << QByteArray("field 7 is '1.2.3.4'");
    }

    void rowsThatWouldBeCut()
    {
        QFETCH(QByteArray, row);
        QFETCH(QByteArray, words);
        m_fwm->write("rows", "MAIN,0,0,1,1,65,1,0,0\n" + row + "\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows"});
        QCOMPARE(ran.status, 1);
        QCOMPARE(ran.out, QByteArray());
        QVERIFY2(
            ran.err.startsWith(
                "fwm: error: a row is not one of a device's chips: rows, line 2: " + words + "\n"),
            ran.err.constData());
    }

    void blanksAroundFields()
    {
        m_fwm->write("rows", " AUX , 1, 0, 2, 1, 65, 1, 0, 0 \r\n");
        const Ran ran = m_fwm->run({"plan", "p.fwm", "--rows", "rows"});
        QCOMPARE(ran.status, 0);
        QVERIFY2(ran.out.startsWith("AUX: send version 1.9.0"), ran.out.constData());
    }

    void longFiles()
    {
        const QByteArray row = "MAIN,0,0,1,1,65,1,0,0\n";
        const QByteArray longest = "#" + QByteArray(1024 * 1024 - 2 - row.size(), 'x') + "\n" + row;
        m_fwm->write("longest", longest);
        QCOMPARE(m_fwm->run({"plan", "p.fwm", "--rows", "longest"}).status, 0);
        m_fwm->write("long", longest + "AUX,1,0,2,1,65,1,0,0\n");
        for (const char *option : {"--rows", "--device"}) {
            const Ran ran = m_fwm->run({"plan", "p.fwm", option, "long"});
            QCOMPARE(ran.status, 1);
            QVERIFY2(ran.err.startsWith("fwm: error: the file is longer than 1 MiB"),
                     ran.err.constData());
            QVERIFY2(ran.err.contains(": long: 1048597 bytes\n"), ran.err.constData());
        }
        m_fwm->write("rows", row);
        QCOMPARE(m_fwm->run({"plan", "p.fwm", "--rows", "rows"}).status, 0);
    }

private:
    QScopedPointer<Fwm> m_fwm;
};

AGENT_TEST(TestPlan)

} // namespace tst_plan

#include "tst_plan.moc"
