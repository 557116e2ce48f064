// SPDX-License-Identifier: Apache-2.0
// Where the values of a request stand, and what its short form stands for.
#include "fwm/JsonPlaces.h"
#include "fwm/ShortRequest.h"
#include "support/TestCase.h"

#include <QJsonArray>
#include <QJsonDocument>
#include <QtTest>

namespace tst_request_text {

namespace {

JsonPlaces read(const QByteArray &text)
{
    return readJsonPlaces(text, JsonComments::Allowed);
}

QJsonObject image(const QByteArray &changes)
{
    QJsonObject object =
        QJsonDocument::fromJson("{\"name\":\"AUX\",\"chip\":3,\"mcu_type\":2,\"pcb_version\":\"4\","
                                "\"speciality\":\"B\",\"version\":\"1.2.3\",\"file\":\"aux.bin\"}")
            .object();
    const QJsonObject others = QJsonDocument::fromJson('{' + changes + '}').object();
    for (auto one = others.begin(); one != others.end(); ++one) {
        if (one.value().isNull())
            object.remove(one.key());
        else
            object.insert(one.key(), one.value());
    }
    return object;
}

LongForm expanded(const QByteArray &changes)
{
    return longForm({{"model", "M"}, {"release", "1"}, {"images", QJsonArray{image(changes)}}});
}

} // namespace

class TestRequestText : public QObject
{
    Q_OBJECT

private slots:
    void places_data()
    {
        const tests::DataTable<QString, QString> row("path", "place");
        row("the whole", "", "2:1");
        row("text", "3:13");
        row("escapes", R"(\a " \")", "5:7");
        row("numbers", "6:12");
        row("numbers[0]", "6:13");
        row("numbers[1]", "6:17");
        row("numbers[2]", "6:19");
        row("numbers[3]", "6:28");
        row("numbers[4]", "6:34");
        row("objects[0].inner", "7:23");
        row("objects[1].inner", "7:38");
        row("objects[1].missing", "7:28");
        row("objects[7].inner", "7:12");
        row("missing", "2:1");
        row("after", "8:10");
    }

    void places()
    {
        QFETCH(QString, path);
        const JsonPlaces read =
            ::tst_request_text::read("// \xc3\xa4 comment with { \"quotes\n"
                                     "{\n"
                                     "    \"text\": \"a text\",\n"
                                     " /*\xc3\xa4*/ \"\\\\a \\\" \\\\\\\"\"\n"
                                     "    : 1,\n"
                                     "\"numbers\": [-1, 2,3.5e+2 , true, null],\n"
                                     "\"objects\": [{\"inner\": {}}, {\"inner\": []}],\n"
                                     "\"after\": \"\\\\\"}");
        QCOMPARE(read.error, QString());
        QTEST(read.lineAndColumn(path), "place");
    }

    void syntaxErrors_data()
    {
        const tests::DataTable<QByteArray, QString> row("text", "error");
        row("no text", "", "1:1 unexpected end of input; expected '[', '{', or a literal");
        row("{\n\"a\": 1,,\n}", "2:8 unexpected ','; expected string literal");
        row("{\n\"a\": 1\n\"b\": 2}", "3:3 unexpected string literal; expected '}'");
        row("{\"a\": 1,}", "1:9 unexpected '}'; expected string literal");
        row("{'a': 1}", "1:2 invalid literal; expected string literal");
        row("{\"a\": 01}", "1:8 unexpected number literal; expected '}'");
        row("{\"a\": \"b\n\"}",
            "1:9 invalid string: control character U+000A (LF) must be escaped to \\u000A or \\n");
        row("{\"a\": 1", "1:8 unexpected end of input; expected '}'");
        row("{} x", "1:4 invalid literal; expected end of input");
        row("[]", "1:1 the text is not an object");
        row("\"a\"", "1:1 the text is not an object");
        row("[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[[", "1:33 nested too deeply");
    }

    void syntaxErrors()
    {
        QFETCH(QByteArray, text);
        const JsonPlaces places = read(text);
        QTEST(places.lineAndColumn(places.errorOffset) + QLatin1Char(' ') + places.error, "error");
    }

    void findsRepeatedKeys()
    {
        QCOMPARE(read("{\"a\":1,\"b\":[{\"c\":1,\"c\":2}],\"\\u0061\":2}").repeated,
                 QStringList({"b[0].c", "a"}));
    }

