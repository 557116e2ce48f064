// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

#include <QJsonArray>

namespace tst_reading {

namespace {

const QByteArray evilRequest =
    R"({"model":"M","version":"1","chips":[{"name":"F","chip_type":"18","chip_quanity":"1",)"
    R"("mcus":[{"mcu_type":"0","pcbs":[{"name":"../../evil\u001b[2J \u00c4","pcb_version":"0",)"
    R"("speciality":"","ver1":"1","ver2":"0","ver3":"0","fw_file":"f","in_chip_type":"17",)"
    R"("in_chip_quanity":"1","in_speciality":"0","in_ver1":"1"}]}]}]})";

} // namespace

class TestReading : public QObject, private Fwm
{
    Q_OBJECT

private slots:
    void init() { renew(); }

    void goldenPackages_data()
    {
        const tests::DataTable<int, int, QString> table("info", "list", "findings");
        // This one has a finding for each of its many mistakes, which the schema's own test looks
        // at.
        QStringList seen{QStringLiteral("json-wrong-types.fwm")};
        const auto row = [&](const char *name, int info, int list, const char *findings) {
            table(name, info, list, findings);
            seen.append(name + QStringLiteral(".fwm"));
        };
        row("good", 0, 0, "");
        row("good-checksum-of-seven-digits", 0, 0, "");
        row("good-no-images", 0, 0, "no-images@15");
        row("good-numbers-above-255", 0, 0,
            "description-schema@15 description-schema@15 description-schema@15 "
            "description-schema@15 "
            "description-schema@15 description-schema@15");
        row("empty", 7, 7, "not-a-package@8");
        row("checksum-text-only", 7, 7, "not-a-package@8");
        row("one-byte-after-the-checksum", 7, 7, "not-a-package@8");
        row("no-magic", 7, 7, "not-a-package@8");
        row("head-cut-in-version", 7, 7, "bad-head@11");
        row("head-cut-in-json-length", 7, 7, "bad-head@11");
        row("version-0", 7, 7, "bad-head@11");
        row("version-1", 7, 7, "bad-head@11");
        row("version-2", 0, 0, "old-version@11");
        row("version-2-claims-4-gib-of-json", 7, 7,
            "old-version@11 description-cut@17 description-not-json@17");
        row("version-3", 0, 0, "old-version@11");
        row("version-5", 0, 0, "old-version@11");
        row("version-7", 7, 7, "bad-head@11");
        row("version-bytes-swapped", 7, 7, "bad-head@11");
        row("bare", 7, 0, "no-checksum@0 record-missing@9");
        row("bare-cut-in-head", 7, 7, "bad-head@11");
        row("bare-claims-4-gib-of-json", 7, 7,
            "no-checksum@0 description-cut@9 description-not-json@9");
        row("checksum-in-uppercase", 7, 7, "checksum-in-uppercase@0");
        row("checksum-wrong", 7, 7, "checksum-wrong@0");
        row("checksum-padded-with-zero", 7, 7, "checksum-wrong@0");
        row("json-longer-than-file", 7, 0, "description-cut@15 record-missing@15");
        row("json-not-json", 7, 7, "description-not-json@15");
        row("json-lists-under-one-key-twice", 7, 7, "description-not-json@15");
        row("json-a-list", 7, 7, "description-not-an-object@15");
        row("json-empty", 7, 7, "description-not-json@15");
        row("json-chips-an-object", 7, 7, "chips-not-a-list@15");
        row("json-chips-missing", 7, 7, "chips-not-a-list@15");
        row("json-nested-too-deep", 7, 7, "description-not-json@15");
        row("record-header-cut", 7, 0, "record-header-cut@521");
        row("record-cut", 7, 0, "record-missing@15 record-cut@233");
        row("record-claims-4-gib", 7, 0, "record-missing@15 record-cut@233");
        row("record-of-length-0", 0, 0, "record-empty@233");
        row("record-twice", 0, 0, "entry-duplicate@15 record-duplicate@607");
        row("record-missing", 0, 0, "record-missing@15");
        row("record-of-other-version", 0, 0, "record-differs@233");
        row("entry-missing", 0, 0, "entry-missing@521");
        row("net-md5-in-uppercase", 0, 0, "net-md5-in-uppercase@708");
        row("net-md5-wrong", 0, 0, "net-md5-wrong@708");
        row("net-shorter-than-its-head", 0, 0, "net-cut@703");
        row("net-without-archive", 0, 0, "net-archive@765");
        seen.sort();
        QCOMPARE(QDir(QStringLiteral(GOLDEN_DIR)).entryList({"*.fwm"}, QDir::Files, QDir::Name),
                 seen);
    }

