// SPDX-License-Identifier: Apache-2.0
#include "planning/CandidateWalk.h"
#include "planning/VersionRule.h"
#include "support/TestCase.h"

Q_DECLARE_METATYPE(planning::Decision::Verdict)

namespace planning::tst_decide {

using package::MatchMask;

namespace {

using Verdict = Decision::Verdict;

QStringList row(const char *text)
{
    return QString::fromLatin1(text).split(',');
}

const QString greater =
    QString("Firmware version V%1 greater than the 'A' version V%2, will upgrade.");
const QString equal =
    QString("Firmware version V%1 equal to the 'A' version V%2, will not upgrade.");
const QString less =
    QString("Firmware version V%1 less than the 'A' version V%2, will not upgrade.");

} // namespace

class TestDecide : public QObject
{
    Q_OBJECT

private slots:
    void versions_data()
    {
        const tests::DataTable<QString, QString, int> rows("package", "running", "order");
        constexpr int isGreater = int(VersionOrder::Greater);
        constexpr int isEqual = int(VersionOrder::Equal);
        constexpr int isLess = int(VersionOrder::Less);
        rows("equal", "1,2,3", "1,2,3", isEqual);
        rows("by number", "1,2,0", "1,10,0", isLess);
        rows("by number, back", "1,10,0", "1,2,0", isGreater);
        rows("first decides", "2,0,0", "1,255,255", isGreater);
        rows("third decides", "1,2,4", "1,2,3", isGreater);
        rows("third is less", "1,2,2", "1,2,3", isLess);
        rows("nothing known", "0,0,1", ",,", isGreater);
        rows("both nothing", "0,0,0", ",,", isEqual);
        rows("two parts", "1,2,0", "1,2", isEqual);
        rows("two parts, newer", "1,2,1", "1,2", isGreater);
        rows("no numbers", "0,0,0", "a,b,c", isEqual);
        rows("leading zeros", "1,2,3", "01,002,3", isEqual);
    }

    void versions()
    {
        QFETCH(QString, package);
        QFETCH(QString, running);
        QFETCH(int, order);
        const auto version = [](const QString &text) {
            return versionOf((QString("n,1,0,2,3,65,") + text).split(','));
        };
        QCOMPARE(int(compareVersions(version(package), version(running))), order);
    }

    void decides_data()
    {
        const tests::DataTable<QStringList, QStringList, bool, Verdict, int, QString> rows(
            "row", "list", "newer", "verdict", "entry", "line");

        const QStringList one{"E,1,1,2,3,65,1,2,3"};
        const auto mcu = row("A,1,0,2,3,65,1,2,2,0,1,0,0");
        rows("newer", mcu, one, true, Verdict::Send, 0, greater.arg("1.2.3", "1.2.2"));
        rows("equal", row("A,1,0,2,3,65,1,2,3"), one, true, Verdict::NotNewer, 0,
             equal.arg("1.2.3", "1.2.3"));
        rows("older", row("A,1,0,2,3,65,1,10,0"), one, true, Verdict::NotNewer, 0,
             less.arg("1.2.3", "1.10.0"));
        rows("version unknown", row("A,1,0,2,3,65,,,"), one, true, Verdict::Send, 0,
             greater.arg("1.2.3", "0.0.0"));
        rows("older, forced", row("A,1,0,2,3,65,9,9,9"), one, false, Verdict::Send, 0, "");
        rows("other MCU type", row("A,1,0,9,3,65,0,0,0"), one, true, Verdict::NoMatch, -1, "");
        rows("other PCB", row("A,1,0,2,9,65,0,0,0"), one, false, Verdict::NoMatch, -1, "");
        rows("other speciality", row("A,1,0,2,3,66,0,0,0"), one, true, Verdict::NoMatch, -1, "");
        // Texts are compared, not numbers.
        rows("leading zero", row("A,1,0,02,3,65,0,0,0"), one, true, Verdict::NoMatch, -1, "");
        rows("other chip", row("A,2,0,2,3,65,0,0,0"), one, true, Verdict::NoFirmware, -1, "");
        rows("empty list", mcu, {}, true, Verdict::NoFirmware, -1, "");
        rows("damaged entries", mcu, QStringList({"", "E", ",,,,,,,,", "E,2"}), true,
             Verdict::NoFirmware, -1, "");
        // Of an FPGA only the version counts.
        const QStringList fpga{"F,17,1,5,6,66,2,0,0"};
        rows("FPGA, newer", row("A,17,0,,,,1,9,,,,0,0"), fpga, true, Verdict::Send, 0,
             greater.arg("2.0.0", "1.9.0"));
        rows("FPGA, equal", row("A,17,0,,,,2,0,,,,0,0"), fpga, true, Verdict::NotNewer, 0,
             equal.arg("2.0.0", "2.0.0"));
        rows("FPGA, forced", row("A,17,0,,,,9,0,"), fpga, false, Verdict::Send, 0, "");
        // Field 2 of an entry is a quantity, that of a row an index: never compared.
        rows("index is not a quantity", row("A,1,7,2,3,65,0,0,0"), one, true, Verdict::Send, 0,
             greater.arg("1.2.3", "0.0.0"));
    }

