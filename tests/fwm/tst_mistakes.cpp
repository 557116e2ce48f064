// SPDX-License-Identifier: Apache-2.0
// The mistakes of release engineers, with everything that fwm says about each.
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

#include <QJsonArray>

namespace tst_mistakes {

namespace {

enum class Form { Long, Short };

const QByteArray longRequest =
    "{\n"
    "  \"model\": \"HX-8\",\n"
    "  \"version\": \"1.0.0\",\n"
    "  \"chips\": [\n"
    "    { \"name\": \"MAIN\", \"chip_type\": \"1\", \"chip_quanity\": \"1\", \"mcus\": [\n"
    "      { \"mcu_type\": \"1\", \"pcbs\": [\n"
    "        { \"name\": \"MAIN-A\", \"pcb_version\": \"1\", \"speciality\": \"A\",\n"
    "          \"ver1\": \"1\", \"ver2\": \"2\", \"ver3\": \"3\", \"fw_file\": \"main.bin\",\n"
    "          \"in_chip_type\": \"0\", \"in_chip_quanity\": \"1\", \"in_mcu_type\": \"1\",\n"
    "          \"in_pcb_version\": \"1\", \"in_speciality\": \"65\",\n"
    "          \"in_ver1\": \"1\", \"in_ver2\": \"2\", \"in_ver3\": \"3\" } ] } ] }\n"
    "  ]\n"
    "}\n";

const QByteArray shortRequest =
    "// A short request.\n"
    "{\n"
    "  \"model\": \"HX-8\",\n"
    "  \"release\": \"1.0.0\",\n"
    "  \"images\": [\n"
    "    { \"name\": \"MAIN\", \"chip\": \"main\", \"mcu_type\": 1, \"pcb_version\": 1,\n"
    "      \"speciality\": \"A\", \"version\": \"1.2.3\", \"file\": \"main.bin\" },\n"
    "    { \"name\": \"FPGA\", \"chip\": \"fpga 17\", \"version\": \"2.0.0\", \"file\": "
    "\"main.bin\" }\n"
    "  ]\n"
    "}\n";

/** The PCB object of the long request. */
const QByteArray onePcb =
    "        { \"name\": \"MAIN-A\", \"pcb_version\": \"1\", \"speciality\": \"A\",\n"
    "          \"ver1\": \"1\", \"ver2\": \"2\", \"ver3\": \"3\", \"fw_file\": \"main.bin\",\n"
    "          \"in_chip_type\": \"0\", \"in_chip_quanity\": \"1\", \"in_mcu_type\": \"1\",\n"
    "          \"in_pcb_version\": \"1\", \"in_speciality\": \"65\",\n"
    "          \"in_ver1\": \"1\", \"in_ver2\": \"2\", \"in_ver3\": \"3\" }";

const QByteArray notAllowed =
    "fwm: error: the request has a value that is not allowed in a package: r.json\n"
    "  Correct what is listed; --force does not help here. fwm-format.md has the values that are "
    "allowed.\n";
const QByteArray refusedText =
    "fwm: error: the request gives a package with errors, and nothing was written: r.json\n"
    "  Correct what is listed, or write the package in spite of it with --force.\n";

QByteArray notJson(const QByteArray &detail)
{
    return "fwm: error: the request is not the JSON that a package needs: " + detail +
           "\n  'fwm new' writes a request that works; fwm-format.md describes both forms.\n";
}

/** The lines without the problem at their end, in any order, errors as the warnings of --force. */
QStringList listed(const QByteArray &lines)
{
    QStringList all;
    for (const QString &line : QString::fromUtf8(lines).split('\n'))
        if (line.endsWith(']'))
            all.append(QString(line).replace("fwm: error: ", "fwm: warning: "));
    all.sort();
    return all;
}

} // namespace

class TestMistakes : public QObject
{
    Q_OBJECT

private slots:
    void build_data()
    {
        QTest::addColumn<QByteArray>("request");
        QTest::addColumn<QString>("setup");
        QTest::addColumn<int>("status");
        QTest::addColumn<QByteArray>("errors");
        // In the request of this form, `what` becomes `into`; "*" is all of it.
        const auto row = [](const char *name, Form form, const QByteArray &what,
                            const QByteArray &into, const char *setup, int status,
                            const QByteArray &errors) {
            QByteArray request = form == Form::Long ? longRequest : shortRequest;
            const int at = request.indexOf(what);
            if (what == "*")
                request = into;
            else if (!what.isEmpty())
                request.replace(at, what.size(), into);
            QVERIFY2(what == "*" || at >= 0, name);
            QTest::newRow(name) << request << QString::fromLatin1(setup) << status << errors;
        };
        row("good long", Form::Long, "", "", "", 0, "");
        row("good short", Form::Short, "", "", "", 0, "");
        row("byte order mark and CR LF", Form::Short, "// A short request.\n",
            "\xef\xbb\xbf// A short request.\r\n", "", 0, "");
        row("byte order mark in a long request", Form::Long, "{\n  \"model\"",
            "\xef\xbb\xbf{\n  \"model\"", "", 1,
            "fwm: error: the request has characters beyond ASCII, which would make the package "
            "unreadable: r.json:1:1\n"
            "  Write them in ASCII, as \\u escapes, or use a short request in UTF-8.\n");
        row("two commas", Form::Long, "\"HX-8\",", "\"HX-8\",,", "", 1,
            notJson("r.json:2:19: unexpected ','; expected string literal"));
        row("no comma", Form::Short, "\"HX-8\",", "\"HX-8\"", "", 1,
            notJson("r.json:4:11: unexpected string literal; expected '}'"));
        row("single quotes", Form::Short, "\"A\"", "'A'", "", 1,
            notJson("r.json:7:21: invalid literal"));
        row("cut", Form::Long,
            " } ] } ] }\n"
            "  ]\n"
            "}\n",
            "", "", 1, notJson("r.json:11:57: unexpected end of input; expected '}'"));
        row("empty", Form::Long, "*", "", "", 1,
            notJson("r.json:1:1: unexpected end of input; expected '[', '{', or a literal"));
        row("a list", Form::Long, "*", "[]", "", 1,
            notJson("r.json:1:1: the text is not an object"));
        row("neither form", Form::Long, "\"chips\"", "\"chip\"", "", 1,
            notJson(
                "r.json:1:1: neither \"images\", as a short request has, nor \"chips\", as a long "
                "one has"));
        row("both forms", Form::Short, "\"model\": \"HX-8\"", "\"chips\": []", "", 1,
            notJson("r.json:2:1: \"chips\" of a long request and \"images\" of a short one exclude "
                    "each other"));
        row("list is an object", Form::Long, "*", "{\"chips\": {}}", "", 1,
            notJson("r.json:1:11: \"chips\" is not a list"));
        row("a comment in a long request", Form::Long, "\"version\"",
            "// release\n"
            "  \"version\"",
            "", 1, notJson("r.json:3:3: a comment, which only a short request may have"));
        row("not ASCII", Form::Long, "HX-8", "H\303\204-8", "", 1,
            "fwm: error: the request has characters beyond ASCII, which would make the package "
            "unreadable: r.json:2:14\n"
            "  Write them in ASCII, as \\u escapes, or use a short request in UTF-8.\n");
        row("not UTF-8", Form::Short, "HX-8", "H\304-8", "", 1,
            "fwm: error: the request has characters beyond ASCII, which would make the package "
            "unreadable: r.json:3:14\n"
            "  Write them in ASCII, as \\u escapes, or use a short request in UTF-8.\n");
        row("a key twice", Form::Long, "\"ver2\": \"2\"", "\"ver2\": \"2\", \"ver1\": \"2\"", "", 1,
            QByteArray(
                "fwm: error: the key \"ver1\" is given twice: r.json:8:45 [request-value]\n") +
                notAllowed);
        row("model missing", Form::Long, "  \"model\": \"HX-8\",\n", "", "", 7,
            QByteArray("fwm: error: model is missing; it must be a string: r.json:1:1 "
                       "[description-schema]\n") +
                refusedText);
        row("version is a number", Form::Long, "\"version\": \"1.0.0\"", "\"version\": 1.0", "", 7,
            QByteArray("fwm: error: version is 1; it must be a string: r.json:3:14 "
                       "[description-schema]\n") +
                refusedText);
        row("ver3 missing", Form::Long, ", \"ver3\": \"3\"", "", "", 1,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[0].ver3 is missing; it must be a decimal "
                       "number from \"0\" to \"255\", as a string: r.json:7:9 [request-value]\n") +
                notAllowed);
        row("chip_type 0", Form::Long, "\"chip_type\": \"1\"", "\"chip_type\": \"0\"", "", 1,
            QByteArray("fwm: error: chips[0].chip_type is \"0\"; it must be a decimal number from "
                       "\"1\" to \"255\", as a string: r.json:5:36 [request-value]\n") +
                notAllowed);
        row("chip_type is a number", Form::Long, "\"chip_type\": \"1\"", "\"chip_type\": 1", "", 1,
            QByteArray(
                "fwm: error: chips[0].chip_type is 1; it must be a decimal number from \"1\" to "
                "\"255\", as a string: r.json:5:36 [request-value]\n") +
                notAllowed);
        row("chip_type equals in_chip_type", Form::Long, "\"in_chip_type\": \"0\"",
            "\"in_chip_type\": \"1\"", "", 7,
            QByteArray(
                "fwm: error: \"in_chip_type\" and \"chip_type\" are both \"1\"; \"chip_type\" "
                "counts "
                "from 1 and must be \"in_chip_type\" plus one: r.json:9:27 [record-differs]\n") +
                refusedText);
        row("chip_type far off", Form::Long, "\"chip_type\": \"1\"", "\"chip_type\": \"5\"", "", 7,
            QByteArray(
                "fwm: error: \"in_chip_type\" is \"0\", but \"chip_type\" is \"5\"; \"chip_type\" "
                "counts from 1 and must be \"in_chip_type\" plus one: r.json:9:27 "
                "[record-differs]\n") +
                refusedText);
        row("quantity 0", Form::Long, "\"in_chip_quanity\": \"1\"", "\"in_chip_quanity\": \"0\"",
            "", 1,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[0].in_chip_quanity is \"0\"; it must be "
                       "a decimal "
                       "number from \"1\" to \"255\", as a string: r.json:9:51 [request-value]\n") +
                notAllowed);
        row("quantity differs", Form::Long, "\"chip_quanity\": \"1\"", "\"chip_quanity\": \"2\"",
            "", 7,
            QByteArray(
                "fwm: error: \"in_chip_quanity\" is \"1\", but \"chip_quanity\" is \"2\"; both "
                "must be the same: r.json:9:51 [record-differs]\n") +
                refusedText);
        row("in_mcu_type missing", Form::Long, ", \"in_mcu_type\": \"1\"", "", "", 1,
            QByteArray(
                "fwm: error: chips[0].mcus[0].pcbs[0].in_mcu_type is missing; it must be a decimal "
                "number from \"1\" to \"255\", as a string: r.json:7:9 [request-value]\n") +
                notAllowed);
        row("in_pcb_version is a number", Form::Long, "\"in_pcb_version\": \"1\"",
            "\"in_pcb_version\": 1", "", 1,
            QByteArray(
                "fwm: error: chips[0].mcus[0].pcbs[0].in_pcb_version is 1; it must be a decimal "
                "number from \"1\" to \"255\", as a string: r.json:10:29 [request-value]\n") +
                notAllowed);
        row("pcb_version 256", Form::Long, "\"pcb_version\": \"1\"", "\"pcb_version\": \"256\"", "",
            7,
            QByteArray(
                "fwm: error: chips[0].mcus[0].pcbs[0].pcb_version is \"256\"; it must be a decimal "
                "number from \"1\" to \"255\", as a string: r.json:7:44 [description-schema]\n") +
                refusedText);
        row("speciality in lower case", Form::Long, "\"65\"", "\"a\"", "", 1,
            QByteArray(
                "fwm: error: chips[0].mcus[0].pcbs[0].in_speciality is \"a\"; it must be one "
                "letter from \"A\" to \"Z\", or its code from \"65\" to \"90\": r.json:10:51 "
                "[request-value]\n") +
                notAllowed);
        row("speciality of two letters", Form::Long, "\"speciality\": \"A\"",
            "\"speciality\": \"AB\"", "", 7,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[0].speciality is \"AB\"; it must be one "
                       "letter from \"A\" to \"Z\": r.json:7:63 [description-schema]\n") +
                refusedText);
        row("version differs", Form::Long, "\"in_ver1\": \"1\"", "\"in_ver1\": \"9\"", "", 7,
            QByteArray("fwm: error: \"in_ver1\" is \"9\", but \"ver1\" is \"1\"; both must be the "
                       "same: r.json:11:22 [record-differs]\n") +
                refusedText);
        row("version beyond a byte", Form::Long, "\"in_ver1\": \"1\"", "\"in_ver1\": \"257\"", "",
            7,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[0].in_ver1 is \"257\"; it must be a "
                       "decimal number "
                       "from \"0\" to \"255\", as a string: r.json:11:22 [description-schema]\n") +
                refusedText);
        row("key misspelt", Form::Long, "\"chip_quanity\"", "\"chip_quantity\"", "", 7,
            QByteArray(
                "fwm: error: chips[0].chip_quanity is missing; it must be a decimal number from "
                "\"1\" to \"255\", as a string: r.json:5:5 [description-schema]\n"
                "fwm: error: \"chip_quantity\" is not a key of a chip; did you mean "
                "\"chip_quanity\"?: r.json:5:58 [key-misspelt]\n") +
                refusedText);
        row("key of the author", Form::Long, "\"model\"", "\"author\": \"me\", \"model\"", "", 0,
            "fwm: warning: \"author\" is not a key of a request, and is ignored: r.json:2:13 "
            "[key-unknown]\n");
        row("name with a comma", Form::Long, "\"MAIN-A\"", "\"MAIN,A\"", "", 7,
            QByteArray(
                "fwm: error: chips[0].mcus[0].pcbs[0].name is \"MAIN,A\"; a request cannot have "
                "\",\" in a name: r.json:7:19 [name-unsendable]\n") +
                refusedText);
        row("name with ||", Form::Long, "\"MAIN-A\"", "\"MAIN||A\"", "", 7,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[0].name is \"MAIN||A\"; a request cannot "
                       "have \"||\" in a name: r.json:7:19 [name-unsendable]\n") +
                refusedText);
        row("name with HEARTBEAT", Form::Long, "\"MAIN-A\"", "\"HEARTBEAT\"", "", 7,
            QByteArray(
                "fwm: error: chips[0].mcus[0].pcbs[0].name is \"HEARTBEAT\"; a request cannot "
                "have \"HEARTBEAT\" in a name: r.json:7:19 [name-unsendable]\n") +
                refusedText);
        row("name beyond Latin-1", Form::Long, "\"MAIN-A\"", "\"\\u4e3b\"", "", 7,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[0].name is \"\344\270\273\"; a request "
                       "cannot have \"\344\270\273\" in a name: r.json:7:19 [name-unsendable]\n") +
                refusedText);
        row("two images for one chip", Form::Long, onePcb, onePcb + ",\n" + onePcb, "", 7,
            QByteArray("fwm: error: chips[0].mcus[0].pcbs[1] describes the same chip as "
                       "chips[0].mcus[0].pcbs[0]: r.json:12:9 [entry-duplicate]\n") +
                refusedText);
        row("no chips", Form::Long, "*", "{\"model\": \"M\", \"version\": \"1\", \"chips\": []}",
            "", 0, "fwm: warning: the description has no image: r.json:1:41 [no-images]\n");
        row("no file", Form::Long, "\"main.bin\"", "\"none.bin\"", "", 1,
            "fwm: error: an image file does not exist: r.json:8:61: ./none.bin\n"
            "  Correct \"file\" or \"fw_file\"; relative paths start at the request's folder.\n");
        row("file name empty", Form::Long, "\"main.bin\"", "\"\"", "", 1,
            "fwm: error: an image file does not exist: r.json:8:61: no name\n"
            "  Correct \"file\" or \"fw_file\"; relative paths start at the request's folder.\n");
        row("file is a folder", Form::Long, "\"main.bin\"", "\".\"", "", 1,
            "fwm: error: an image file cannot be opened: r.json:8:61: ./.: Not an ordinary file\n"
            "  Check that it is an ordinary file and that you may read it.\n");
        row("image of 255 bytes", Form::Long, "", "", "head -c 255 main.bin > x; mv x main.bin", 7,
            QByteArray("fwm: error: the image has 255 bytes; no chip takes fewer than 256 bytes as "
                       "complete: "
                       "r.json:8:61 [image-short]\n") +
                refusedText);
        row("empty image", Form::Long, "", "", ": > main.bin", 7,
            QByteArray("fwm: error: the image has no bytes: r.json:8:61 [record-empty]\n") +
                refusedText);
        row("ELF", Form::Long, "", "",
            "printf '\\177ELF' | dd of=main.bin conv=notrunc status=none", 7,
            QByteArray(
                "fwm: error: the image is an ELF file, not the bytes for a flash: r.json:8:61 "
                "[image-not-binary]\n") +
                refusedText);
        row("zeros", Form::Long, "", "", "head -c 300 /dev/zero > main.bin", 0,
            "fwm: warning: every byte of the image is 0x00: r.json:8:61 [image-blank]\n");
        row("erased flash", Form::Long, "", "",
            "head -c 300 /dev/zero | tr '\\0' '\\377' > main.bin", 0,
            "fwm: warning: every byte of the image is 0xFF: r.json:8:61 [image-blank]\n");
        row("HEX with a gap", Form::Long, "", "",
            "objcopy -I binary -O ihex main.bin x; sed 4d x > main.bin", 7,
            QByteArray(
                "fwm: error: main.bin leaves 16 bytes open, the first at address 0x00000030; "
                "--fill-gaps fills them with 0xFF: r.json:8:61 [image-gaps]\n") +
                refusedText);
        row("HEX that is cut", Form::Long, "", "",
            "objcopy -I binary -O ihex main.bin x; head -3 x > main.bin", 1,
            "fwm: error: an Intel HEX or S-record file is not valid: r.json:8:61: ./main.bin: "
            "Intel "
            "HEX, line 3: the end record is missing; the file is cut short\n"
            "  Have it written again by the linker; it was cut short or changed.\n");
        row("HEX with a changed digit", Form::Short, "", "",
            "objcopy -I binary -O ihex main.bin x; sed 2s/1/2/ x > main.bin", 1,
            "fwm: error: an Intel HEX or S-record file is not valid: r.json:7:54: ./main.bin: "
            "Intel "
            "HEX, line 2: the line does not have the length that it declares\n"
            "  Have it written again by the linker; it was cut short or changed.\n");
        row("S-record with a changed digit", Form::Long, "", "",
            "objcopy -I binary -O srec main.bin x; sed \"3s/.$/Z/\" x > main.bin", 1,
            "fwm: error: an Intel HEX or S-record file is not valid: r.json:8:61: ./main.bin: "
            "S-record, line 3: 'Z' is not a hexadecimal digit\n"
            "  Have it written again by the linker; it was cut short or changed.\n");
        row("HEX over two regions", Form::Long, "", "",
            "printf ':0100000041BE\\n:020000041FFFDC\\n:0100000041BE\\n:00000001FF\\n' > main.bin",
            1,
            "fwm: error: an Intel HEX or S-record file is not valid: r.json:8:61: ./main.bin: "
            "Intel "
            "HEX, its data spans 536805377 bytes from its first address to its last one; an image "
            "has "
            "268435456 at most\n"
            "  Leave out what is not part of this flash, such as option bytes.\n");
        row("chip", Form::Short, "\"main\"", "\"aux\"", "", 1,
            QByteArray(
                "fwm: error: images[0].chip is \"aux\"; it must be \"main\", \"fpga N\" with N "
                "from 17, or the chip type as a number from 0 to 254, and not 32: r.json:6:31 "
                "[request-value]\n") +
                notAllowed);
        row("network module", Form::Short, "\"fpga 17\"", "32", "", 1,
            QByteArray(
                "fwm: error: images[1].chip is 32; it must be another chip: 'fwm add-net' adds the "
                "image of the network module to the package: r.json:8:31 [request-value]\n") +
                notAllowed);
        row("version", Form::Short, "\"1.2.3\"", "\"1.2\"", "", 1,
            QByteArray(
                "fwm: error: images[0].version is \"1.2\"; it must be three numbers from 0 to "
                "255, such as \"1.2.0\": r.json:7:37 [request-value]\n") +
                notAllowed);
        row("file misspelt", Form::Short, "\"file\": \"main.bin\" },", "\"filee\": \"main.bin\" },",
            "", 1,
            QByteArray(
                "fwm: error: images[0].file is missing; it must be a string that is not empty: "
                "r.json:6:5 [request-value]\n"
                "fwm: error: \"filee\" is not a key of an image; did you mean \"file\"?: "
                "r.json:7:55 [key-misspelt]\n") +
                notAllowed);
        row("speciality missing", Form::Short, "\"speciality\": \"A\", ", "", "", 1,
            QByteArray(
                "fwm: error: images[0].speciality is missing; it must be one letter from \"A\" "
                "to \"Z\": r.json:6:5 [request-value]\n") +
                notAllowed);
        row("several", Form::Short, "\"mcu_type\": 1, \"pcb_version\": 1",
            "\"mcu_type\": 0, \"pcb_version\": \"x\"", "", 1,
            QByteArray(
                "fwm: error: images[0].mcu_type is 0; it must be a number from 1 to 255: "
                "r.json:6:51 [request-value]\n"
                "fwm: error: images[0].pcb_version is \"x\"; it must be a number from 1 to 255: "
                "r.json:6:69 [request-value]\n") +
                notAllowed);
        row("two images for one chip", Form::Short, "\"chip\": \"fpga 17\"",
            "\"chip\": \"main\", \"mcu_type\": 1, \"pcb_version\": 1, \"speciality\": \"A\"", "", 7,
            QByteArray("fwm: error: images[1] describes the same chip as images[0]: r.json:8:5 "
                       "[entry-duplicate]\n") +
                refusedText);
        row("name of two chips", Form::Short, "\"FPGA\"", "\"MAIN\"", "", 0,
            "fwm: warning: images[1].name is \"MAIN\", the name of another chip at images[0].name: "
            "r.json:8:15 [name-shared]\n");
        row("name with a comma", Form::Short, "\"MAIN\"", "\"MA,IN\"", "", 7,
            QByteArray("fwm: error: images[0].name is \"MA,IN\"; a request cannot have \",\" in a "
                       "name: r.json:6:15 [name-unsendable]\n") +
                refusedText);
        row("no images", Form::Short, "*", "{\"model\": \"M\", \"release\": \"1\", \"images\": []}",
            "", 0, "fwm: warning: the description has no image: r.json:1:42 [no-images]\n");
        row("file missing", Form::Short, "\"main.bin\" },", "\"none.bin\" },", "", 1,
            "fwm: error: an image file does not exist: r.json:7:54: ./none.bin\n"
            "  Correct \"file\" or \"fw_file\"; relative paths start at the request's folder.\n");
        row("image not an object", Form::Short, "\"images\": [", "\"images\": [ 7,", "", 1,
            QByteArray(
                "fwm: error: images[0] is 7; it must be an object: r.json:5:15 [request-value]\n") +
                notAllowed);
    }

    /** Nothing is written unless forced, and then the same is said as warnings. */
    void build()
    {
        QFETCH(QByteArray, request);
        QFETCH(QString, setup);
        QFETCH(int, status);
        QFETCH(QByteArray, errors);
        const Fwm fwm;
        QByteArray image;
        for (int i = 0; i < 400; ++i)
            image += char(i % 200);
        fwm.write("main.bin", image);
        fwm.write("r.json", request);
        if (!setup.isEmpty() && fwm.shell(setup).status != 0)
            QSKIP("The image cannot be made here");

        const QStringList before = fwm.names();
        const Ran built = fwm.run({"build", "r.json", "-o", "FW.fwm"});
        QCOMPARE(QString::fromUtf8(built.err), QString::fromUtf8(errors));
        QCOMPARE(built.status, status);
        QCOMPARE(fwm.names() != before, status == 0);

        const Ran forced = fwm.run({"build", "r.json", "-o", "forced.fwm", "--force"});
        const bool isForceable = status == 0 || status == 7;
        QCOMPARE(forced.status, isForceable ? 0 : status);
        QCOMPARE(QFile::exists(fwm.path("forced.fwm")), isForceable);
        if (!isForceable)
            return;
        QCOMPARE(listed(forced.err), listed(errors));
        QVERIFY(!forced.err.contains("error:"));
        // What is refused without force is at least what is wrong with the package.
        QVERIFY(fwm.run({"verify", "forced.fwm"}).status == 0 || status == 7);
    }

    void warnsInJson()
    {
        const Fwm fwm;
        fwm.write("main.bin", QByteArray(300, '\0'));
        fwm.write("r.json", QByteArray(shortRequest).replace("FPGA", "MA,IN"));
        const QJsonObject refused = fwm.run({"build", "r.json", "-o", "FW.fwm", "--json"}).json();
        const auto ids = [](const QJsonValue &list) {
            QStringList all;
            for (const QJsonValue &one : list.toArray())
                all.append(one.toObject().value("id").toString() + ' ' +
                           one.toObject().value("detail").toString());
            return all;
        };
        QCOMPARE(refused.value("error").toObject().value("id").toString(),
                 QStringLiteral("request-findings"));
        QCOMPARE(ids(refused.value("errors")), QStringList("name-unsendable r.json:8:15"));
        QCOMPARE(ids(refused.value("warnings")),
                 QStringList({"image-blank r.json:7:54", "image-blank r.json:8:71"}));
        const QJsonObject forced =
            fwm.run({"build", "r.json", "-o", "FW.fwm", "--json", "--force"}).json();
        QCOMPARE(forced.value("exit").toInt(), 0);
        QVERIFY(!forced.contains("errors"));
        QCOMPARE(ids(forced.value("warnings")).size(), 3);
    }
};

AGENT_TEST(TestMistakes)

} // namespace tst_mistakes

#include "tst_mistakes.moc"
