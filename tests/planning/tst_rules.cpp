// SPDX-License-Identifier: Apache-2.0
#include "bytes/ByteSource.h"
#include "package/PackageLayout.h"
#include "planning/CandidateWalk.h"
#include "planning/ImageChoice.h"
#include "planning/RunRules.h"
#include "planning/UpgradeMode.h"
#include "planning/VirtualVersion.h"
#include "support/TestCase.h"

Q_DECLARE_METATYPE(planning::ImageChoice::Kind)
Q_DECLARE_METATYPE(planning::ImageRules::Net)

namespace planning::tst_rules {

using bytes::BytesSource;
using package::MatchMask;

using Kind = ImageChoice::Kind;
using Net = ImageRules::Net;

namespace {

/** A package without a description whose records have these chip types and image sizes. */
QByteArray packageOf(const QVector<QPair<int, int>> &images)
{
    QByteArray package(package::jsonOffset, '\0');
    for (const auto &[chipType, size] : images) {
        package += QByteArray(1, char(chipType)) + "\x01\x01\x01\x41\x01\x02\x03";
        package += QByteArray(1, char(size)) + QByteArray(3, '\0') + QByteArray(size, 'x');
    }
    return package;
}

} // namespace

class TestRules : public QObject
{
    Q_OBJECT

private slots:
    void packageForms()
    {
        QCOMPARE(packageForm(std::nullopt), PackageForm::NotAPackage);
        QCOMPARE(packageForm(1), PackageForm::Unknown);
        QCOMPARE(packageForm(2), PackageForm::TooOld);
        QCOMPARE(packageForm(5), PackageForm::TooOld);
        QCOMPARE(packageForm(6), PackageForm::Usable);
        QCOMPARE(packageForm(7), PackageForm::Usable);
    }

    void modes()
    {
        QCOMPARE(maskOf(upgradeMode::newerOnly).text(), MatchMask::newerVersion().text());
        for (const int mode : {upgradeMode::imagesOnly, upgradeMode::forced}) {
            QCOMPARE(maskOf(mode).text(), MatchMask::anyVersion().text());
            QVERIFY(!comparesModel(mode));
        }
        QVERIFY(comparesModel(upgradeMode::newerOnly));
    }

    void modelNames()
    {
        QCOMPARE(modelName("HX-8"), QString("HX-8"));
        QCOMPARE(modelName(QByteArray("HX-8\0\0", 6)), QString("HX-8"));
        QCOMPARE(modelName(QByteArray("\0H\0", 3)), QString::fromLatin1("\0H", 2));
        QCOMPARE(modelName(QByteArray()), QString());
    }

    /** Only the row of chip type 0 and index 0 is about the main MCU. */
    void mainMcu()
    {
        const TypeAndIndexTable rows({"MAIN,0,0,1,1,65,,,,1", "MAIN,0,0,1,1,65,,,,0",
                                      "MAIN,0,1,1,1,65,,,,1", "AUX,1,0,1,1,65,,,,1"});
        for (int line = 0; line < rows.count(); ++line) {
            QCOMPARE(silenceEndsRun(rows, line), line < 2);
            QCOMPARE(recordEndsRun(rows, line, false), line < 2);
            QVERIFY(!recordEndsRun(rows, line, true));
            QCOMPARE(goesFirst(rows, line), line == 0);
        }
    }

    void virtualVersions()
    {
        QCOMPARE(virtualVersionAfter(true, "1.0.12"), std::optional<quint8>(12));
        QCOMPARE(virtualVersionAfter(true, "beta"), std::optional<quint8>(0));
        QCOMPARE(virtualVersionAfter(true, ""), std::optional<quint8>());
        QCOMPARE(virtualVersionAfter(false, "1.0.12"), std::optional<quint8>());
    }

    void badRows()
    {
        for (const QStringList &row : {QStringList{""}, QStringList{"A", "1"}})
            QCOMPARE(decideForRow(row, {"A,1,1,1,1,65,1,0,0"}, MatchMask()).verdict,
                     Decision::Verdict::BadRow);
        QCOMPARE(decideForRow({"A", "1", "0"}, {}, MatchMask()).verdict,
                 Decision::Verdict::NoFirmware);
    }

    void images_data()
    {
        const tests::DataTable<QString, Net, Kind, int> rows("row", "net", "kind", "length");
        rows("MCU", "A,1,0,1,1,65", Net::Install, Kind::Write, 20);
        rows("other board", "A,1,0,1,2,65", Net::Install, Kind::NoImage, 0);
        rows("no record", "A,3,0,1,1,65", Net::Install, Kind::NoImage, 0);
        rows("no bytes", "A,4,0,1,1,65", Net::Install, Kind::NoImage, 0);
        rows("too long", "A,2,0,1,1,65", Net::Install, Kind::TooLong, 21);
        rows("type of two bytes", "A,256,0,1,1,65", Net::Install, Kind::BadChip, 0);
        rows("no index", "A,1,,1,1,65", Net::Install, Kind::BadChip, 0);
        rows("FPGA", "A,17,0,,,", Net::Install, Kind::Write, 1);
        rows("module installs", "A,32,0,,,", Net::Install, Kind::Install, 2);
        rows("device stores it", "A,32,0,,,", Net::SendToDevice, Kind::Write, 2);
        rows("not handled", "A,32,0,,,", Net::Refuse, Kind::NotHandled, 2);
    }

    void images()
    {
        QFETCH(QString, row);
        QFETCH(Net, net);
        QFETCH(Kind, kind);
        QFETCH(int, length);
        BytesSource package(packageOf({{1, 20}, {2, 21}, {4, 0}, {17, 1}, {32, 2}}));
        const TypeAndIndexTable rows(QStringList{"other", row});
        const ImageChoice choice =
            chooseImage(rows, 1, MatchMask::anyVersion(), package, {20, net});
        QCOMPARE(choice.kind, kind);
        QCOMPARE(choice.record ? int(choice.record->length) : 0, length);
    }
};

AGENT_TEST(TestRules)

} // namespace planning::tst_rules

#include "tst_rules.moc"