    void goldenPackages()
    {
        const QString package = QStringLiteral(" {%1}").arg(QTest::currentDataTag());
        QTEST(run("info" + package).status, "info");
        QTEST(run("list" + package).status, "list");

        const Ran verified = run("verify --json" + package);
        QStringList findings;
        bool hasError = false;
        for (const QJsonValue &finding : verified.at("findings").toArray()) {
            findings.append(QStringLiteral("%1@%2")
                                .arg(finding["id"].toString())
                                .arg(finding["offset"].toInt()));
            hasError = hasError || finding["severity"].toString() == "error";
        }
        QTEST(findings.join(' '), "findings");
        QCOMPARE(verified.status, hasError ? 7 : 0);
        QCOMPARE(verified.at("exit").toInt(), verified.status);
        QCOMPARE(verified.err, QByteArray());
    }

    void infoForPeople()
    {
        QVERIFY(QFile::copy(goldenPath("good"), path("good.fwm")));
        const Ran info = run("info good.fwm");
        QCOMPARE(info.status, 0);
        QCOMPARE(info.err, QByteArray());
        const QByteArray expected =
            "Package   good.fwm\n"
            "Size      1236 bytes\n"
            "Form      current, version 6\n"
            "Checksum  e4bb7d1 stored, e4bb7d1 computed: ok\n"
            "Model     MX-88\n"
            "Release   1.0.12\n"
            "Images    3\n"
            "\n"
            "#  Name    Chip  Qty  MCU  PCB  Speciality  Version  Offset      Size  SHA-256\n"
            "1  MAIN-A  0     1    1    1    A           1.2.3    0x00000249  276   "
            "8a020ef7fa00d6cce48e939a363569d74d13632f0e1b1ca094cea273daa6cbe8\n"
            "2  FPGA    17    1    0    0                2.0.0    0x00000369  263   "
            "30bb7d3a79af1c7fe89965216e103d876325cacef99dcb242a3e872dcdc1224b\n"
            "3  NET     32    1    0    0                1.23.0   0x0000047c  88    "
            "251615162ef2801cbba5890beb7eb11cdbeb0b8780963e6c5922539612706c3d\n"
            "\n"
            "Network module image 3: version 1.23, MD5 be485435a5c329cc41b4dd7303b531fe: ok\n";
        QCOMPARE(info.out, expected);

        const Ran damaged = run("info {checksum-wrong}");
        QCOMPARE(damaged.status, 7);
        QVERIFY(damaged.out.contains("42906c2d stored, 35975cbb computed: WRONG"));
        QVERIFY(damaged.out.contains("MAIN-A"));
        QVERIFY(damaged.err.contains("the checksum does not match"));
    }

    void infoOfAnotherFile()
    {
        // An image of the network module begins with a version and a NUL byte.
        for (const char *text : {"some notes, and no signature", "1.23 and no NUL byte follows"}) {
            write("notes", text);
            const Ran shown = run("info notes");
            QCOMPARE(shown.status, 7);
            QCOMPARE(shown.out, QByteArray("File  notes\n"
                                           "Size  28 bytes\n"
                                           "Form  not a package\n"));
        }
    }

    /** The same findings as in a package, with offsets of the file itself. */
    void netImages()
    {
        write("root/etc/name", "module\n");
        QCOMPARE(run("make-net root --net-version 1.23 -o net.bin").status, 0);
        const QByteArray net = read("net.bin");
        const QByteArray md5 = net.mid(5, 32);
        const Ran info = run("info net.bin");
        QCOMPARE(info.err, QByteArray());
        QCOMPARE(QString(info.out),
                 QString("Image    net.bin\n"
                         "Size     %1 bytes\n"
                         "Form     network module image\n"
                         "Version  1.23\n"
                         "MD5      %2 stored, %2 computed: ok\n"
                         "SHA-256  %3\n")
                     .arg(net.size())
                     .arg(QString(md5), QString(shell("sha256sum net.bin").out.left(64))));
        QCOMPARE(info.status, 0);
        QCOMPARE(run("verify net.bin").out,
                 "net.bin: good, network module image, version 1.23, MD5 " + md5 + "\n");

        write("bad.bin", net + "x");
        const QByteArray computed = shell("tail -c +63 bad.bin | md5sum").out.left(32);
        const Ran bad = run("verify bad.bin");
        QCOMPARE(bad.status, 7);
        QCOMPARE(bad.out, "bad.bin:0x00000005: error: the MD5 is " + md5 + " and should be " +
                              computed + " [net-md5-wrong]\n");
        const Ran damaged = run("info bad.bin");
        QVERIFY(damaged.out.contains("computed: wrong\n"));
        QVERIFY(damaged.err.startsWith("fwm: error: the digest of the network module's image is "
                                       "wrong: bad.bin\n"));
        QCOMPARE(damaged.status, 7);

        write("cut.bin", net.left(40));
        QCOMPARE(run("verify cut.bin").out,
                 QByteArray("cut.bin:0x00000000: error: the network module image is shorter than "
                            "its head of 62 bytes [net-cut]\n"));
        // Such an image is not a package: other commands refuse it.
        QCOMPARE(run("list net.bin").status, 7);
        QCOMPARE(run("extract net.bin -o out").status, 7);
    }