    void decides()
    {
        QFETCH(QStringList, row);
        QFETCH(QStringList, list);
        QFETCH(bool, newer);
        QFETCH(Verdict, verdict);
        QFETCH(int, entry);
        QFETCH(QString, line);
        const MatchMask mask = newer ? MatchMask::newerVersion() : MatchMask::anyVersion();
        const Decision decision = decideForRow(row, list, mask);
        QCOMPARE(int(decision.verdict), int(verdict));
        QCOMPARE(decision.entry, entry);
        QCOMPARE(decision.line, line);
    }

    void reportsWhatRuledOut()
    {
        const QStringList list{"a,2,1,2,3,65,9,0,0", "b,1,1,9,3,65,9,0,0", "c,1,1,2,9,65,9,0,0",
                               "d,1,1,2,3,66,9,0,0"};
        const Decision decision =
            decideForRow(row("A,1,0,2,3,65,0,0,0"), list, MatchMask::newerVersion());
        QStringList seen;
        for (const auto &rejection : decision.rejections)
            seen.append(QString("%1:%2").arg(rejection.entry).arg(rejection.field));
        QCOMPARE(seen.join(' '), QString("1:3 2:4 3:5"));
    }

    void firstFittingEntryDecides()
    {
        // The second entry fits and is not newer: it ends the walk, although the third is newer.
        const QStringList list{"a,1,1,9,3,65,9,0,0", "b,1,1,2,3,65,1,0,0", "c,1,1,2,3,65,2,0,0"};
        const Decision decision =
            decideForRow(row("A,1,0,2,3,65,1,5,0"), list, MatchMask::newerVersion());
        QCOMPARE(int(decision.verdict), int(Verdict::NotNewer));
        QCOMPARE(decision.entry, 1);
        QCOMPARE(decision.line, less.arg("1.0.0", "1.5.0"));
    }

    void masks_data()
    {
        const tests::DataTable<QString, QStringList, Verdict> rows("mask", "row", "verdict");
        const auto other = row("A,1,0,9,9,99,9,9,9");
        rows("type only", "0,1,0,0,0,0,0,0,0,0,0", other, Verdict::Send);
        // The chip type decides who is a candidate, whatever the mask says.
        rows("nothing", "0,0,0,0,0,0,0,0,0,0,0", other, Verdict::Send);
        rows("nothing, other chip", "0,0,0,0,0,0,0,0,0,0,0", row("A,2,0,2,3,65"),
             Verdict::NoFirmware);
        rows("no exact 1", "0,1,0,01,true, 1,0,0,0,0,0", other, Verdict::Send);
        rows("empty", "", other, Verdict::Send);
        // Field 9 asks for a running application.
        rows("bootcode 0", "0,1,0,0,0,0,0,0,0,1,0", row("A,1,0,,,,,,,0"), Verdict::Send);
        rows("bootcode 1", "0,1,0,0,0,0,0,0,0,1,0", row("A,1,0,,,,,,,1"), Verdict::NoMatch);
        // Fields 7 and 8 are decided with field 6, and without it by nothing.
        rows("7 and 8 alone", "0,1,0,0,0,0,0,1,1,0,0", row("A,1,0,,,,9,9,9"), Verdict::Send);
        rows("index enabled", "0,1,1,0,0,0,0,0,0,0,0", row("A,1,0"), Verdict::NoMatch);
    }

    void masks()
    {
        QFETCH(QString, mask);
        QFETCH(QStringList, row);
        QFETCH(Verdict, verdict);
        const Decision decision = decideForRow(row, {"E,1,1,2,3,65,1,2,3"}, MatchMask(mask));
        QCOMPARE(int(decision.verdict), int(verdict));
    }

    void nameMayHoldAnything()
    {
        QStringList odd = row("A,1,0,2,3,65,0,0,0");
        odd[0] = QString("%5 %1 %%");
        const Decision decision =
            decideForRow(odd, {"E,1,1,2,3,65,1,2,3"}, MatchMask::newerVersion());
        QCOMPARE(decision.line,
                 QString("Firmware version V1.2.3 greater than the '%5 %1 %%' version V0.0.0, "
                         "will upgrade."));
    }
};

AGENT_TEST(TestDecide)

} // namespace planning::tst_decide

#include "tst_decide.moc"