    void expands_data()
    {
        QTest::addColumn<QByteArray>("changes");
        QTest::addColumn<QByteArray>("json");
        const QString chip = QStringLiteral(
            R"({"chips":[{"chip_quanity":"%2","chip_type":"%7","mcus":[{"mcu_type":"%3","pcbs":[)"
            R"({"fw_file":"aux.bin","in_chip_quanity":"%2","in_chip_type":"%1","in_mcu_type":"%3",)"
            R"("in_pcb_version":"%4","in_speciality":"%6","in_ver1":"1","in_ver2":"2",)"
            R"("in_ver3":"3","name":"AUX","pcb_version":"%4","speciality":"%5","ver1":"1",)"
            R"("ver2":"2","ver3":"3"}]}],"name":"AUX"}],"model":"M","version":"1"})");
        const auto row = [&chip](const char *changes, int type, const char *quantity,
                                 const char *variant) {
            const QStringList values = QString(variant).split(' ');
            const QString &letter = values.at(2);
            const int code = letter.isEmpty() ? 0 : letter.at(0).unicode();
            QTest::newRow(*changes == '\0' ? "plain" : changes)
                << QByteArray(changes)
                << chip.arg(QString::number(type), quantity, values.at(0), values.at(1), letter,
                            QString::number(code), QString::number(type + 1))
                       .toUtf8();
        };
        row("", 3, "1", "2 4 B");
        row("\"chip\":\"main\"", 0, "1", "2 4 B");
        row("\"chip\":\"MAIN\"", 0, "1", "2 4 B");
        row("\"chip\":\"3\",\"quantity\":2", 3, "2", "2 4 B");
        row("\"chip\":\"fpga 17\"", 17, "1", "2 4 B");
        row("\"chip\":17,\"mcu_type\":null,\"pcb_version\":null,\"speciality\":null", 17, "1",
            "0 0 ");
        row("\"chip\":254", 254, "1", "2 4 B");
        row("\"version\":\"01.2.003\"", 3, "1", "2 4 B");
    }

    void expands()
    {
        QFETCH(QByteArray, changes);
        const LongForm form = expanded(changes);
        QVERIFY2(form.findings.isEmpty(), qPrintable(form.findings.value(0).text));
        QTEST(form.json(), "json");
    }

    void refuses_data()
    {
        const tests::DataTable<QByteArray, QString> row("changes", "text");
        const auto chipRow = [&](const char *changes, const char *value) {
            row(changes,
                QString("chip is %1; it must be \"main\", \"fpga N\" with N from 17, or the "
                        "chip type as a number from 0 to 254, and not 32")
                    .arg(value));
        };
        chipRow("\"chip\":null", "missing");
        chipRow("\"chip\":\"aux\"", "\"aux\"");
        chipRow("\"chip\":\"fpga 3\"", "\"fpga 3\"");
        chipRow("\"chip\":\"fpga 32\"", "\"fpga 32\"");
        chipRow("\"chip\":255", "255");
        chipRow("\"chip\":1.5", "1.5");
        chipRow("\"chip\":true", "true");
        row("\"chip\":32",
            "chip is 32; it must be another chip: 'fwm add-net' adds the image of the "
            "network module to the package");
        row("\"quantity\":0", "quantity is 0; it must be a number from 1 to 255");
        row("\"mcu_type\":null", "mcu_type is missing; it must be a number from 1 to 255");
        row("\"mcu_type\":-1", "mcu_type is -1; it must be a number from 1 to 255");
        row("\"pcb_version\":256", "pcb_version is 256; it must be a number from 1 to 255");
        row("\"chip\":\"fpga 17\",\"pcb_version\":\"x\"",
            "pcb_version is \"x\"; it must be a number from 0 to 255");
        row("\"speciality\":\"a\"",
            "speciality is \"a\"; it must be one letter from \"A\" to \"Z\"");
        row("\"speciality\":65", "speciality is 65; it must be one letter from \"A\" to \"Z\"");
        row("\"version\":\"1.2\"",
            "version is \"1.2\"; it must be three numbers from 0 to 255, such as \"1.2.0\"");
        row("\"version\":\"1.2.256\"",
            "version is \"1.2.256\"; it must be three numbers from 0 to 255, such as \"1.2.0\"");
        row("\"version\":1.2",
            "version is 1.2; it must be three numbers from 0 to 255, such as \"1.2.0\"");
        row("\"name\":\"\"", "name is \"\"; it must be a string that is not empty");
        row("\"file\":[]", "file is a list; it must be a string that is not empty");
    }

    void refuses()
    {
        QFETCH(QByteArray, changes);
        const LongForm form = expanded(changes);
        QFETCH(QString, text);
        QCOMPARE(form.findings.size(), 1);
        QCOMPARE(form.findings.first().text, "images[0]." + text);
        QVERIFY(form.findings.first().text.startsWith(form.findings.first().place + " is "));
    }

    void mapsPlaces_data()
    {
        const tests::DataTable<QString> row("own");
        row("model", "model");
        row("version", "release");
        row("chips", "images");
        row("chips[12]", "images[12]");
        row("chips[1].name", "images[1].name");
        row("chips[1].chip_type", "images[1].chip");
        row("chips[1].mcus[0]", "images[1]");
        row("chips[1].mcus[0].mcu_type", "images[1].mcu_type");
        row("chips[1].mcus[0].pcbs[0]", "images[1]");
        row("chips[1].mcus[0].pcbs[0].fw_file", "images[1].file");
    }

    void mapsPlaces()
    {
        QFETCH(QString, own);
        const QString place = QString::fromLatin1(QTest::currentDataTag());
        QCOMPARE(shortPlace(place), own);
        if (place.contains('['))
            QCOMPARE(withShortPlaces("of " + place + " and " + place + ", too"),
                     "of " + own + " and " + own + ", too");
    }
};

AGENT_TEST(TestRequestText)

} // namespace tst_request_text

#include "tst_request_text.moc"
