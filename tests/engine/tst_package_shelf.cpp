// SPDX-License-Identifier: Apache-2.0
#include "bytes/ByteSource.h"
#include "engine/PartBench.h"
#include "engine/Scenario.h"
#include "engine/package/PackageShelf.h"
#include "support/TestCase.h"

#include <QTemporaryDir>

namespace engine::tst_package_shelf {

using bytes::BytesSource;

namespace {

/** Two images for chips of the types 1 and 2. */
QByteArray good()
{
    return makePackage({testImage("AUX", 1, {1, 0, 0}), testImage("AUX", 2, {1, 0, 0})});
}

struct ShelfBench : ReportBench
{
    ShelfBench()
        : shelf(
              output, [this] { ++unreadable; }, dir.filePath("keys"))
    {
    }

    QString path() const { return dir.filePath("FW.fwm"); }
    void setPackage(const QByteArray &bytes) const { storePackage(path(), bytes); }
    bool isEmpty() const
    {
        return shelf.model().isEmpty() && shelf.version().isEmpty() && shelf.json().isEmpty() &&
               shelf.firmwareList().isEmpty();
    }

    QTemporaryDir dir;
    int unreadable = 0;
    PackageShelf shelf;
};

const QString sumOk = QString("Firmware file checksum ok.");
const QString version6 = QString("Firmware package version: 6");

} // namespace

class TestPackageShelf : public QObject
{
    Q_OBJECT

private slots:
    void keepsWhatItLists()
    {
        ShelfBench bench;
        bench.setPackage(good());
        const QString json = bench.shelf.list("file:///" + bench.path(), false);
        QVERIFY(json.startsWith('{'));
        QCOMPARE(bench.shelf.json(), json);
        QCOMPARE(bench.shelf.model(), QString("HX-8"));
        QCOMPARE(bench.shelf.version(), QString("1.0.12"));
        QCOMPARE(bench.shelf.firmwareList(),
                 QStringList({"AUX,1,1,1,1,65,1,0,0", "AUX,2,1,1,1,65,1,0,0"}));
        QCOMPARE(bench.shelf.entryOf(2).join(','), bench.shelf.firmwareList().last());
        QVERIFY(bench.shelf.entryOf(3).isEmpty());
        QCOMPARE(bench.lines,
                 QStringList({sumOk, version6, "Model Name: HX-8", "Version: 1.0.12"}));
    }

    /** It has no checksum that could be right. */
    void bareFormIsListed()
    {
        ShelfBench bench;
        bench.setPackage(bareForm(good(), 2));
        QVERIFY(bench.shelf.list(bench.path(), false).startsWith('{'));
        QCOMPARE(bench.shelf.model(), QString("HX-8"));
        QVERIFY(!bench.lines.contains(sumOk));
    }

    void problems_data()
    {
        const tests::DataTable<QByteArray, QString, QStringList, bool> rows("package", "text",
                                                                            "lines", "keeps");
        rows("wrong checksum", good() + "x", "ERROR:Firmware file checksum error.",
             QStringList{"APPSTATUS|2"}, false);
        rows("something else", withChecksum("something else"), "ERROR:Invalid firmware file",
             QStringList{sumOk, "Invalid firmware file"}, false);
        rows("unknown version", withVersion(good(), 7), {},
             QStringList{sumOk, "Invalid firmware file, file head error."}, false);
        rows("no JSON", packageWithJson("{"), {},
             QStringList{sumOk, version6, "Data struct error!"}, false);
        rows("no object", packageWithJson("[1]"), {},
             QStringList{sumOk, version6, "Data struct error!"}, false);
        rows(
            "no list of chips", packageWithJson(R"({"model": "M", "version": "V", "chips": 1})"),
            {},
            QStringList{sumOk, version6, "Model Name: M", "Version: V", "Data struct chips error!"},
            true);
    }

    void problems()
    {
        QFETCH(QByteArray, package);
        QFETCH(QString, text);
        QFETCH(bool, keeps);
        ShelfBench bench;
        bench.setPackage(good());
        bench.shelf.list(bench.path(), false);
        bench.lines.clear();
        bench.setPackage(package);
        // A quiet list returns the text, and leaves everything else as it was.
        QCOMPARE(bench.shelf.list(bench.path(), true), text);
        QVERIFY(bench.lines.isEmpty());
        QCOMPARE(bench.shelf.model(), QString("HX-8"));
        QCOMPARE(bench.shelf.list(bench.path(), false), text);
        QTEST(bench.lines, "lines");
        QCOMPARE(!bench.isEmpty(), keeps);
        QCOMPARE(bench.unreadable, 0);
    }

    void unreadablePackageIsReported_data()
    {
        const tests::DataTable<bool, int, QString> rows("exists", "check", "text");
        rows("missing", false, 1, "ERROR:Firmware file is not exist.");
        rows("unreadable", true, 2, "ERROR:Faild to open firmware file.");
    }

    void unreadablePackageIsReported()
    {
        QFETCH(bool, exists);
        QFETCH(int, check);
        QFETCH(QString, text);
        ShelfBench bench;
        if (exists) // a folder cannot be opened
            QVERIFY(QDir().mkpath(bench.path()));
        QCOMPARE(int(bench.shelf.check(bench.path())), check);
        QCOMPARE(bench.unreadable, 1);
        QCOMPARE(bench.shelf.list(bench.path(), false), text);
        QCOMPARE(bench.unreadable, 2);
        QCOMPARE(bench.lines, QStringList{"APPSTATUS|2"});
        QCOMPARE(bench.shelf.list(bench.path(), true), text);
        QCOMPARE(bench.unreadable, 2);
        QCOMPARE(bench.lines.size(), 1);
    }

    void runKeepsWithoutAWord()
    {
        ShelfBench bench;
        BytesSource package(good());
        bench.shelf.keepForRun(package);
        QCOMPARE(bench.shelf.model(), QString("HX-8"));
        QCOMPARE(bench.shelf.firmwareList().size(), 2);
        BytesSource nothing{QByteArray()};
        bench.shelf.keepForRun(nothing);
        QVERIFY(bench.isEmpty());
        QVERIFY(bench.lines.isEmpty());
    }

    void changedFileIsCheckedAgain()
    {
        ShelfBench bench;
        QByteArray package = good();
        bench.setPackage(package);
        QCOMPARE(int(bench.shelf.check(bench.path())), 3);
        package[package.size() - 1] = char(package.back() ^ 1);
        bench.setPackage(package);
        QCOMPARE(int(bench.shelf.check(bench.path())), 4);
    }
};

AGENT_TEST(TestPackageShelf)

} // namespace engine::tst_package_shelf

#include "tst_package_shelf.moc"
