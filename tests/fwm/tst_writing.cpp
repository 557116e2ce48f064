// SPDX-License-Identifier: Apache-2.0
#include "support/TestCase.h"
#include "tests/fwm/Fwm.h"

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

QByteArray request(const QByteArray &pcbs)
{
    return R"({"model":"M","version":"1.0.1","chips":[{"name":"MAIN","chip_type":"1",)"
           R"("chip_quanity":"1","mcus":[{"mcu_type":"1","pcbs":[)" +
           pcbs + "]}]}]}";
}

const QByteArray goodKeys =
    R"("in_chip_type":"0","in_chip_quanity":"1","in_mcu_type":"1","in_pcb_version":"1",)"
    R"("in_speciality":"65","in_ver1":"1","in_ver2":"2","in_ver3":"3")";

/** No chip takes a shorter one than 256 bytes. */
const QByteArray mainImage = QByteArray("the main image").repeated(20);

/** Of this image with the good keys. */
const QByteArray recordHeader = QByteArray::fromHex("000101014101020318010000");

QByteArray goodRequest()
{
    return request(pcb("MAIN-A", "img/main.bin", goodKeys));
}

} // namespace

class TestWriting : public QObject, private Fwm
{
    Q_OBJECT

private slots:
    void init()
    {
        renew();
        write("img/main.bin", mainImage);
        write("request.json", goodRequest());
        write("root/etc/name", "module\n");
    }

    void builds()
    {
        const Ran built = run("build request.json -o FW.fwm --json");
        QCOMPARE(built.problem(), QString("0 "));
        const QByteArray package = read("FW.fwm");
        // gzip's trailer has the CRC-32 of the same bytes.
        const QByteArray crc = shell("tail -c +9 FW.fwm | gzip -c | tail -c8 | head -c4 | "
                                     "od -An -tx4 --endian=little | tr -d ' \\n'")
                                   .out;
        QCOMPARE(QByteArray::number(crc.toUInt(nullptr, 16), 16).leftJustified(8, '\0'),
                 package.left(8));
        QVERIFY(package.endsWith(recordHeader + mainImage));
        QCOMPARE(package.mid(15, goodRequest().size()), goodRequest());
        QCOMPARE(built.at("image_count").toInt(), 1);
        QCOMPARE(built.at("size").toInt(), package.size());
    }

    void buildsRelativeToTheRequest()
    {
        shell("mkdir sub elsewhere; mv img request.json sub");
        QCOMPARE(shell("cd elsewhere; " FWM_PROGRAM " build ../sub/request.json -o FW.fwm").status,
                 0);
        QVERIFY(read("elsewhere/FW.fwm").endsWith(mainImage));

        write("abs.json", request(pcb("A", qPrintable(path("sub/img/main.bin")), goodKeys)));
        QCOMPARE(run("build abs.json -o FW.fwm").status, 0);
    }

    void buildsFromTextForms_data()
    {
        const tests::DataTable<QString, QString> row("name", "id");
        row("ihex", "Intel HEX", "intel-hex");
        row("srec", "S-record", "s-record");
    }