    void infoForScripts()
    {
        const Ran info = run("info {good} --json");
        QCOMPARE(info.at("form").toString(), QString("current"));
        QCOMPARE(info.at("package_version").toInt(), 6);
        QCOMPARE(info.at("checksum.matches").toBool(), true);
        QCOMPARE(info.at("result").toString(), QString("done"));
        QCOMPARE(info.at("images").toArray().size(), 3);
        for (const QJsonValue &image : info.at("images").toArray()) {
            // What sha256sum says of the same bytes.
            write(
                "image",
                fileBytes(goldenPath("good")).mid(image["offset"].toInt(), image["size"].toInt()));
            QCOMPARE(image["sha256"].toString().toLatin1(), shell("sha256sum image").out.left(64));
        }
        QCOMPARE(info.at("images.2.net.verdict").toString(), QString("ok"));
        QCOMPARE(info.at("images.2.net.version").toString(), QString("1.23"));
        const Ran upper = run("info {net-md5-in-uppercase} --json");
        QCOMPARE(upper.at("images.1.net.verdict").toString(), QString("uppercase"));
    }

    void listsLikeADevice()
    {
        QCOMPARE(run("list {good}").out, QByteArray("MAIN-A,0,1,1,1,65,1,2,3\n"
                                                    "FPGA,17,1,0,0,0,2,0,0\n"
                                                    "NET,32,1,0,0,0,1,23,0\n"));
        QCOMPARE(run("list {bare}").out, QByteArray("MAIN-A,0,1,1,1,65,1,2,3\n"));
        const Ran list = run("list {good} --json");
        QCOMPARE(list.at("list").toArray().size(), 3);
        QCOMPARE(list.at("list.1.entry").toString(), QString("FPGA,17,1,0,0,0,2,0,0"));
        QCOMPARE(list.at("list.1.chip_type").toInt(), 17);
    }

    void findingsHaveLines()
    {
        QVERIFY(QFile::copy(goldenPath("net-md5-wrong"), path("a.fwm")));
        const Ran verified = run("verify a.fwm");
        QCOMPARE(verified.status, 7);
        QCOMPARE(
            verified.out,
            QByteArray("a.fwm:0x000002c4: error: the MD5 is 00000000000000000000000000000000 and "
                       "should be be485435a5c329cc41b4dd7303b531fe [net-md5-wrong]\n"));
        QVERIFY(QFile::copy(goldenPath("good"), path("b.fwm")));
        QCOMPARE(run("verify b.fwm").out, QByteArray("b.fwm: good, 3 images, checksum e4bb7d1\n"));
        QCOMPARE(run("verify {json-wrong-types}").status, 7);
    }

    void extractsEverything()
    {
        const QByteArray package = fileBytes(goldenPath("good"));
        QCOMPARE(run("extract {good} -o out").status, 0);
        QCOMPARE(names(), QStringList("out"));
        QCOMPARE(QDir(path("out")).entryList(QDir::Files, QDir::Name),
                 QStringList({"01-MAIN-A.bin", "02-FPGA.bin", "03-NET.bin", "description.json",
                              "request.json"}));
        QCOMPARE(read("out/01-MAIN-A.bin"), package.mid(0x249, 276));
        QCOMPARE(read("out/02-FPGA.bin"), package.mid(0x369, 263));
        QCOMPARE(read("out/03-NET.bin"), package.mid(0x47c, 88));
        QCOMPARE(read("out/description.json"), package.mid(15, 0x249 - 12 - 15));
        // Such a folder is like any other one.
        shell("mkdir like");
        QCOMPARE(QFile::permissions(path("out")), QFile::permissions(path("like")));

        QCOMPARE(run("build out/request.json -o again.fwm").status, 0);
        QCOMPARE(run("list again.fwm").out, run("list {good}").out);
        QCOMPARE(run("verify again.fwm").status, 0);
        QCOMPARE(run("extract again.fwm -o again").status, 0);
        QCOMPARE(shell("diff -r -x description.json out again").status, 0);
    }

