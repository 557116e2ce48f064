// SPDX-License-Identifier: Apache-2.0
#include "bytes/FileSource.h"
#include "engine/Scenario.h"
#include "package/PackageChecksum.h"
#include "support/FullDisk.h"
#include "support/TestCase.h"

#include <QCryptographicHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>

namespace engine::tst_building {

using bytes::FileSource;
using package::checkPackage;

namespace {

QByteArray netFile(const QByteArray &archive, const char *version = "1.23", bool upperCase = false)
{
    const QByteArray md5 = QCryptographicHash::hash(archive, QCryptographicHash::Md5).toHex();
    return version + QByteArray(1, '\0') + (upperCase ? md5.toUpper() : md5) +
           QByteArray(25, '\0') + archive;
}

QJsonObject pcb(const QString &file)
{
    return {{"name", "PCB"},      {"pcb_version", "3"},    {"speciality", "A"},
            {"ver1", "1"},        {"ver2", "2"},           {"ver3", "3"},
            {"fw_file", file},    {"in_chip_type", "0"},   {"in_chip_quanity", "1"},
            {"in_mcu_type", "2"}, {"in_pcb_version", "3"}, {"in_speciality", "65"},
            {"in_ver1", "1"},     {"in_ver2", "2"},        {"in_ver3", "3"}};
}

QString request(const QJsonArray &pcbs, const char *chipType = "1")
{
    const QJsonObject mcu{{"mcu_type", "2"}, {"pcbs", pcbs}};
    const QJsonObject chip{{"name", "MAIN"},
                           {"chip_type", chipType},
                           {"chip_quanity", "1"},
                           {"mcus", QJsonArray{mcu}}};
    const QJsonObject all{{"model", "HX-8"}, {"version", "1.0.12"}, {"chips", QJsonArray{chip}}};
    return QString::fromUtf8(QJsonDocument(all).toJson(QJsonDocument::Compact));
}

struct Fixture : Scenario
{
    Fixture() : Scenario({testChip("MAIN", 0, 0, "1.0.0", 2)}, {testImage("MAIN", 0, {9, 0, 0}, 2)})
    {
        write("image.bin", patternImage(700, 4));
        write("net.bin", netFile(patternImage(5000, 5)));
        lines.clear();
    }

    QString path(const char *name) const
    {
        return QFileInfo(packagePath()).dir().filePath(QLatin1String(name));
    }

    void write(const char *name, const QByteArray &bytes) const
    {
        QFile file(path(name));
        if (!file.open(QIODevice::WriteOnly) || file.write(bytes) != bytes.size())
            qFatal("cannot write a test file");
    }

    QByteArray read(const char *name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("none");
    }

    QStringList files() const { return QFileInfo(packagePath()).dir().entryList(QDir::Files); }

    void merge(const QString &json)
    {
        lines.clear();
        engine->mergeFW(path("new.fwm"), json);
    }

    void mergeNet(const char *package, const char *net, const char *target,
                  const QString &release = QString())
    {
        lines.clear();
        engine->mergeNetFirmware(path(package), path(net), path(target), release);
    }

    QString text(const char *words) const
    {
        return QString::fromLatin1(words).replace(QLatin1String("NEW"), path("new.fwm"));
    }

    bool checksumHolds(const char *name) const
    {
        FileSource source(path(name));
        return source.open() && checkPackage(source).matches();
    }
};

const char *const started = "MF|Start to merge firmware.";

} // namespace

/** Packages built by the engine, with everything that it says of them. */
class TestBuilding : public QObject
{
    Q_OBJECT

private slots:
    void merges()
    {
        Fixture fixture;
        const QString json = request({pcb(fixture.path("image.bin"))});
        fixture.merge(json);
        QCOMPARE(fixture.lines,
                 QStringList({started, fixture.text("MF|Merge firmware 'NEW' success!")}));
        const QByteArray package = fixture.read("new.fwm");
        const QByteArray record = QByteArray::fromHex("00010203410102"
                                                      "03"
                                                      "bc020000");
        QByteArray body("MTU\0\6", 5);
        body.append(char(json.size() & 0xFF)).append(char(json.size() >> 8));
        QCOMPARE(package.mid(8), body + json.toUtf8() + record + patternImage(700, 4));
        QVERIFY(fixture.checksumHolds("new.fwm"));
    }

    void mergedPackageUpgrades()
    {
        Fixture fixture;
        fixture.merge(request({pcb(fixture.path("image.bin"))}));
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->uploadByMergeFW(fixture.path("new.fwm"), {"MAIN,0,0,2,3,65,0,0,0"}, 1);
        QVERIFY(fixture.waitForEnd());
        QVERIFY(compareFlash(fixture.device.flash(0, 0), patternImage(700, 4)).equal);
    }

