// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

#include <QJsonArray>

namespace tst_reading {

class TestReading : public QObject
{
    Q_OBJECT

private slots:
    void init() { m_fwm.reset(new Fwm); }
    void goldenPackages_data();
    void goldenPackages();
    void everyGoldenPackageHasARow();
    void infoForPeople();
    void infoOfAnotherFile();
    void netImages();
    void infoForScripts();
    void listsLikeADevice();
    void findingsHaveLines();
    void extractsEverything();
    void extractNamesAreSafe();
    void extractLeavesNothingHalf();
    void extractTakesAnEmptyFolder();
    void extractRefusesAFile();
    void comparesPackages();

private:
    QScopedPointer<Fwm> m_fwm;
};

void TestReading::goldenPackages_data()
{
    QTest::addColumn<int>("info");
    QTest::addColumn<int>("list");
    QTest::addColumn<QString>("findings");

    const auto row = [](const char *name, int info, int list, const char *findings) {
        QTest::newRow(name) << info << list << QString::fromLatin1(findings);
    };
    row("good", 0, 0, "");
    row("good-checksum-of-seven-digits", 0, 0, "");
    row("good-no-images", 0, 0, "no-images@15");
    row("good-numbers-above-255", 0, 0,
        "description-schema@15 description-schema@15 description-schema@15 description-schema@15 "
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
}

void TestReading::goldenPackages()
{
    const QString path = goldenPath(QString::fromLatin1(QTest::currentDataTag()));
    QTEST(m_fwm->run({"info", path}).status, "info");
    QTEST(m_fwm->run({"list", path}).status, "list");

    const Ran verified = m_fwm->run({"verify", "--json", path});
    QStringList findings;
    bool hasError = false;
    const QJsonArray list = verified.json().value("findings").toArray();
    for (const QJsonValue &value : list) {
        const QJsonObject finding = value.toObject();
        findings.append(QStringLiteral("%1@%2")
                            .arg(finding.value("id").toString())
                            .arg(finding.value("offset").toInt()));
        hasError = hasError || finding.value("severity").toString() == "error";
    }
    QTEST(findings.join(' '), "findings");
    QCOMPARE(verified.status, hasError ? 7 : 0);
    QCOMPARE(verified.json().value("exit").toInt(), verified.status);
    QCOMPARE(verified.err, QByteArray());
}

void TestReading::everyGoldenPackageHasARow()
{
    // This one has a finding for each of its many mistakes, which the schema's own test looks at.
    const QSet<QString> elsewhere{QStringLiteral("json-wrong-types")};
    QFile self(QStringLiteral(DOCS_DIR "/../tests/fwm/tst_reading.cpp"));
    QVERIFY(self.open(QIODevice::ReadOnly));
    const QByteArray source = self.readAll();
    const QStringList files = QDir(QStringLiteral(GOLDEN_DIR)).entryList({"*.fwm"});
    QVERIFY(files.size() > 30);
    for (const QString &file : files) {
        const QString name = QString(file).remove(".fwm");
        if (!elsewhere.contains(name))
            QVERIFY2(source.contains("row(\"" + name.toLatin1() + "\""), qPrintable(name));
    }
    QCOMPARE(m_fwm->run({"verify", goldenPath("json-wrong-types")}).status, 7);
}

void TestReading::infoForPeople()
{
    QVERIFY(QFile::copy(goldenPath("good"), m_fwm->path("good.fwm")));
    const Ran info = m_fwm->run({"info", "good.fwm"});
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

    const Ran damaged = m_fwm->run({"info", goldenPath("checksum-wrong")});
    QCOMPARE(damaged.status, 7);
    QVERIFY(damaged.out.contains("42906c2d stored, 35975cbb computed: WRONG"));
    QVERIFY(damaged.out.contains("MAIN-A"));
    QVERIFY(damaged.err.contains("the checksum does not match"));
}

void TestReading::infoOfAnotherFile()
{
    m_fwm->write("notes", "some notes, and no signature");
    const Ran shown = m_fwm->run({"info", "notes"});
    QCOMPARE(shown.status, 7);
    QCOMPARE(shown.out, QByteArray("File  notes\n"
                                   "Size  28 bytes\n"
                                   "Form  not a package\n"));
}

/** The same findings as in a package, with offsets of the file itself. */
void TestReading::netImages()
{
    m_fwm->write("root/etc/name", "module\n");
    QCOMPARE(m_fwm->run({"make-net", "root", "--net-version", "1.23", "-o", "net.bin"}).status, 0);
    const QByteArray net = m_fwm->read("net.bin");
    const QByteArray md5 = net.mid(5, 32);
    const QByteArray sha256 = m_fwm->shell("sha256sum net.bin").out.left(64);
    const QByteArray size = QByteArray::number(net.size());
    const Ran info = m_fwm->run({"info", "net.bin"});
    QCOMPARE(info.err, QByteArray());
    QCOMPARE(info.out, "Image    net.bin\n"
                       "Size     " +
                           size +
                           " bytes\n"
                           "Form     network module image\n"
                           "Version  1.23\n"
                           "MD5      " +
                           md5 + " stored, " + md5 +
                           " computed: ok\n"
                           "SHA-256  " +
                           sha256 + "\n");
    QCOMPARE(info.status, 0);
    QCOMPARE(m_fwm->run({"verify", "net.bin"}).out,
             "net.bin: good, network module image, version 1.23, MD5 " + md5 + "\n");

    m_fwm->write("bad.bin", net + "x");
    const QByteArray computed = m_fwm->shell("tail -c +63 bad.bin | md5sum").out.left(32);
    const Ran bad = m_fwm->run({"verify", "bad.bin"});
    QCOMPARE(bad.status, 7);
    QCOMPARE(bad.out, "bad.bin:0x00000005: error: the MD5 is " + md5 + " and should be " +
                          computed + " [net-md5-wrong]\n");
    const Ran damaged = m_fwm->run({"info", "bad.bin"});
    QCOMPARE(damaged.status, 7);
    QVERIFY(damaged.out.contains("computed: wrong\n"));
    QVERIFY(damaged.err.startsWith("fwm: error: the digest of the network module's image is "
                                   "wrong: bad.bin\n"));

    m_fwm->write("cut.bin", net.left(40));
    QCOMPARE(m_fwm->run({"verify", "cut.bin"}).out,
             QByteArray("cut.bin:0x00000000: error: the network module image is shorter than its "
                        "head of 62 bytes [net-cut]\n"));
    // Such an image is not a package: other commands refuse it.
    QCOMPARE(m_fwm->run({"list", "net.bin"}).status, 7);
    QCOMPARE(m_fwm->run({"extract", "net.bin", "-o", "out"}).status, 7);
}

void TestReading::infoForScripts()
{
    const QByteArray package = fileBytes(goldenPath("good"));
    const Ran info = m_fwm->run({"info", goldenPath("good"), "--json"});
    QCOMPARE(info.status, 0);
    const QJsonObject json = info.json();
    QCOMPARE(json.value("form").toString(), QStringLiteral("current"));
    QCOMPARE(json.value("package_version").toInt(), 6);
    QCOMPARE(json.value("checksum").toObject().value("matches").toBool(), true);
    QCOMPARE(json.value("result").toString(), QStringLiteral("done"));
    const QJsonArray images = json.value("images").toArray();
    QCOMPARE(images.size(), 3);
    for (const QJsonValue &value : images) {
        // What sha256sum says of the same bytes.
        const QJsonObject image = value.toObject();
        const QByteArray bytes =
            package.mid(image.value("offset").toInt(), image.value("size").toInt());
        m_fwm->write("image", bytes);
        QCOMPARE(image.value("sha256").toString().toLatin1(),
                 m_fwm->shell("sha256sum image").out.left(64));
    }
    const QJsonObject net = images.at(2).toObject().value("net").toObject();
    QCOMPARE(net.value("verdict").toString(), QStringLiteral("ok"));
    QCOMPARE(net.value("version").toString(), QStringLiteral("1.23"));
    const Ran upper = m_fwm->run({"info", goldenPath("net-md5-in-uppercase"), "--json"});
    QCOMPARE(upper.json()
                 .value("images")
                 .toArray()
                 .at(1)
                 .toObject()
                 .value("net")
                 .toObject()
                 .value("verdict")
                 .toString(),
             QStringLiteral("uppercase"));
}

void TestReading::listsLikeADevice()
{
    const Ran list = m_fwm->run({"list", goldenPath("good")});
    QCOMPARE(list.out, QByteArray("MAIN-A,0,1,1,1,65,1,2,3\n"
                                  "FPGA,17,1,0,0,0,2,0,0\n"
                                  "NET,32,1,0,0,0,1,23,0\n"));
    QCOMPARE(m_fwm->run({"list", goldenPath("bare")}).out, QByteArray("MAIN-A,0,1,1,1,65,1,2,3\n"));
    const QJsonArray entries =
        m_fwm->run({"list", goldenPath("good"), "--json"}).json().value("list").toArray();
    QCOMPARE(entries.size(), 3);
    QCOMPARE(entries.at(1).toObject().value("entry").toString(),
             QStringLiteral("FPGA,17,1,0,0,0,2,0,0"));
    QCOMPARE(entries.at(1).toObject().value("chip_type").toInt(), 17);
}

void TestReading::findingsHaveLines()
{
    QVERIFY(QFile::copy(goldenPath("net-md5-wrong"), m_fwm->path("a.fwm")));
    const Ran verified = m_fwm->run({"verify", "a.fwm"});
    QCOMPARE(verified.status, 7);
    QCOMPARE(verified.out,
             QByteArray("a.fwm:0x000002c4: error: the MD5 is 00000000000000000000000000000000 and "
                        "should be be485435a5c329cc41b4dd7303b531fe [net-md5-wrong]\n"));
    QVERIFY(QFile::copy(goldenPath("good"), m_fwm->path("b.fwm")));
    QCOMPARE(m_fwm->run({"verify", "b.fwm"}).out,
             QByteArray("b.fwm: good, 3 images, checksum e4bb7d1\n"));
}

void TestReading::extractsEverything()
{
    const QByteArray package = fileBytes(goldenPath("good"));
    QCOMPARE(m_fwm->run({"extract", goldenPath("good"), "-o", "out"}).status, 0);
    QCOMPARE(m_fwm->names(), QStringList("out"));
    QCOMPARE(QDir(m_fwm->path("out")).entryList(QDir::Files, QDir::Name),
             QStringList({"01-MAIN-A.bin", "02-FPGA.bin", "03-NET.bin", "description.json",
                          "request.json"}));
    QCOMPARE(m_fwm->read("out/01-MAIN-A.bin"), package.mid(0x249, 276));
    QCOMPARE(m_fwm->read("out/02-FPGA.bin"), package.mid(0x369, 263));
    QCOMPARE(m_fwm->read("out/03-NET.bin"), package.mid(0x47c, 88));
    QCOMPARE(m_fwm->read("out/description.json"), package.mid(15, 0x249 - 12 - 15));
    // Such a folder is like any other one.
    m_fwm->shell("mkdir like");
    QCOMPARE(QFile::permissions(m_fwm->path("out")), QFile::permissions(m_fwm->path("like")));

    QCOMPARE(m_fwm->run({"build", "out/request.json", "-o", "again.fwm"}).status, 0);
    QCOMPARE(m_fwm->run({"list", "again.fwm"}).out, m_fwm->run({"list", goldenPath("good")}).out);
    QCOMPARE(m_fwm->run({"verify", "again.fwm"}).status, 0);
    QCOMPARE(m_fwm->run({"extract", "again.fwm", "-o", "again"}).status, 0);
    QCOMPARE(m_fwm->shell("diff -r -x description.json out again").status, 0);
}

void TestReading::extractNamesAreSafe()
{
    const QByteArray request =
        R"({"model":"M","version":"1","chips":[{"name":"F","chip_type":"18","chip_quanity":"1",)"
        R"("mcus":[{"mcu_type":"0","pcbs":[{"name":"../../evil\u001b[2J \u00c4","pcb_version":"0",)"
        R"("speciality":"","ver1":"1","ver2":"0","ver3":"0","fw_file":"f","in_chip_type":"17",)"
        R"("in_chip_quanity":"1","in_speciality":"0","in_ver1":"1"}]}]}]})";
    m_fwm->write("r.json", request);
    m_fwm->write("f", "image");
    QCOMPARE(m_fwm->run({"build", "r.json", "-o", "a.fwm", "--force"}).status, 0);
    const Ran extracted = m_fwm->run({"extract", "a.fwm", "-o", "out"});
    QCOMPARE(extracted.status, 0);
    QCOMPARE(m_fwm->read("out/01-.._.._evil_2J_.bin"), QByteArray("image"));
    for (const char *command : {"info", "list", "verify"})
        QVERIFY(!m_fwm->run({command, "a.fwm"}).out.contains('\x1b'));
    // A request with foreign letters comes out in ASCII and can be built.
    QCOMPARE(m_fwm->run({"build", "out/request.json", "-o", "b.fwm", "--force"}).status, 0);
    QCOMPARE(m_fwm->run({"list", "b.fwm"}).out, m_fwm->run({"list", "a.fwm"}).out);
}

void TestReading::extractLeavesNothingHalf()
{
    QCOMPARE(m_fwm->run({"extract", goldenPath("checksum-wrong"), "-o", "out"}).status, 7);
    QCOMPARE(m_fwm->run({"extract", goldenPath("record-cut"), "-o", "out"}).status, 7);
    QCOMPARE(m_fwm->run({"extract", goldenPath("good"), "-o", "no/such/out"}).status, 1);
#if !defined(__SANITIZE_THREAD__) // which needs a file to start
    // Not a single byte fits.
    const Ran full =
        m_fwm->shell("ulimit -f 0; exec " FWM_PROGRAM " extract " GOLDEN_DIR "/good.fwm -o out");
    QCOMPARE(full.status, 1);
    QVERIFY(full.err.contains("the output cannot be written: "));
#endif
    QCOMPARE(m_fwm->names(), QStringList());

    m_fwm->write("full/file", "mine");
    const Ran refused = m_fwm->run({"extract", goldenPath("good"), "-o", "full"});
    QCOMPARE(refused.status, 1);
    QVERIFY(refused.err.contains("is not empty"));
    QCOMPARE(m_fwm->read("full/file"), QByteArray("mine"));
}

void TestReading::extractTakesAnEmptyFolder()
{
    m_fwm->shell("mkdir out");
    QCOMPARE(m_fwm->run({"extract", goldenPath("good"), "-o", "out/"}).status, 0);
    QVERIFY(QFile::exists(m_fwm->path("out/02-FPGA.bin")));
}

void TestReading::extractRefusesAFile()
{
    m_fwm->write("out", "a file");
    const Ran extracted = m_fwm->run({"extract", goldenPath("good"), "-o", "out"});
    QCOMPARE(extracted.status, 1);
    QVERIFY2(
        extracted.err.startsWith("fwm: error: the output cannot be written: out: Not a folder\n"),
        extracted.err.constData());
    QCOMPARE(m_fwm->read("out"), QByteArray("a file"));
}

void TestReading::comparesPackages()
{
    const QString good = goldenPath("good");
    const Ran same = m_fwm->run({"diff", good, good});
    QCOMPARE(same.status, 3);
    QCOMPARE(same.out, QByteArray());

    m_fwm->run({"extract", good, "-o", "out"});
    m_fwm->write("out/02-FPGA.bin", "another image");
    m_fwm->shell("sed -i 's/\"in_ver1\":\"2\"/\"in_ver1\":\"3\"/; s/1\\.0\\.12/1.0.13/' "
                 "out/request.json");
    QCOMPARE(m_fwm->run({"build", "out/request.json", "-o", "b.fwm", "--force"}).status, 0);
    const Ran changed = m_fwm->run({"diff", good, "b.fwm"});
    QCOMPARE(changed.status, 0);
    QCOMPARE(changed.out, QByteArray("release: 1.0.12 -> 1.0.13\n"
                                     "! FPGA (chip type 17): version 2.0.0 -> 3.0.0, "
                                     "size 263 -> 13, other bytes\n"));

    const Ran removed = m_fwm->run({"diff", good, goldenPath("version-3")});
    QCOMPARE(removed.out, QByteArray("package version: 6 -> 3\n"
                                     "- FPGA (chip type 17), version 2.0.0\n"
                                     "- NET (chip type 32), version 1.23.0\n"));
    const QJsonObject json = m_fwm->run({"diff", "--json", goldenPath("version-3"), good}).json();
    const QJsonArray images = json.value("differences").toObject().value("images").toArray();
    QCOMPARE(images.size(), 2);
    QCOMPARE(images.at(0).toObject().value("only_in").toString(), QStringLiteral("b"));

    // Blanks between the members change the text and nothing else.
    m_fwm->run({"extract", "b.fwm", "-o", "b"});
    m_fwm->shell("python3 -m json.tool b/request.json > b/spaced.json");
    QCOMPARE(m_fwm->run({"build", "b/request.json", "-o", "c.fwm", "--force"}).status, 0);
    QCOMPARE(m_fwm->run({"build", "b/spaced.json", "-o", "d.fwm", "--force"}).status, 0);
    QCOMPARE(m_fwm->run({"diff", "c.fwm", "d.fwm"}).out,
             QByteArray("description: the text of A -> the text of B\n"));
    QCOMPARE(m_fwm->run({"diff", good, goldenPath("checksum-wrong")}).status, 7);
    QCOMPARE(m_fwm->run({"diff", good, "missing"}).status, 1);
}

AGENT_TEST(TestReading)

} // namespace tst_reading

#include "tst_reading.moc"
