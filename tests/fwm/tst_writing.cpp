// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

#include <QCryptographicHash>
#include <QJsonArray>

namespace tst_writing {

namespace {

QByteArray pcb(const char *name, const char *file, const QByteArray &keys)
{
    return QByteArray(R"({"name":")") + name +
           R"(","pcb_version":"1","speciality":"A","ver1":"1",)"
           R"("ver2":"2","ver3":"3","fw_file":")" +
           file + "\"," + keys + "}";
}

QByteArray request(const QByteArray &pcbs, const char *chipType = "1")
{
    return QByteArray(R"({"model":"M","version":"1.0.1","chips":[{"name":"MAIN","chip_type":")") +
           chipType + R"(","chip_quanity":"1","mcus":[{"mcu_type":"1","pcbs":[)" + pcbs + "]}]}]}";
}

const QByteArray goodKeys =
    R"("in_chip_type":"0","in_chip_quanity":"1","in_mcu_type":"1","in_pcb_version":"1",)"
    R"("in_speciality":"65","in_ver1":"1","in_ver2":"2","in_ver3":"3")";

/** No chip takes a shorter one than 256 bytes. */
const QByteArray mainImage = QByteArray("the main image").repeated(20);

QByteArray goodRequest()
{
    return request(pcb("MAIN-A", "img/main.bin", goodKeys));
}

} // namespace

class TestWriting : public QObject
{
    Q_OBJECT

private slots:
    void init()
    {
        m_fwm.reset(new Fwm);
        m_fwm->write("img/main.bin", mainImage);
        m_fwm->write("request.json", goodRequest());
    }

    void builds()
    {
        const Ran built = m_fwm->run({"build", "request.json", "-o", "FW.fwm"});
        QCOMPARE(built.status, 0);
        QCOMPARE(built.err, QByteArray());
        const QByteArray package = m_fwm->read("FW.fwm");
        // gzip's trailer has the CRC-32 of the same bytes.
        const QByteArray crc = m_fwm
                                   ->shell("tail -c +9 FW.fwm | gzip -c | tail -c8 | head -c4 | "
                                           "od -An -tx4 --endian=little | tr -d ' \\n'")
                                   .out;
        QCOMPARE(QByteArray::number(crc.toUInt(nullptr, 16), 16).leftJustified(8, '\0'),
                 package.left(8));
        QVERIFY(package.endsWith(QByteArray::fromHex("000101014101020318010000") + mainImage));
        QCOMPARE(package.mid(15, goodRequest().size()), goodRequest());

        const QJsonObject json =
            m_fwm->run({"build", "request.json", "-o", "FW.fwm", "--json"}).json();
        QCOMPARE(json.value("image_count").toInt(), 1);
        QCOMPARE(json.value("size").toInt(), package.size());
        QCOMPARE(json.value("exit").toInt(), 0);
    }

    void buildsRelativeToTheRequest()
    {
        m_fwm->shell("mkdir sub elsewhere; mv img request.json sub");
        const Ran built =
            m_fwm->shell("cd elsewhere && " FWM_PROGRAM " build ../sub/request.json -o "
                         "FW.fwm");
        QCOMPARE(built.status, 0);
        QVERIFY(m_fwm->read("elsewhere/FW.fwm").endsWith(mainImage));

        m_fwm->write("abs.json",
                     request(pcb("A", qPrintable(m_fwm->path("sub/img/main.bin")), goodKeys)));
        QCOMPARE(m_fwm->run({"build", "abs.json", "-o", "FW.fwm"}).status, 0);
    }

