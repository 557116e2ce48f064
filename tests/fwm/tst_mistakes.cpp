// SPDX-License-Identifier: Apache-2.0
// The mistakes of release engineers, with everything that fwm says about each.
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

#include <QJsonArray>

namespace tst_mistakes {

namespace {

const QByteArray onePcb = R"(        { "name": "MAIN-A", "pcb_version": "1", "speciality": "A",
          "ver1": "1", "ver2": "2", "ver3": "3", "fw_file": "main.bin",
          "in_chip_type": "0", "in_chip_quanity": "1", "in_mcu_type": "1",
          "in_pcb_version": "1", "in_speciality": "65",
          "in_ver1": "1", "in_ver2": "2", "in_ver3": "3" })";

const QByteArray longRequest = R"({
  "model": "HX-8",
  "version": "1.0.0",
  "chips": [
    { "name": "MAIN", "chip_type": "1", "chip_quanity": "1", "mcus": [
      { "mcu_type": "1", "pcbs": [
)" + onePcb + R"( ] } ] }
  ]
}
)";

const QByteArray shortRequest = R"(// A short request.
{
  "model": "HX-8",
  "release": "1.0.0",
  "images": [
    { "name": "MAIN", "chip": "main", "mcu_type": 1, "pcb_version": 1,
      "speciality": "A", "version": "1.2.3", "file": "main.bin" },
    { "name": "FPGA", "chip": "fpga 17", "version": "2.0.0", "file": "main.bin" }
  ]
}
)";

/** The exit status and the lines on standard error. */
struct Said
{
    int status;
    QByteArray lines;
};

QByteArray errors(const QByteArrayList &lines)
{
    return "fwm: error: " + lines.join("\nfwm: error: ") + "\n";
}

Said nothing()
{
    return {0, ""};
}

Said warning(const QByteArray &line)
{
    return {0, "fwm: warning: " + line + "\n"};
}

Said notJson(const QByteArray &detail)
{
    return {1,
            errors({"the request is not the JSON that a package needs: " + detail}) +
                "  'fwm new' writes a request that works; fwm-format.md describes both forms.\n"};
}

Said notAscii(const QByteArray &place)
{
    return {1, errors({"the request has characters beyond ASCII, which would make the package "
                       "unreadable: " +
                       place}) +
                   "  Write them in ASCII, as \\u escapes, or use a short request in UTF-8.\n"};
}

/** Of values that no package can have. */
Said notAllowed(const QByteArrayList &lines)
{
    return {1, errors(lines) +
                   errors({"the request has a value that is not allowed in a package: r.json"}) +
                   "  Correct what is listed; --force does not help here. fwm-format.md has the "
                   "values that are allowed.\n"};
}

/** Of findings in the package that the request gives. */
Said refused(const QByteArrayList &lines)
{
    return {7, errors(lines) +
                   errors({"the request gives a package with errors, and nothing was written: "
                           "r.json"}) +
                   "  Correct what is listed, or write the package in spite of it with --force.\n"};
}

Said badFile(const QByteArray &line, const QByteArray &advice)
{
    return {1, errors({line}) + "  " + advice + "\n"};
}

const QByteArray missingFile =
    "Correct \"file\" or \"fw_file\"; relative paths start at the request's folder.";
const QByteArray notAFile = "Check that it is an ordinary file and that you may read it.";

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
    void build_data();

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
        const Ran built = fwm.run("build r.json -o FW.fwm");
        QCOMPARE(QString::fromUtf8(built.err), QString::fromUtf8(errors));
        QCOMPARE(built.status, status);
        QCOMPARE(fwm.names() != before, status == 0);

        const Ran forced = fwm.run("build r.json -o forced.fwm --force");
        const bool isForceable = status == 0 || status == 7;
        QCOMPARE(forced.status, isForceable ? 0 : status);
        QCOMPARE(QFile::exists(fwm.path("forced.fwm")), isForceable);
        if (!isForceable)
            return;
        QCOMPARE(listed(forced.err), listed(errors));
        QVERIFY(!forced.err.contains("error:"));
        // What is refused without force is at least what is wrong with the package.
        QVERIFY(fwm.run("verify forced.fwm").status == 0 || status == 7);
    }

    void warnsInJson()
    {
        const Fwm fwm;
        fwm.write("main.bin", QByteArray(300, '\0'));
        fwm.write("r.json", QByteArray(shortRequest).replace("FPGA", "MA,IN"));
        const Ran refused = fwm.run("build r.json -o FW.fwm --json");
        const auto ids = [](const QJsonValue &list) {
            QStringList all;
            for (const QJsonValue &one : list.toArray())
                all.append(one["id"].toString() + ' ' + one["detail"].toString());
            return all;
        };
        QCOMPARE(refused.problem(), QString("7 request-findings"));
        QCOMPARE(ids(refused.at("errors")), QStringList("name-unsendable r.json:8:15"));
        QCOMPARE(ids(refused.at("warnings")),
                 QStringList({"image-blank r.json:7:54", "image-blank r.json:8:71"}));
        const Ran forced = fwm.run("build r.json -o FW.fwm --json --force");
        QCOMPARE(forced.problem(), QString("0 "));
        QVERIFY(!forced.json().contains("errors"));
        QCOMPARE(ids(forced.at("warnings")).size(), 3);
    }
};