    void badRequests_data()
    {
        const tests::DataTable<QString, QString> rows("json", "said");
        rows("no JSON", "{", "MF|Data struct error, merge fail!");
        rows("empty", "", "MF|Data struct error, merge fail!");
        rows("a list", "[]", "MF|Merge data struct error, merge 'NEW' fail!");
        rows("no chips", "{}", "MF|Merge data struct chips error, merge 'NEW' fail!");
        rows("chips no list", R"({"chips": 1})",
             "MF|Merge data struct chips error, merge 'NEW' fail!");
    }

    void badRequests()
    {
        QFETCH(QString, json);
        QFETCH(QString, said);
        Fixture fixture;
        const QStringList before = fixture.files();
        fixture.merge(json);
        QCOMPARE(fixture.lines, QStringList({started, fixture.text(qPrintable(said))}));
        QCOMPARE(fixture.files(), before);
    }

    void missingVer3()
    {
        Fixture fixture;
        QJsonObject without = pcb(fixture.path("none.bin"));
        without.remove("ver3");
        const QStringList before = fixture.files();
        fixture.merge(request({pcb(fixture.path("image.bin")), without}));
        QCOMPARE(fixture.lines,
                 QStringList({started, "MF|Merge file fail, need Ver3 in each MCU."}));
        QCOMPARE(fixture.files(), before);
    }

    void badFiles_data()
    {
        const tests::DataTable<QString, QString> rows("name", "said");
        rows("missing", "none.bin", "MF|Firmware file 'FILE' do not exist. Merge failed.");
        rows("a folder", ".", "MF|Open file 'FILE' error. Merge failed.");
    }

    void badFiles()
    {
        QFETCH(QString, name);
        QFETCH(QString, said);
        Fixture fixture;
        const QString file = fixture.path(qPrintable(name));
        const QStringList before = fixture.files();
        fixture.merge(request({pcb(fixture.path("image.bin")), pcb(file)}));
        QCOMPARE(fixture.lines, QStringList({started, said.replace(QLatin1String("FILE"), file)}));
        QCOMPARE(fixture.files(), before);
    }

    /** A failed build takes nothing away. */
    void earlierPackageStays()
    {
        Fixture fixture;
        fixture.write("new.fwm", "earlier");
        fixture.merge(request({pcb(fixture.path("none.bin"))}));
        QCOMPARE(fixture.read("new.fwm"), QByteArray("earlier"));
        fixture.merge(request({pcb(fixture.path("image.bin"))}));
        QVERIFY(fixture.checksumHolds("new.fwm"));
    }

    void cannotCreate()
    {
        Fixture fixture;
        fixture.lines.clear();
        fixture.engine->mergeFW(fixture.path("no/such/folder.fwm"),
                                request({pcb(fixture.path("image.bin"))}));
        QCOMPARE(fixture.lines, QStringList({started, "MF|Failed to create file"}));
    }

    /** Wherever the disk is full, in the head, the image or the last byte, there is no package. */
    void diskFull()
    {
        Fixture fixture;
        const QString json = request({pcb(fixture.path("image.bin"))});
        fixture.merge(json);
        const int size = fixture.read("new.fwm").size();
        QVERIFY(QFile::remove(fixture.path("new.fwm")));
        const QStringList before = fixture.files();
        for (const int bytes : {0, 10, 200, size - 1}) {
            {
                const FullDisk full(static_cast<unsigned long>(bytes));
                fixture.merge(json);
            }
            QCOMPARE(fixture.lines,
                     QStringList({started, fixture.text("MF|Merge firmware 'NEW' fail!")}));
            QCOMPARE(fixture.files(), before);
        }
    }

    /** A record's length has 32 bits. */
    void imageBeyondTheFormat()
    {
        Fixture fixture;
        QFile image(fixture.path("image.bin"));
        QVERIFY(image.resize(1LL << 32)); // sparse
        const QStringList before = fixture.files();
        fixture.merge(request({pcb(image.fileName())}));
        QCOMPARE(fixture.lines, QStringList({started, "MF|Open file '" + image.fileName() +
                                                          "' error. Merge failed."}));
        QCOMPARE(fixture.files(), before);
    }

    void checksNetFiles()
    {
        Fixture fixture;
        QVERIFY(fixture.engine->checkNetFirmware(fixture.path("net.bin")));
        fixture.write("net.bin", netFile("archive") + "x");
        QVERIFY(!fixture.engine->checkNetFirmware(fixture.path("net.bin")));
        QVERIFY(fixture.lines.isEmpty());
        QVERIFY(!fixture.engine->checkNetFirmware(fixture.path("none.bin")));
        QCOMPARE(fixture.lines, QStringList{"NMF|Open Net firmware error, check fail."});
    }