    /** The same package as from the binary, whatever the form and the address. */
    void buildsFromTextForms()
    {
        QFETCH(QString, name);
        QFETCH(QString, id);
        QCOMPARE(run("build request.json -o FW.fwm").status, 0);
        const QByteArray package = read("FW.fwm");
        QCOMPARE(shell(QStringLiteral("cd img; objcopy -I binary -O %1 --change-addresses "
                                      "0x08004000 main.bin text && mv text main.bin")
                           .arg(QTest::currentDataTag()))
                     .status,
                 0);
        const Ran built = run("build request.json -o FW.fwm");
        QCOMPARE(built.err, QByteArray());
        QCOMPARE(QString(built.out).section('\n', 0, 0),
                 "img/main.bin: " + name + ", 280 bytes from address 0x08004000");
        QCOMPARE(read("FW.fwm"), package);
        const QJsonObject expected{{"file", "img/main.bin"},
                                   {"form", id},
                                   {"base_address", 0x0800'4000},
                                   {"size", 280},
                                   {"gap_bytes", 0}};
        QCOMPARE(run("build request.json -o FW.fwm --json").at("converted").toArray(),
                 QJsonArray{expected});
    }

    void fillsGapsOnRequest()
    {
        shell("cd img; objcopy -I binary -O ihex main.bin text; sed '3d;7d' text > main.bin");
        const Ran filled = run("build request.json -o FW.fwm --fill-gaps");
        QCOMPARE(filled.status, 0);
        QCOMPARE(filled.err,
                 QByteArray("fwm: warning: img/main.bin leaves 32 bytes open, the first at address "
                            "0x00000020; they are filled with 0xFF: request.json:1:218 "
                            "[image-gaps]\n"));
        QByteArray expected = mainImage;
        expected.replace(0x20, 16, QByteArray(16, char(0xff)));
        expected.replace(0x60, 16, QByteArray(16, char(0xff)));
        QVERIFY(read("FW.fwm").endsWith(expected));
    }

    void shortFormIsItsLongForm()
    {
        write("short.json", "{\"model\":\"M\",\"release\":\"1.0.1\",\"images\":[\n"
                            "// the main MCU\n"
                            "{\"name\":\"MAIN-\\u00c4\",\"chip\":\"main\",\"mcu_type\":1,"
                            "\"pcb_version\":1,\"speciality\":\"A\",\"version\":\"1.2.3\","
                            "\"file\":\"img/main.bin\"}]}");
        const Ran explained = run("explain short.json");
        QCOMPARE(explained.status, 0);
        QCOMPARE(explained.err, QByteArray());
        write("long.json", explained.out);
        QCOMPARE(run("explain short.json --json").at("request").toObject(), explained.json());
        QCOMPARE(run("explain long.json").out, explained.out);

        QCOMPARE(run("build short.json -o short.fwm").status, 0);
        QCOMPARE(run("build long.json -o long.fwm").status, 0);
        QCOMPARE(run("list short.fwm").out, QByteArray("MAIN-\xc3\x84,0,1,1,1,65,1,2,3\n"));
        // Only the blanks of the description differ.
        QCOMPARE(run("diff short.fwm long.fwm").out,
                 QByteArray("description: the text of A -> the text of B\n"));
        QVERIFY(read("short.fwm").endsWith(recordHeader + mainImage));

        write("bad.json", "{\"model\":\"M\",\"release\":\"1\",\"images\":[{}]}");
        QCOMPARE(run("explain bad.json").status, 1);
        QCOMPARE(run("explain none.json --json").problem(), QString("1 file-unreadable"));
    }

    void sampleBuilds()
    {
        QCOMPARE(run("new -o new.json").out,
                 QByteArray("new.json: a sample to edit; then 'fwm build new.json -o FW.fwm'\n"));
        write("main.bin", mainImage);
        write("fpga.bin", mainImage);
        const Ran built = run("build new.json -o FW.fwm");
        QCOMPARE(built.err, QByteArray());
        QCOMPARE(built.status, 0);
        QCOMPARE(run("list FW.fwm").out,
                 QByteArray("MAIN,0,1,1,1,65,1,0,0\nFPGA,17,1,0,0,0,1,0,0\n"));

        write("new.json", "mine");
        const Ran again = run("new -o new.json");
        QCOMPARE(again.status, 1);
        QCOMPARE(again.err,
                 QByteArray("fwm: error: the output exists and would be replaced: new.json\n"
                            "  Give another name to -o, or remove that file first.\n"));
        QCOMPARE(read("new.json"), QByteArray("mine"));
    }

    void refusesLongRequests()
    {
        write("r.json", goodRequest() + QByteArray(65'536 - goodRequest().size(), ' '));
        const QStringList before = names();
        const Ran built = run("build r.json -o FW.fwm");
        QCOMPARE(built.status, 1);
        QCOMPARE(QString(built.err).section('\n', 0, 0),
                 QString("fwm: error: the request is longer than 65535 bytes, which no package can "
                         "hold: r.json: 65536 bytes"));
        QCOMPARE(names(), before);

        // A short request may be longer in its long form.
        QByteArray image =
            "{\"name\":\"F\",\"chip\":17,\"version\":\"1.2.3\",\"file\":\"img/main.bin\"},";
        image = image.repeated(250);
        image.chop(1);
        write("r.json", "{\"model\":\"M\",\"release\":\"1\",\"images\":[" + image + "]}");
        const Ran expanded = run("build r.json -o FW.fwm");
        QCOMPARE(expanded.status, 1);
        QVERIFY2(expanded.err.contains(": r.json, in its long form: 8"), expanded.err.constData());
    }

    void refusesImagesOf4GiB()
    {
        if (shell("truncate -s 4G img/main.bin").status != 0)
            QSKIP("No files of 4 GiB here");
        QCOMPARE(run("build request.json -o FW.fwm --json").problem(),
                 QString("1 image-too-large"));
        QCOMPARE(names(), QStringList({"img", "request.json", "root"}));
    }

    void leavesTheOldPackage()
    {
        write("FW.fwm", "the old package");
        write("r.json",
              request(pcb("A", "img/main.bin", goodKeys) + "," + pcb("B", "none.bin", goodKeys)));
        QCOMPARE(run("build r.json -o FW.fwm").status, 1);
        QCOMPARE(read("FW.fwm"), QByteArray("the old package"));
        QCOMPARE(names(), QStringList({"FW.fwm", "img", "r.json", "request.json", "root"}));
    }

    void fullDiskLeavesNothing_data()
    {
        commands({"build request.json -o out", "add-net FW.fwm net.bin -o out",
                  "make-net img --net-version 1.00 -o out", "extract FW.fwm -o out"});
    }

    void fullDiskLeavesNothing()
    {
        QFETCH(QString, command);
        // More than the limit below, also when it is compressed.
        shell("head -c 100000 /dev/urandom > img/main.bin");
        QCOMPARE(run("build request.json -o FW.fwm").status, 0);
        makeNet("net.bin", "1.23");
        const QStringList before = names();
        const Ran full = shell("ulimit -f 64; exec " FWM_PROGRAM " " + command);
        QCOMPARE(full.status, 1);
        QVERIFY2(full.err.contains("the output cannot be written: "), full.err.constData());
        QCOMPARE(names(), before);
    }

    void neverReplacesItsInput_data()
    {
        commands({"build request.json -o img/../request.json", "build request.json -o img/main.bin",
                  "add-net {good} net.bin -o net.bin",
                  "make-net a.tar.bz2 --net-version 1.00 -o a.tar.bz2"});
    }

    void neverReplacesItsInput()
    {
        QFETCH(QString, command);
        makeNet("net.bin", "1.23");
        shell("tar -C root -cjf a.tar.bz2 etc");
        const auto files = [this] { return shell("find -type f | sort | xargs md5sum").out; };
        const QByteArray before = files();
        QCOMPARE(run(command + " --json").problem(), QString("1 output-is-input"));
        QCOMPARE(files(), before);
    }

    void refusesOddOutputs_data()
    {
        commands({"build request.json -o folder", "build request.json -o pipe",
                  "build request.json -o no/such/folder/FW.fwm",
                  "build request.json -o /dev/full"});
    }

    void refusesOddOutputs()
    {
        QFETCH(QString, command);
        shell("mkdir folder; mkfifo pipe");
        QCOMPARE(run(command + " --json").problem(), QString("1 cannot-write"));
        QVERIFY(!QFileInfo(QStringLiteral("/dev/full")).isFile());
    }

    void memoryStaysFlat()
    {
#if defined(__SANITIZE_ADDRESS__) || defined(__SANITIZE_THREAD__)
        QSKIP("Sanitizers need additional address space");
#elif defined(AGENT_EMULATED)
        QSKIP("An emulator sets the whole address space aside");
#endif
        if (shell("truncate -s 200M img/main.bin").status != 0)
            QSKIP("No files of 200 MB here");
        const QString limited = QStringLiteral("ulimit -v 150000; exec " FWM_PROGRAM " ");
        QCOMPARE(shell(limited + "build request.json -o FW.fwm").status, 0);
        QCOMPARE(shell(limited + "extract FW.fwm -o out").status, 0);
        QCOMPARE(QFileInfo(path("out/01-MAIN-A.bin")).size(), 200LL * 1024 * 1024);
    }

    void makesNetFromAFolder()
    {
        write("root/.hidden", "h");
        write("root/-odd name", "o");
        QCOMPARE(run("make-net root --net-version 1.23 -o net.bin").status, 0);
        const QByteArray net = read("net.bin");
        QCOMPARE(net.left(5), QByteArray("1.23\0", 5));
        QCOMPARE(net.mid(37, 25), QByteArray(25, '\0'));
        QCOMPARE(net.mid(5, 32), shell("tail -c +63 net.bin | md5sum").out.left(32));
        // Unpacked as a module does it.
        QCOMPARE(shell("mkdir new && tail -c +63 net.bin > a.tar.bz2 && "
                       "tar -C new -xf a.tar.bz2 && diff -r root new")
                     .status,
                 0);
        QCOMPARE(shell("tar --numeric-owner -tvjf a.tar.bz2 | awk '{print $2}' | sort -u").out,
                 QByteArray("0/0\n"));
    }

    void makesNetFromAnArchive()
    {
        shell("tar -C root -cjf a.tar.bz2 etc");
        const Ran made = run("make-net a.tar.bz2 --net-version 9.00 -o net.bin --json");
        QCOMPARE(made.status, 0);
        const QByteArray archive = read("a.tar.bz2");
        QCOMPARE(read("net.bin").mid(62), archive);
        QCOMPARE(made.at("md5").toString().toLatin1(), shell("md5sum a.tar.bz2").out.left(32));
        QCOMPARE(made.at("size").toInt(), 62 + archive.size());
    }

    void refusesNetSources_data()
    {
        const tests::DataTable<QString, QString> row("make", "problem");
        row("missing", "true", "1 file-unreadable");
        row("empty folder", "mkdir s", "1 not-an-archive");
        row("empty file", "touch s", "1 not-an-archive");
        row("no bzip2", "tar -cf s img", "1 not-an-archive");
        row("no tar", "echo text | bzip2 > s", "1 not-an-archive");
        row("cut archive", "tar -cj img | head -c 60 > s", "1 not-an-archive");
        row("good", "tar -cjf s img", "0 ");
        const QString withRoot =
            QStringLiteral("mkdir -p r/etc; chmod %1 r; tar -C r -cjf s %2; chmod 755 r; rm -r r");
        row("root of one user", withRoot.arg("700", "."), "1 archive-root");
        row("root of a group", withRoot.arg("1750", "."), "1 archive-root");
        row("root that a group may write", withRoot.arg("775", "."), "1 archive-root");
        row("root that all may write", withRoot.arg("1757", "."), "1 archive-root");
        row("root that cannot be listed", withRoot.arg("711", "."), "1 archive-root");
        row("root by its path", withRoot.arg("700", "-P --no-recursion --transform 's,.*,/,' ."),
            "1 archive-root");
        row("root after the rest", withRoot.arg("700", "--no-recursion ./etc ././"),
            "1 archive-root");
        row("good root", withRoot.arg("755", "."), "0 ");
        row("good root without a writer", withRoot.arg("555", "."), "0 ");
        row("folder of one user in the root", withRoot.arg("755", "--mode 700 ./etc"), "0 ");
        row("folder with an odd name",
            "mkdir -p 'r/a ./'; chmod 700 'r/a .'; tar -C r -cjf s 'a .'; rm -r r", "0 ");
    }

    void refusesNetSources()
    {
        QFETCH(QString, make);
        shell(make);
        const QStringList before = names();
        const Ran made = run("make-net s --net-version 1.23 -o net.bin --json");
        QTEST(made.problem(), "problem");
        if (made.status == 0)
            return;
        // The archiver's own words do not say which file it is about.
        QVERIFY(made.at("error.detail").toString().startsWith('s'));
        QCOMPARE(names(), before);
    }

    void namesTheNetSource()
    {
        const Ran noArchiver =
            shell("PATH=/nowhere " FWM_PROGRAM " make-net img --net-version 1.23 -o net.bin");
        QCOMPARE(noArchiver.status, 1);
        QVERIFY2(noArchiver.err.startsWith("fwm: error: the archiver tar failed: img: "),
                 noArchiver.err.constData());
    }

    /** Unpacked over the module's root, such an archive locks out the agent's user. */
    void namesTheRootsPermissions()
    {
        shell("chmod 700 root; tar -C root -cjf s .");
        const Ran made = run("make-net s --net-version 1.23 -o net.bin --json");
        QCOMPARE(made.problem(), QString("1 archive-root"));
        QCOMPARE(made.at("error.detail").toString(), QString("s: drwx------"));
    }

    void folderItselfStaysOut()
    {
        shell("chmod 700 root");
        QCOMPARE(run("make-net root --net-version 1.23 -o net.bin").status, 0);
        QCOMPARE(shell("tail -c +63 net.bin | tar -tj").out, QByteArray("./etc/\n./etc/name\n"));
    }

    void outputStaysOutOfTheFolder_data()
    {
        const tests::DataTable<QString, QString, bool> row("source", "output", "isInside");
        row("in it", "root", "root/net.bin", true);
        row("below it", "root", "root/etc/net.bin", true);
        row("by a detour", "root/etc/..", "other/../root/net.bin", true);
        row("the source is a link", "link", "root/net.bin", true);
        row("the output's folder is a link", "root", "link/net.bin", true);
        row("the output is a link into it", "root", "net-link.bin", true);
        row("here", ".", "net.bin", true);
        row("a link in it leads out", "root", "root/out/net.bin", false);
        row("a name that begins alike", "root", "root2/net.bin", false);
        row("beside it", "root", "net.bin", false);
    }

    /** Otherwise the next image would contain this one. */
    void outputStaysOutOfTheFolder()
    {
        QFETCH(QString, source);
        QFETCH(QString, output);
        QFETCH(bool, isInside);
        shell("mkdir root2 other; ln -s root link; ln -s ../other root/out; "
              "ln -s root/new.bin net-link.bin");
        const QByteArray before = shell("find . | sort").out;
        const Ran made = run("make-net " + source + " --net-version 1.23 -o " + output);
        QCOMPARE(made.status, isInside ? 2 : 0);
        if (!isInside)
            return;
        QCOMPARE(made.err,
                 "fwm: error: the output is inside the source folder, so the next image would "
                 "contain it: " +
                     output.toLatin1() + "\n  Give -o a name outside of that folder.\n");
        QCOMPARE(shell("find . | sort").out, before);
    }

    void addsNet()
    {
        QCOMPARE(run("build request.json -o FW.fwm").status, 0);
        makeNet("net.bin", "2.07");
        const Ran added = run("add-net FW.fwm net.bin -o new.fwm --release 1.0.2");
        QCOMPARE(added.status, 0);
        QCOMPARE(added.err, QByteArray());
        QCOMPARE(run("verify new.fwm").status, 0);
        QCOMPARE(run("list new.fwm").out,
                 QByteArray("MAIN-A,0,1,1,1,65,1,2,3\nNET,32,1,0,0,0,2,7,0\n"));
        QCOMPARE(run("diff FW.fwm new.fwm").out,
                 QByteArray("release: 1.0.1 -> 1.0.2\n+ NET (chip type 32), version 2.7.0\n"));
        QCOMPARE(run("extract new.fwm -o out").status, 0);
        QCOMPARE(read("out/02-NET.bin"), read("net.bin"));
        QCOMPARE(read("out/01-MAIN-A.bin"), read("img/main.bin"));
    }

    void addsNetInPlace()
    {
        QVERIFY(QFile::copy(goldenPath("good"), path("FW.fwm")));
        makeNet("net.bin", "3.00");
        const Ran added = run("add-net FW.fwm net.bin -o FW.fwm --json");
        QCOMPARE(added.status, 0);
        QCOMPARE(added.at("replaced").toBool(), true);
        QCOMPARE(added.at("image_count").toInt(), 3);
        QCOMPARE(run("verify FW.fwm").status, 0);
        const Ran differences = run("diff {good} FW.fwm");
        QVERIFY(differences.out.startsWith("! NET (chip type 32): version 1.23.0 -> 3.0.0"));
        QCOMPARE(differences.out.count('\n'), 1);
    }

    void refusesToAddNet_data()
    {
        const tests::DataTable<QString, QString> row("files", "problem");
        row("no package", "none net.bin", "1 file-unreadable");
        row("no image", "{good} none", "1 file-unreadable");
        row("folder as image", "{good} img", "1 file-unreadable");
        row("damaged image", "{good} bad.bin", "7 net-image-damaged");
        row("short image", "{good} short.bin", "7 net-image-invalid");
        row("another file", "{good} img/main.bin", "7 net-image-invalid");
        row("a package", "{good} {good}", "7 net-image-invalid");
        row("huge image", "{good} big.bin", "1 image-too-large");
        row("checksum", "{checksum-wrong} net.bin", "7 checksum-wrong");
        row("bare", "{bare} net.bin", "7 no-checksum");
        row("no magic", "{no-magic} net.bin", "7 not-a-package");
        row("version", "{version-7} net.bin", "7 unknown-version");
        row("JSON", "{json-not-json} net.bin", "7 description-unreadable");
        row("records", "{record-cut} net.bin", "7 records-damaged");
    }

    void refusesToAddNet()
    {
        QFETCH(QString, files);
        makeNet("net.bin", "1.23");
        write("short.bin", "1.23");
        if (shell("(cat net.bin; echo) > bad.bin; truncate -s 4G big.bin").status != 0)
            QSKIP("No files of 4 GiB here");
        const QStringList before = names();
        const Ran added = run("add-net " + files + " -o new.fwm --json");
        QTEST(added.problem(), "problem");
        // What is wrong is the second file with a sound package, and the first one otherwise.
        const QString wrong =
            files.section(' ', files.startsWith("{good}") ? 1 : 0).section(' ', 0, 0);
        const QString detail = added.at("error.detail").toString();
        QVERIFY2(detail.startsWith(wrong.startsWith('{') ? GOLDEN_DIR : wrong), qPrintable(detail));
        QCOMPARE(names(), before);
    }

private:
    static void commands(const QStringList &lines)
    {
        QTest::addColumn<QString>("command");
        for (const QString &line : lines)
            QTest::newRow(qPrintable(line)) << line;
    }

    /** A sound image of the network module. */
    void makeNet(const QString &name, const QString &version)
    {
        QCOMPARE(run("make-net root --net-version " + version + " -o " + name).status, 0);
    }
};

AGENT_TEST(TestWriting)

} // namespace tst_writing

#include "tst_writing.moc"