void TestMistakes::build_data()
{
    const tests::DataTable<QByteArray, QString, int, QByteArray> table("request", "setup", "status",
                                                                       "errors");
    // In the request, `what` becomes `into`.
    const auto row = [&](const char *name, QByteArray request, const QByteArray &what,
                         const QByteArray &into, const Said &said) {
        const int at = request.indexOf(what);
        QVERIFY2(at >= 0, name);
        table(name, request.replace(at, what.size(), into), "", said.status, said.lines);
    };
    const auto inLong = [&](const char *name, const QByteArray &what, const QByteArray &into,
                            const Said &said) { row(name, longRequest, what, into, said); };
    const auto inShort = [&](const char *name, const QByteArray &what, const QByteArray &into,
                             const Said &said) { row(name, shortRequest, what, into, said); };
    const auto whole = [&](const char *name, const QByteArray &request, const Said &said) {
        table(name, request, "", said.status, said.lines);
    };
    const auto image = [&](const char *name, const char *setup, const Said &said) {
        table(name, longRequest, setup, said.status, said.lines);
    };

    whole("good long", longRequest, nothing());
    whole("good short", shortRequest, nothing());
    inShort("byte order mark and CR LF", "// A short request.\n",
            "\xef\xbb\xbf// A short request.\r\n", nothing());
    whole("byte order mark in a long request", "\xef\xbb\xbf" + longRequest,
          notAscii("r.json:1:1"));
    inLong("two commas", R"("HX-8",)", R"("HX-8",,)",
           notJson("r.json:2:19: unexpected ','; expected string literal"));
    whole("empty", "",
          notJson("r.json:1:1: unexpected end of input; expected '[', '{', or a literal"));
    inLong("neither form", R"("chips")", R"("chip")",
           notJson("r.json:1:1: neither \"images\", as a short request has, nor \"chips\", as a "
                   "long one has"));
    inShort("both forms", R"("model": "HX-8")", R"("chips": [])",
            notJson("r.json:2:1: \"chips\" of a long request and \"images\" of a short one exclude "
                    "each other"));
    whole("list is an object", R"({"chips": {}})", notJson("r.json:1:11: \"chips\" is not a list"));
    inLong("a comment in a long request", R"("version")", "// release\n  \"version\"",
           notJson("r.json:3:3: a comment, which only a short request may have"));
    inLong("not ASCII", "HX-8", "H\303\204-8", notAscii("r.json:2:14"));
    inShort("not UTF-8", "HX-8", "H\304-8", notAscii("r.json:3:14"));
    inLong("a key twice", R"("ver2": "2")", R"("ver2": "2", "ver1": "2")",
           notAllowed({R"(the key "ver1" is given twice: r.json:8:45 [request-value])"}));
    inLong("version is a number", R"("version": "1.0.0")", R"("version": 1.0)",
           refused({"version is 1; it must be a string: r.json:3:14 [description-schema]"}));
    inLong("ver3 missing", R"(, "ver3": "3")", "",
           notAllowed({"chips[0].mcus[0].pcbs[0].ver3 is missing; it must be a decimal number from "
                       "\"0\" to \"255\", as a string: r.json:7:9 [request-value]"}));
    inLong("chip_type 0", R"("chip_type": "1")", R"("chip_type": "0")",
           notAllowed({"chips[0].chip_type is \"0\"; it must be a decimal number from \"1\" to "
                       "\"255\", as a string: r.json:5:36 [request-value]"}));
    inLong("chip_type equals in_chip_type", R"("in_chip_type": "0")", R"("in_chip_type": "1")",
           refused({"\"in_chip_type\" and \"chip_type\" are both \"1\"; \"chip_type\" counts from "
                    "1 and must be \"in_chip_type\" plus one: r.json:9:27 [record-differs]"}));
    inLong("chip_type far off", R"("chip_type": "1")", R"("chip_type": "5")",
           refused({"\"in_chip_type\" is \"0\", but \"chip_type\" is \"5\"; \"chip_type\" counts "
                    "from 1 and must be \"in_chip_type\" plus one: r.json:9:27 "
                    "[record-differs]"}));
    inLong("quantity 0", R"("in_chip_quanity": "1")", R"("in_chip_quanity": "0")",
           notAllowed({"chips[0].mcus[0].pcbs[0].in_chip_quanity is \"0\"; it must be a decimal "
                       "number from \"1\" to \"255\", as a string: r.json:9:51 "
                       "[request-value]"}));
    inLong("quantity differs", R"("chip_quanity": "1")", R"("chip_quanity": "2")",
           refused({"\"in_chip_quanity\" is \"1\", but \"chip_quanity\" is \"2\"; both must be the "
                    "same: r.json:9:51 [record-differs]"}));
    inLong("in_mcu_type missing", R"(, "in_mcu_type": "1")", "",
           notAllowed({"chips[0].mcus[0].pcbs[0].in_mcu_type is missing; it must be a decimal "
                       "number from \"1\" to \"255\", as a string: r.json:7:9 [request-value]"}));
    inLong("in_pcb_version is a number", R"("in_pcb_version": "1")", R"("in_pcb_version": 1)",
           notAllowed({"chips[0].mcus[0].pcbs[0].in_pcb_version is 1; it must be a decimal number "
                       "from \"1\" to \"255\", as a string: r.json:10:29 [request-value]"}));
    inLong("pcb_version 256", R"("pcb_version": "1")", R"("pcb_version": "256")",
           refused({"chips[0].mcus[0].pcbs[0].pcb_version is \"256\"; it must be a decimal number "
                    "from \"1\" to \"255\", as a string: r.json:7:44 [description-schema]"}));
    inLong("speciality in lower case", R"("65")", R"("a")",
           notAllowed({"chips[0].mcus[0].pcbs[0].in_speciality is \"a\"; it must be one letter "
                       "from \"A\" to \"Z\", or its code from \"65\" to \"90\": r.json:10:51 "
                       "[request-value]"}));
    inLong("version differs", R"("in_ver1": "1")", R"("in_ver1": "9")",
           refused({"\"in_ver1\" is \"9\", but \"ver1\" is \"1\"; both must be the same: "
                    "r.json:11:22 [record-differs]"}));
    inLong("version beyond a byte", R"("in_ver1": "1")", R"("in_ver1": "257")",
           refused({"chips[0].mcus[0].pcbs[0].in_ver1 is \"257\"; it must be a decimal number from "
                    "\"0\" to \"255\", as a string: r.json:11:22 [description-schema]"}));
    inLong("key misspelt", R"("chip_quanity")", R"("chip_quantity")",
           refused({"chips[0].chip_quanity is missing; it must be a decimal number from \"1\" to "
                    "\"255\", as a string: r.json:5:5 [description-schema]",
                    "\"chip_quantity\" is not a key of a chip; did you mean \"chip_quanity\"?: "
                    "r.json:5:58 [key-misspelt]"}));
    inLong("key of the author", R"("model")", R"("author": "me", "model")",
           warning("\"author\" is not a key of a request, and is ignored: r.json:2:13 "
                   "[key-unknown]"));
    inLong("name with a comma", R"("MAIN-A")", R"("MAIN,A")",
           refused({"chips[0].mcus[0].pcbs[0].name is \"MAIN,A\"; a request cannot have \",\" in a "
                    "name: r.json:7:19 [name-unsendable]"}));
    inLong("two images for one chip", onePcb, onePcb + ",\n" + onePcb,
           refused({"chips[0].mcus[0].pcbs[1] describes the same chip as "
                    "chips[0].mcus[0].pcbs[0]: r.json:12:9 [entry-duplicate]"}));
    inLong("two missing files", onePcb,
           QByteArray(onePcb).replace("main.bin", "none.bin") + ",\n" +
               QByteArray(onePcb).replace("main.bin", "neither.bin"),
           badFile("an image file does not exist: r.json:8:61: ./none.bin", missingFile));
    inLong("file name empty", R"("main.bin")", R"("")",
           badFile("an image file does not exist: r.json:8:61: no name", missingFile));
    inLong("file is a folder", R"("main.bin")", R"(".")",
           badFile("an image file cannot be opened: r.json:8:61: ./.: Not an ordinary file",
                   notAFile));
    image("file is a FIFO", "rm main.bin; mkfifo main.bin",
          badFile("an image file cannot be opened: r.json:8:61: ./main.bin: Not an ordinary file",
                  notAFile));
    image("image of 255 bytes", "head -c 255 main.bin > x; mv x main.bin",
          refused({"the image has 255 bytes; no chip takes fewer than 256 bytes as complete: "
                   "r.json:8:61 [image-short]"}));
    image("empty image", ": > main.bin",
          refused({"the image has no bytes: r.json:8:61 [record-empty]"}));
    image("ELF", "printf '\\177ELF' | dd of=main.bin conv=notrunc status=none",
          refused({"the image is an ELF file, not the bytes for a flash: r.json:8:61 "
                   "[image-not-binary]"}));
    image("zeros", "head -c 300 /dev/zero > main.bin",
          warning("every byte of the image is 0x00: r.json:8:61 [image-blank]"));
    image("HEX with a gap", "objcopy -I binary -O ihex main.bin x; sed 4d x > main.bin",
          refused({"main.bin leaves 16 bytes open, the first at address 0x00000030; --fill-gaps "
                   "fills them with 0xFF: r.json:8:61 [image-gaps]"}));
    image("HEX that is cut", "objcopy -I binary -O ihex main.bin x; head -3 x > main.bin",
          badFile("an Intel HEX or S-record file is not valid: r.json:8:61: ./main.bin: Intel HEX, "
                  "line 3: the end record is missing; the file is cut short",
                  "Have it written again by the linker; it was cut short or changed."));
    image("HEX over two regions",
          "printf ':0100000041BE\\n:020000041FFFDC\\n:0100000041BE\\n:00000001FF\\n' > main.bin",
          badFile("an Intel HEX or S-record file is not valid: r.json:8:61: ./main.bin: Intel HEX, "
                  "its data spans 536805377 bytes from its first address to its last one; an image "
                  "has 268435456 at most",
                  "Leave out what is not part of this flash, such as option bytes."));
    inShort("file misspelt", R"("file": "main.bin" },)", R"("filee": "main.bin" },)",
            notAllowed({"images[0].file is missing; it must be a string that is not empty: "
                        "r.json:6:5 [request-value]",
                        "\"filee\" is not a key of an image; did you mean \"file\"?: r.json:7:55 "
                        "[key-misspelt]"}));
    inShort("several", R"("mcu_type": 1, "pcb_version": 1)", R"("mcu_type": 0, "pcb_version": "x")",
            notAllowed({"images[0].mcu_type is 0; it must be a number from 1 to 255: r.json:6:51 "
                        "[request-value]",
                        "images[0].pcb_version is \"x\"; it must be a number from 1 to 255: "
                        "r.json:6:69 [request-value]"}));
    inShort("two images for one chip", R"("chip": "fpga 17")",
            R"("chip": "main", "mcu_type": 1, "pcb_version": 1, "speciality": "A")",
            refused({"images[1] describes the same chip as images[0]: r.json:8:5 "
                     "[entry-duplicate]"}));
    inShort("name of two chips", R"("FPGA")", R"("MAIN")",
            warning("images[1].name is \"MAIN\", the name of another chip at images[0].name: "
                    "r.json:8:15 [name-shared]"));
    whole("no images", R"({"model": "M", "release": "1", "images": []})",
          warning("the description has no image: r.json:1:42 [no-images]"));
    inShort("image not an object", R"("images": [)", R"("images": [ 7,)",
            notAllowed({"images[0] is 7; it must be an object: r.json:5:15 [request-value]"}));
}

AGENT_TEST(TestMistakes)

} // namespace tst_mistakes

#include "tst_mistakes.moc"