    void mergesNet()
    {
        Fixture fixture;
        fixture.mergeNet("FW.fwm", "net.bin", "new.fwm", QString("2.7"));
        QVERIFY(sameTranscript(fixture.lines, {"NMF|FWM file checksum ok.",
                                               "NMF|FWM file does not contain NET firmware.",
                                               "NMF|Create FWM file success",
                                               fixture.text("NMF|Merge firmware 'NEW' success!")}));
        QVERIFY(fixture.checksumHolds("new.fwm"));
        const QByteArray old = fixture.read("FW.fwm");
        const QByteArray record = old.mid(old.size() - 268);
        const QByteArray netRecord = QByteArray::fromHex("2001000000011700") +
                                     QByteArray::fromHex("c6130000") + fixture.read("net.bin");
        QVERIFY(fixture.read("new.fwm").endsWith(record + netRecord));
        fixture.lines.clear();
        fixture.engine->getMergeFWJSON(fixture.path("new.fwm"));
        QVERIFY(fixture.lines.contains("Version: 2.7"));
        QCOMPARE(fixture.engine->getFWInfoByChipType(32),
                 QStringList({"NET", "32", "1", "0", "0", "0", "1", "23", "0"}));

        fixture.mergeNet("new.fwm", "net.bin", "again.fwm");
        QCOMPARE(fixture.lines.at(1), QString("NMF|FWM file contains NET firmware."));
        QCOMPARE(fixture.read("again.fwm"), fixture.read("new.fwm"));
    }

    void mergesNetInPlace()
    {
        Fixture fixture;
        fixture.mergeNet("FW.fwm", "net.bin", "FW.fwm");
        QVERIFY(fixture.lines.last().endsWith("success!"));
        QVERIFY(fixture.checksumHolds("FW.fwm"));
        QVERIFY(fixture.read("FW.fwm").endsWith(fixture.read("net.bin")));
    }

    void refusesNet_data()
    {
        const tests::DataTable<QByteArray, QByteArray, QStringList> rows("package", "net", "said");
        const QByteArray good = makePackage({testImage("MAIN", 0, {9, 0, 0})});
        const QByteArray net = netFile("archive");
        const auto json = [](const QByteArray &text) {
            QByteArray body("MTU\0\6", 5);
            body.append(char(text.size())).append('\0');
            return withChecksum(body + text);
        };
        rows("no magic", withChecksum("MTX" + good.mid(11)), net,
             QStringList{"NMF|FWM file header error."});
        rows("version 7", withVersion(good, 7), net,
             QStringList{"NMF|Invalid firmware file, file head error."});
        rows("checksum wrong", good + "x", net, {});
        rows("no JSON", json("{"), net, QStringList{"NMF|Data struct error!"});
        rows("a list", json("[]"), net, QStringList{"NMF|Document is not an object or array"});
        rows("no chips", json("{}"), net, QStringList{"NMF|Data struct chips error!"});
        rows("record cut", withChecksum(good.mid(8, good.size() - 9)), net,
             QStringList{"NMF|Find NET firmware error"});
        rows("NET damaged", good, net + "x", {});
        rows("no NET", good, {}, QStringList{"NMF|Open Net firmware error, check fail."});
        rows("no package", {}, net, QStringList{"NMF|Failed to open FWM file"});
    }

    void refusesNet()
    {
        QFETCH(QByteArray, package);
        QFETCH(QByteArray, net);
        QFETCH(QStringList, said);
        Fixture fixture;
        if (!package.isNull())
            fixture.write("old.fwm", package);
        if (!net.isNull())
            fixture.write("other.bin", net);
        const QStringList before = fixture.files();
        fixture.mergeNet("old.fwm", "other.bin", "new.fwm");
        QCOMPARE(fixture.lines, said + QStringList{fixture.text("NMF|Merge firmware 'NEW' fail!")});
        QCOMPARE(fixture.files(), before);
    }

    void netCannotCreate()
    {
        Fixture fixture;
        fixture.mergeNet("FW.fwm", "net.bin", "no/such/folder.fwm");
        QCOMPARE(fixture.lines.at(2), QString("NMF|Failed to create FWM file"));
        QVERIFY(fixture.lines.last().endsWith("fail!"));
    }

    void netDiskFull()
    {
        Fixture fixture;
        fixture.mergeNet("FW.fwm", "net.bin", "new.fwm");
        const int size = fixture.read("new.fwm").size();
        QVERIFY(QFile::remove(fixture.path("new.fwm")));
        const QStringList before = fixture.files();
        for (const int bytes : {0, 200, size - 1}) {
            {
                const FullDisk full(static_cast<unsigned long>(bytes));
                fixture.mergeNet("FW.fwm", "net.bin", "new.fwm");
            }
            QCOMPARE(fixture.lines.last(), fixture.text("NMF|Merge firmware 'NEW' fail!"));
            QCOMPARE(fixture.files(), before);
        }
    }
};

AGENT_TEST(TestBuilding)

} // namespace engine::tst_building

#include "tst_building.moc"