    /** The same package as from the binary, whatever the form and the address. */
    void buildsFromTextForms()
    {
        QCOMPARE(m_fwm->run({"build", "request.json", "-o", "FW.fwm"}).status, 0);
        const QByteArray package = m_fwm->read("FW.fwm");
        const char *const forms[][3] = {{"ihex", "Intel HEX", "intel-hex"},
                                        {"srec", "S-record", "s-record"}};
        for (const auto &form : forms) {
            m_fwm->write("img/main.bin", mainImage);
            QCOMPARE(m_fwm
                         ->shell(QStringLiteral("cd img; objcopy -I binary -O %1 "
                                                "--change-addresses 0x08004000 main.bin text && "
                                                "mv text main.bin")
                                     .arg(form[0]))
                         .status,
                     0);
            const Ran built = m_fwm->run({"build", "request.json", "-o", "FW.fwm"});
            QCOMPARE(built.err, QByteArray());
            QCOMPARE(built.out.split('\n').first(), "img/main.bin: " + QByteArray(form[1]) +
                                                        ", 280 bytes from address 0x08004000");
            QCOMPARE(m_fwm->read("FW.fwm"), package);
            const QJsonObject json =
                m_fwm->run({"build", "request.json", "-o", "FW.fwm", "--json"}).json();
            const QJsonObject expected{{"file", "img/main.bin"},
                                       {"form", form[2]},
                                       {"base_address", 0x0800'4000},
                                       {"size", 280},
                                       {"gap_bytes", 0}};
            QCOMPARE(json.value("converted").toArray(), QJsonArray{expected});
        }
    }

    void fillsGapsOnRequest()
    {
        m_fwm->shell(
            "cd img; objcopy -I binary -O ihex main.bin text; sed '3d;7d' text > main.bin");
        const Ran refused = m_fwm->run({"build", "request.json", "-o", "FW.fwm"});
        QCOMPARE(refused.status, 7);
        const Ran filled = m_fwm->run({"build", "request.json", "-o", "FW.fwm", "--fill-gaps"});
        QCOMPARE(filled.status, 0);
        QCOMPARE(filled.err,
                 QByteArray("fwm: warning: img/main.bin leaves 32 bytes open, the first at address "
                            "0x00000020; they are filled with 0xFF: request.json:1:218 "
                            "[image-gaps]\n"));
        QByteArray expected = mainImage;
        expected.replace(0x20, 16, QByteArray(16, char(0xff)));
        expected.replace(0x60, 16, QByteArray(16, char(0xff)));
        QVERIFY(m_fwm->read("FW.fwm").endsWith(expected));
    }

    void shortFormIsItsLongForm()
    {
        m_fwm->write("short.json", "{\"model\":\"M\",\"release\":\"1.0.1\",\"images\":[\n"
                                   "// the main MCU\n"
                                   "{\"name\":\"MAIN-\\u00c4\",\"chip\":\"main\",\"mcu_type\":1,"
                                   "\"pcb_version\":1,\"speciality\":\"A\",\"version\":\"1.2.3\","
                                   "\"file\":\"img/main.bin\"}]}");
        const Ran explained = m_fwm->run({"explain", "short.json"});
        QCOMPARE(explained.status, 0);
        QCOMPARE(explained.err, QByteArray());
        m_fwm->write("long.json", explained.out);
        QCOMPARE(m_fwm->run({"explain", "short.json", "--json"}).json().value("request").toObject(),
                 QJsonDocument::fromJson(explained.out).object());
        QCOMPARE(m_fwm->run({"explain", "long.json"}).out, explained.out);

        QCOMPARE(m_fwm->run({"build", "short.json", "-o", "short.fwm"}).status, 0);
        QCOMPARE(m_fwm->run({"build", "long.json", "-o", "long.fwm"}).status, 0);
        QCOMPARE(m_fwm->run({"list", "short.fwm"}).out,
                 QByteArray("MAIN-\xc3\x84,0,1,1,1,65,1,2,3\n"));
        // Only the blanks of the description differ.
        QCOMPARE(m_fwm->run({"diff", "short.fwm", "long.fwm"}).out,
                 QByteArray("description: the text of A -> the text of B\n"));
        QVERIFY(m_fwm->read("short.fwm")
                    .endsWith(QByteArray::fromHex("000101014101020318010000") + mainImage));

        m_fwm->write("bad.json", "{\"model\":\"M\",\"release\":\"1\",\"images\":[{}]}");
        QCOMPARE(m_fwm->run({"explain", "bad.json"}).status, 1);
        QCOMPARE(m_fwm->run({"explain", "none.json"}).status, 1);
    }

    void sampleBuilds()
    {
        const Ran made = m_fwm->run({"new", "-o", "new.json"});
        QCOMPARE(made.status, 0);
        QCOMPARE(made.out, QByteArray("new.json: a sample to edit; then 'fwm build new.json -o "
                                      "FW.fwm'\n"));
        m_fwm->write("main.bin", mainImage);
        m_fwm->write("fpga.bin", mainImage);
        const Ran built = m_fwm->run({"build", "new.json", "-o", "FW.fwm"});
        QCOMPARE(built.err, QByteArray());
        QCOMPARE(built.status, 0);
        QCOMPARE(m_fwm->run({"list", "FW.fwm"}).out,
                 QByteArray("MAIN,0,1,1,1,65,1,0,0\nFPGA,17,1,0,0,0,1,0,0\n"));

        m_fwm->write("new.json", "mine");
        const Ran again = m_fwm->run({"new", "-o", "new.json"});
        QCOMPARE(again.status, 1);
        QCOMPARE(again.err,
                 QByteArray("fwm: error: the output exists and would be replaced: new.json\n"
                            "  Give another name to -o, or remove that file first.\n"));
        QCOMPARE(m_fwm->read("new.json"), QByteArray("mine"));
    }

    void refusesLongRequests()
    {
        m_fwm->write("r.json", goodRequest() + QByteArray(65'536 - goodRequest().size(), ' '));
        const QStringList before = m_fwm->names();
        const Ran built = m_fwm->run({"build", "r.json", "-o", "FW.fwm"});
        QCOMPARE(built.status, 1);
        QVERIFY2(
            built.err.startsWith("fwm: error: the request is longer than 65535 bytes, which no "
                                 "package can hold: r.json: 65536 bytes\n"),
            built.err.constData());
        QCOMPARE(m_fwm->names(), before);

        // A short request may be longer in its long form.
        QByteArray image =
            "{\"name\":\"F\",\"chip\":17,\"version\":\"1.2.3\",\"file\":\"img/main.bin\"},";
        image = image.repeated(250);
        image.chop(1);
        m_fwm->write("r.json", "{\"model\":\"M\",\"release\":\"1\",\"images\":[" + image + "]}");
        const Ran expanded = m_fwm->run({"build", "r.json", "-o", "FW.fwm"});
        QCOMPARE(expanded.status, 1);
        QVERIFY2(expanded.err.contains(": r.json, in its long form: 8"), expanded.err.constData());
    }

    void refusesImages()
    {
        const auto errorOf = [this](const char *file) {
            m_fwm->write("r.json", request(pcb("A", file, goodKeys)));
            const Ran built = m_fwm->run({"build", "r.json", "-o", "FW.fwm", "--json"});
            return QStringLiteral("%1 %2")
                .arg(built.status)
                .arg(built.json().value("error").toObject().value("id").toString());
        };
        m_fwm->shell("mkfifo pipe");
        QCOMPARE(errorOf("none.bin"), QStringLiteral("1 image-file-missing"));
        QCOMPARE(errorOf(""), QStringLiteral("1 image-file-missing"));
        QCOMPARE(errorOf("img"), QStringLiteral("1 image-unreadable"));
        QCOMPARE(errorOf("pipe"), QStringLiteral("1 image-unreadable"));
        QVERIFY(!QFile::exists(m_fwm->path("FW.fwm")));
        QCOMPARE(errorOf("img/main.bin"), QStringLiteral("0 "));
    }

    void refusesImagesOf4GiB()
    {
        if (m_fwm->shell("truncate -s 4G img/main.bin").status != 0)
            QSKIP("No files of 4 GiB here");
        const Ran built = m_fwm->run({"build", "request.json", "-o", "FW.fwm"});
        QCOMPARE(built.status, 1);
        QVERIFY(built.err.contains("4 GiB"));
        QCOMPARE(m_fwm->names(), QStringList({"img", "request.json"}));
    }

    void firstBadImageIsNamed()
    {
        m_fwm->write("r.json", request(pcb("A", "img/main.bin", goodKeys) + "," +
                                       pcb("B", "none.bin", goodKeys) + "," +
                                       pcb("C", "nothing.bin", goodKeys)));
        const Ran built = m_fwm->run({"build", "r.json", "-o", "FW.fwm"});
        QCOMPARE(built.status, 1);
        QCOMPARE(built.err, QByteArray("fwm: error: an image file does not exist: r.json:1:462: "
                                       "./none.bin\n"
                                       "  Correct \"file\" or \"fw_file\"; relative paths start at "
                                       "the request's folder.\n"));
    }

    void leavesTheOldPackage()
    {
        m_fwm->write("FW.fwm", "the old package");
        m_fwm->write("r.json", request(pcb("A", "img/main.bin", goodKeys) + "," +
                                       pcb("B", "none.bin", goodKeys)));
        QCOMPARE(m_fwm->run({"build", "r.json", "-o", "FW.fwm"}).status, 1);
        QCOMPARE(m_fwm->read("FW.fwm"), QByteArray("the old package"));
        QCOMPARE(m_fwm->names(), QStringList({"FW.fwm", "img", "r.json", "request.json"}));
    }

    void fullDiskLeavesNothing_data()
    {
        QTest::addColumn<QString>("command");
        QTest::newRow("build") << "build request.json -o out";
        QTest::newRow("add-net") << "add-net FW.fwm net.bin -o out";
        QTest::newRow("make-net") << "make-net img --net-version 1.00 -o out";
        QTest::newRow("extract") << "extract FW.fwm -o out";
    }

    void fullDiskLeavesNothing()
    {
        QFETCH(QString, command);
        // More than the limit below, also when it is compressed.
        m_fwm->shell("head -c 100000 /dev/urandom > img/main.bin");
        QCOMPARE(m_fwm->run({"build", "request.json", "-o", "FW.fwm"}).status, 0);
        makeNet("net.bin", "1.23");
        const QStringList before = m_fwm->names();
        const Ran full = m_fwm->shell("ulimit -f 64; exec " FWM_PROGRAM " " + command);
        QCOMPARE(full.status, 1);
        QVERIFY2(full.err.contains("the output cannot be written: "), full.err.constData());
        QCOMPARE(m_fwm->names(), before);
    }

    void neverReplacesItsInput()
    {
        QCOMPARE(m_fwm->run({"build", "request.json", "-o", "img/../request.json"}).status, 1);
        QCOMPARE(m_fwm->read("request.json"), goodRequest());
        QCOMPARE(m_fwm->run({"build", "request.json", "-o", "img/main.bin"}).status, 1);
        QCOMPARE(m_fwm->read("img/main.bin"), mainImage);
        makeNet("net.bin", "1.23");
        const QByteArray net = m_fwm->read("net.bin");
        QCOMPARE(m_fwm->run({"add-net", goldenPath("good"), "net.bin", "-o", "net.bin"}).status, 1);
        QCOMPARE(m_fwm->read("net.bin"), net);
        m_fwm->shell("tar -C root -cjf a.tar.bz2 etc");
        QCOMPARE(m_fwm->run({"make-net", "a.tar.bz2", "--net-version", "1.00", "-o", "a.tar.bz2"})
                     .status,
                 1);
    }

    void refusesOddOutputs()
    {
        m_fwm->shell("mkdir folder; mkfifo pipe");
        for (const char *output : {"folder", "pipe", "no/such/folder/FW.fwm", "/dev/full"}) {
            const Ran built = m_fwm->run({"build", "request.json", "-o", output});
            QCOMPARE(built.status, 1);
            QVERIFY(built.err.contains("the output cannot be written: "));
        }
        QVERIFY(!QFileInfo(QStringLiteral("/dev/full")).isFile());
    }

    void memoryStaysFlat()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("Sanitizers need additional address space");
#elif defined(AGENT_EMULATED)
        QSKIP("An emulator sets the whole address space aside");
#endif
        if (m_fwm->shell("truncate -s 200M img/main.bin").status != 0)
            QSKIP("No files of 200 MB here");
        const QString limited = QStringLiteral("ulimit -v 150000; exec " FWM_PROGRAM " ");
        QCOMPARE(m_fwm->shell(limited + "build request.json -o FW.fwm").status, 0);
        QCOMPARE(m_fwm->shell(limited + "extract FW.fwm -o out").status, 0);
        QCOMPARE(QFileInfo(m_fwm->path("out/01-MAIN-A.bin")).size(), 200LL * 1024 * 1024);
    }

    void makesNetFromAFolder()
    {
        m_fwm->write("root/etc/name", "module\n");
        m_fwm->write("root/.hidden", "h");
        m_fwm->write("root/-odd name", "o");
        const Ran made = m_fwm->run({"make-net", "root", "--net-version", "1.23", "-o", "net.bin"});
        QCOMPARE(made.status, 0);
        const QByteArray net = m_fwm->read("net.bin");
        QCOMPARE(net.left(5), QByteArray("1.23\0", 5));
        QCOMPARE(net.mid(37, 25), QByteArray(25, '\0'));
        QCOMPARE(net.mid(5, 32), m_fwm->shell("tail -c +63 net.bin | md5sum").out.left(32));
        // Unpacked as a module does it.
        QCOMPARE(m_fwm
                     ->shell("mkdir new && tail -c +63 net.bin > a.tar.bz2 && "
                             "tar -C new -xf a.tar.bz2 && diff -r root new")
                     .status,
                 0);
        const QByteArray owners =
            m_fwm->shell("tar --numeric-owner -tvjf a.tar.bz2 | awk '{print $2}' | sort -u").out;
        QCOMPARE(owners, QByteArray("0/0\n"));
    }

    void makesNetFromAnArchive()
    {
        m_fwm->write("root/etc/name", "module\n");
        m_fwm->shell("tar -C root -cjf a.tar.bz2 etc");
        const Ran made = m_fwm->run(
            {"make-net", "a.tar.bz2", "--net-version", "9.00", "-o", "net.bin", "--json"});
        QCOMPARE(made.status, 0);
        const QByteArray archive = m_fwm->read("a.tar.bz2");
        QCOMPARE(m_fwm->read("net.bin").mid(62), archive);
        QCOMPARE(made.json().value("md5").toString().toLatin1(),
                 m_fwm->shell("md5sum a.tar.bz2").out.left(32));
        QCOMPARE(made.json().value("size").toInt(), 62 + archive.size());
    }

    void refusesNetSources_data()
    {
        QTest::addColumn<QString>("make");
        QTest::addColumn<QString>("version");
        QTest::addColumn<int>("status");
        QTest::newRow("missing") << "true"
                                 << "1.23" << 1;
        QTest::newRow("empty folder") << "mkdir s"
                                      << "1.23" << 1;
        QTest::newRow("empty file") << "touch s"
                                    << "1.23" << 1;
        QTest::newRow("no bzip2") << "tar -cf s img"
                                  << "1.23" << 1;
        QTest::newRow("no tar") << "echo text | bzip2 > s"
                                << "1.23" << 1;
        QTest::newRow("cut archive") << "tar -cj img | head -c 60 > s"
                                     << "1.23" << 1;
        const QString withRoot =
            QStringLiteral("mkdir -p r/etc; chmod %1 r; tar -C r -cjf s %2; chmod 755 r; rm -r r");
        QTest::newRow("root of one user") << withRoot.arg("700", ".") << "1.23" << 1;
        QTest::newRow("root of a group") << withRoot.arg("1750", ".") << "1.23" << 1;
        QTest::newRow("root that a group may write") << withRoot.arg("775", ".") << "1.23" << 1;
        QTest::newRow("root that all may write") << withRoot.arg("1757", ".") << "1.23" << 1;
        QTest::newRow("root that cannot be listed") << withRoot.arg("711", ".") << "1.23" << 1;
        QTest::newRow("root by its path")
            << withRoot.arg("700", "-P --no-recursion --transform 's,.*,/,' .") << "1.23" << 1;
        QTest::newRow("root after the rest")
            << withRoot.arg("700", "--no-recursion ./etc ././") << "1.23" << 1;
        QTest::newRow("good root") << withRoot.arg("755", ".") << "1.23" << 0;
        QTest::newRow("good root without a writer") << withRoot.arg("555", ".") << "1.23" << 0;
        QTest::newRow("folder of one user in the root")
            << withRoot.arg("755", "--mode 700 ./etc") << "1.23" << 0;
        QTest::newRow("folder with an odd name")
            << QStringLiteral(
                   "mkdir -p 'r/a ./'; chmod 700 'r/a .'; tar -C r -cjf s 'a .'; rm -r r")
            << "1.23" << 0;
        QTest::newRow("version of one digit") << "tar -cjf s img"
                                              << "1.2" << 2;
        QTest::newRow("version of three digits") << "tar -cjf s img"
                                                 << "1.234" << 2;
        QTest::newRow("version in letters") << "tar -cjf s img"
                                            << "a.bc" << 2;
        QTest::newRow("good") << "tar -cjf s img"
                              << "1.23" << 0;
    }

    void refusesNetSources()
    {
        QFETCH(QString, make);
        QFETCH(QString, version);
        m_fwm->shell(make);
        const QStringList before = m_fwm->names();
        const Ran made = m_fwm->run({"make-net", "s", "--net-version", version, "-o", "net.bin"});
        QTEST(made.status, "status");
        if (made.status == 0)
            return;
        QVERIFY(!made.err.isEmpty());
        QCOMPARE(m_fwm->names(), before);
    }

    /** The archiver's own words do not say which file it is about. */
    void namesTheNetSource()
    {
        m_fwm->shell("tar -cj img | head -c 60 > s; mkdir locked; touch locked/f");
        const Ran cut = m_fwm->run({"make-net", "s", "--net-version", "1.23", "-o", "net.bin"});
        QCOMPARE(cut.status, 1);
        QVERIFY2(cut.err.startsWith("fwm: error: ") && cut.err.contains(": s: "),
                 cut.err.constData());

        const Ran noArchiver = m_fwm->shell("PATH=/nowhere " FWM_PROGRAM
                                            " make-net locked --net-version 1.23 -o net.bin");
        QCOMPARE(noArchiver.status, 1);
        QVERIFY2(noArchiver.err.startsWith("fwm: error: the archiver tar failed: locked: "),
                 noArchiver.err.constData());
    }

    /** Unpacked over the module's root, such an archive locks out the agent's user. */
    void namesTheRootsPermissions()
    {
        m_fwm->shell("mkdir root; touch root/f; chmod 700 root; tar -C root -cjf s .");
        const Ran made =
            m_fwm->run({"make-net", "s", "--net-version", "1.23", "-o", "net.bin", "--json"});
        QCOMPARE(made.status, 1);
        const QJsonObject error = made.json().value("error").toObject();
        QCOMPARE(error.value("id").toString(), QStringLiteral("archive-root"));
        QVERIFY2(made.err.isEmpty() || made.err.contains("s: drwx------"), made.err.constData());
        QVERIFY(QJsonDocument(error).toJson().contains("s: drwx------"));
    }

    void folderItselfStaysOut()
    {
        m_fwm->write("root/etc/name", "module\n");
        m_fwm->shell("chmod 700 root");
        QCOMPARE(m_fwm->run({"make-net", "root", "--net-version", "1.23", "-o", "net.bin"}).status,
                 0);
        QCOMPARE(m_fwm->shell("tail -c +63 net.bin | tar -tj").out,
                 QByteArray("./etc/\n./etc/name\n"));
    }

    void outputStaysOutOfTheFolder_data()
    {
        QTest::addColumn<QString>("source");
        QTest::addColumn<QString>("output");
        QTest::addColumn<int>("status");
        QTest::newRow("in it") << "root"
                               << "root/net.bin" << 2;
        QTest::newRow("below it") << "root"
                                  << "root/etc/net.bin" << 2;
        QTest::newRow("by a detour") << "root/etc/.."
                                     << "other/../root/net.bin" << 2;
        QTest::newRow("the source is a link") << "link"
                                              << "root/net.bin" << 2;
        QTest::newRow("the output's folder is a link") << "root"
                                                       << "link/net.bin" << 2;
        QTest::newRow("the output is a link into it") << "root"
                                                      << "net-link.bin" << 2;
        QTest::newRow("here") << "."
                              << "net.bin" << 2;
        QTest::newRow("a link in it leads out") << "root"
                                                << "root/out/net.bin" << 0;
        QTest::newRow("a name that begins alike") << "root"
                                                  << "root2/net.bin" << 0;
        QTest::newRow("beside it") << "root"
                                   << "net.bin" << 0;
    }

    /** Otherwise the next image would contain this one. */
    void outputStaysOutOfTheFolder()
    {
        QFETCH(QString, source);
        QFETCH(QString, output);
        m_fwm->write("root/etc/name", "module\n");
        m_fwm->shell("mkdir root2 other; ln -s root link; ln -s ../other root/out; "
                     "ln -s root/new.bin net-link.bin");
        const QByteArray before = m_fwm->shell("find . | sort").out;
        const Ran made = m_fwm->run({"make-net", source, "--net-version", "1.23", "-o", output});
        QTEST(made.status, "status");
        if (made.status == 0)
            return;
        QCOMPARE(made.err,
                 "fwm: error: the output is inside the source folder, so the next image would "
                 "contain it: " +
                     output.toLatin1() + "\n  Give -o a name outside of that folder.\n");
        QCOMPARE(m_fwm->shell("find . | sort").out, before);
        const Ran json =
            m_fwm->run({"make-net", source, "--net-version", "1.23", "-o", output, "--json"});
        QCOMPARE(json.status, 2);
        QCOMPARE(json.json().value("error").toObject().value("id").toString(),
                 QStringLiteral("output-in-source"));
    }

    void addsNet()
    {
        QCOMPARE(m_fwm->run({"build", "request.json", "-o", "FW.fwm"}).status, 0);
        makeNet("net.bin", "2.07");
        const Ran added =
            m_fwm->run({"add-net", "FW.fwm", "net.bin", "-o", "new.fwm", "--release", "1.0.2"});
        QCOMPARE(added.status, 0);
        QCOMPARE(added.err, QByteArray());
        QCOMPARE(m_fwm->run({"verify", "new.fwm"}).status, 0);
        QCOMPARE(m_fwm->run({"list", "new.fwm"}).out,
                 QByteArray("MAIN-A,0,1,1,1,65,1,2,3\nNET,32,1,0,0,0,2,7,0\n"));
        QCOMPARE(m_fwm->run({"diff", "FW.fwm", "new.fwm"}).out,
                 QByteArray("release: 1.0.1 -> 1.0.2\n+ NET (chip type 32), version 2.7.0\n"));
        QCOMPARE(m_fwm->run({"extract", "new.fwm", "-o", "out"}).status, 0);
        QCOMPARE(m_fwm->read("out/02-NET.bin"), m_fwm->read("net.bin"));
        QCOMPARE(m_fwm->read("out/01-MAIN-A.bin"), m_fwm->read("img/main.bin"));
    }

    void addsNetInPlace()
    {
        QVERIFY(QFile::copy(goldenPath("good"), m_fwm->path("FW.fwm")));
        makeNet("net.bin", "3.00");
        const Ran added = m_fwm->run({"add-net", "FW.fwm", "net.bin", "-o", "FW.fwm", "--json"});
        QCOMPARE(added.status, 0);
        QCOMPARE(added.json().value("replaced").toBool(), true);
        QCOMPARE(added.json().value("image_count").toInt(), 3);
        QCOMPARE(m_fwm->run({"verify", "FW.fwm"}).status, 0);
        const Ran differences = m_fwm->run({"diff", goldenPath("good"), "FW.fwm"});
        QVERIFY(differences.out.startsWith("! NET (chip type 32): version 1.23.0 -> 3.0.0"));
        QCOMPARE(differences.out.count('\n'), 1);
    }

    void refusesToAddNet_data()
    {
        QTest::addColumn<QString>("package");
        QTest::addColumn<QString>("net");
        QTest::addColumn<int>("status");
        QTest::addColumn<QString>("error");
        const QString good = goldenPath("good");
        QTest::newRow("no package") << "none"
                                    << "net.bin" << 1 << "file-unreadable";
        QTest::newRow("no image") << good << "none" << 1 << "file-unreadable";
        QTest::newRow("damaged image") << good << "bad.bin" << 7 << "net-image-damaged";
        QTest::newRow("another file") << good << "img/main.bin" << 7 << "net-image-invalid";
        QTest::newRow("a package") << good << good << 7 << "net-image-invalid";
        QTest::newRow("checksum") << goldenPath("checksum-wrong") << "net.bin" << 7
                                  << "checksum-wrong";
        QTest::newRow("bare") << goldenPath("bare") << "net.bin" << 7 << "no-checksum";
        QTest::newRow("no magic") << goldenPath("no-magic") << "net.bin" << 7 << "not-a-package";
        QTest::newRow("version") << goldenPath("version-7") << "net.bin" << 7 << "unknown-version";
        QTest::newRow("JSON") << goldenPath("json-not-json") << "net.bin" << 7
                              << "description-unreadable";
        QTest::newRow("records") << goldenPath("record-cut") << "net.bin" << 7 << "records-damaged";
    }

    void refusesToAddNet()
    {
        QFETCH(QString, package);
        QFETCH(QString, net);
        makeNet("net.bin", "1.23");
        m_fwm->shell("(cat net.bin; echo) > bad.bin");
        const QStringList before = m_fwm->names();
        const Ran added = m_fwm->run({"add-net", package, net, "-o", "new.fwm", "--json"});
        QTEST(added.status, "status");
        QTEST(added.json().value("error").toObject().value("id").toString(), "error");
        QCOMPARE(m_fwm->names(), before);
    }

    void namesTheNetFile()
    {
        if (m_fwm->shell("truncate -s 4294967296 big.bin").status != 0)
            QSKIP("No files of 4 GiB here");
        m_fwm->write("short.bin", "1.23");
        for (const char *name : {"none", "short.bin", "img", "big.bin"}) {
            const Ran added = m_fwm->run({"add-net", goldenPath("good"), name, "-o", "new.fwm"});
            QVERIFY(added.status != 0);
            QVERIFY2(added.err.startsWith("fwm: error: ") &&
                         (added.err.contains(QByteArray(": ") + name + ": ") ||
                          added.err.contains(QByteArray(": ") + name + "\n")),
                     added.err.constData());
            const Ran verified = m_fwm->run({"verify", name, "--json"});
            QVERIFY(verified.status != 0);
            QVERIFY2(verified.json()["error"].toObject()["detail"].toString().startsWith(name),
                     verified.out.constData());
        }
        const Ran big = m_fwm->run({"add-net", goldenPath("good"), "big.bin", "-o", "new.fwm"});
        QVERIFY2(big.err.contains("an image is 4 GiB or larger"), big.err.constData());
    }

private:
    /** A sound image of the network module. */
    void makeNet(const QString &name, const QString &version)
    {
        m_fwm->write("root/etc/name", "module\n");
        QCOMPARE(m_fwm->run({"make-net", "root", "--net-version", version, "-o", name}).status, 0);
    }

    QScopedPointer<Fwm> m_fwm;
};

AGENT_TEST(TestWriting)

} // namespace tst_writing

#include "tst_writing.moc"