    void extractNamesAreSafe()
    {
        write("r.json", evilRequest);
        write("f", "image");
        QCOMPARE(run("build r.json -o a.fwm --force").status, 0);
        QCOMPARE(run("extract a.fwm -o out").status, 0);
        QCOMPARE(read("out/01-.._.._evil_2J_.bin"), QByteArray("image"));
        for (const char *command : {"info", "list", "verify"})
            QVERIFY(!run(command + QString(" a.fwm")).out.contains('\x1b'));
        // A request with foreign letters comes out in ASCII and can be built.
        QCOMPARE(run("build out/request.json -o b.fwm --force").status, 0);
        QCOMPARE(run("list b.fwm").out, run("list a.fwm").out);
    }

    void extractLeavesNothingHalf()
    {
        QCOMPARE(run("extract {checksum-wrong} -o out").status, 7);
        QCOMPARE(run("extract {record-cut} -o out").status, 7);
        QCOMPARE(run("extract {good} -o no/such/out").status, 1);
#if !defined(__SANITIZE_THREAD__) // which needs a file to start
        // Not a single byte fits.
        const Ran full =
            shell("ulimit -f 0; exec " FWM_PROGRAM " extract " GOLDEN_DIR "/good.fwm -o out");
        QCOMPARE(full.status, 1);
        QVERIFY(full.err.contains("the output cannot be written: "));
#endif
        QCOMPARE(names(), QStringList());
    }

    void extractTakesAnEmptyFolder()
    {
        shell("mkdir out; echo mine > file; mkdir full; echo mine > full/file");
        QCOMPARE(run("extract {good} -o out/").status, 0);
        QVERIFY(QFile::exists(path("out/02-FPGA.bin")));

        QCOMPARE(run("extract {good} -o full --json").problem(), QString("1 folder-not-empty"));
        QCOMPARE(read("full/file"), QByteArray("mine\n"));
        const Ran file = run("extract {good} -o file --json");
        QCOMPARE(file.problem(), QString("1 cannot-write"));
        QCOMPARE(file.at("error.detail").toString(), QString("file: Not a folder"));
        QCOMPARE(read("file"), QByteArray("mine\n"));
    }

    void comparesPackages()
    {
        const Ran same = run("diff {good} {good}");
        QCOMPARE(same.status, 3);
        QCOMPARE(same.out, QByteArray());

        run("extract {good} -o out");
        write("out/02-FPGA.bin", "another image");
        shell("sed -i 's/\"in_ver1\":\"2\"/\"in_ver1\":\"3\"/; s/1\\.0\\.12/1.0.13/' "
              "out/request.json");
        QCOMPARE(run("build out/request.json -o b.fwm --force").status, 0);
        const Ran changed = run("diff {good} b.fwm");
        QCOMPARE(changed.status, 0);
        QCOMPARE(changed.out, QByteArray("release: 1.0.12 -> 1.0.13\n"
                                         "! FPGA (chip type 17): version 2.0.0 -> 3.0.0, "
                                         "size 263 -> 13, other bytes\n"));

        QCOMPARE(run("diff {good} {version-3}").out,
                 QByteArray("package version: 6 -> 3\n"
                            "- FPGA (chip type 17), version 2.0.0\n"
                            "- NET (chip type 32), version 1.23.0\n"));
        const Ran added = run("diff --json {version-3} {good}");
        QCOMPARE(added.at("differences.images").toArray().size(), 2);
        QCOMPARE(added.at("differences.images.0.only_in").toString(), QString("b"));

        // Blanks between the members change the text and nothing else.
        run("extract b.fwm -o b");
        shell("python3 -m json.tool b/request.json > b/spaced.json");
        QCOMPARE(run("build b/request.json -o c.fwm --force").status, 0);
        QCOMPARE(run("build b/spaced.json -o d.fwm --force").status, 0);
        QCOMPARE(run("diff c.fwm d.fwm").out,
                 QByteArray("description: the text of A -> the text of B\n"));
        QCOMPARE(run("diff {good} {checksum-wrong}").status, 7);
        QCOMPARE(run("diff {good} missing").status, 1);
    }
};

AGENT_TEST(TestReading)

} // namespace tst_reading

#include "tst_reading.moc"
