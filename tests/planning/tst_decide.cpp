// SPDX-License-Identifier: Apache-2.0
#include "planning/CandidateWalk.h"
#include "planning/VersionRule.h"
#include "support/TestCase.h"

#include <QtTest>

Q_DECLARE_METATYPE(planning::Decision::Verdict)

namespace tst_decide {

using package::MatchMask;
using planning::compareVersions;
using planning::decideForRow;
using planning::Decision;
using planning::versionOf;
using planning::VersionOrder;

namespace {

using Verdict = Decision::Verdict;

QStringList row(const char *text)
{
    return QString::fromLatin1(text).split(QLatin1Char(','));
}

const QString greater =
    QStringLiteral("Firmware version V%1 greater than the 'A' version V%2, will upgrade.");
const QString equal =
    QStringLiteral("Firmware version V%1 equal to the 'A' version V%2, will not upgrade.");
const QString less =
    QStringLiteral("Firmware version V%1 less than the 'A' version V%2, will not upgrade.");

} // namespace

class TestDecide : public QObject
{
    Q_OBJECT

private slots:
    void versions_data();
    void versions();
    void decides_data();
    void decides();
    void reportsWhatRuledOut();
    void firstFittingEntryDecides();
    void masks_data();
    void masks();
    void nameMayHoldAnything();
};

void TestDecide::versions_data()
{
    QTest::addColumn<QString>("package");
    QTest::addColumn<QString>("running");
    QTest::addColumn<int>("order");
    constexpr int isGreater = int(VersionOrder::Greater);
    constexpr int isEqual = int(VersionOrder::Equal);
    constexpr int isLess = int(VersionOrder::Less);
    QTest::newRow("equal") << "1,2,3"
                           << "1,2,3" << isEqual;
    QTest::newRow("by number") << "1,2,0"
                               << "1,10,0" << isLess;
    QTest::newRow("by number, back") << "1,10,0"
                                     << "1,2,0" << isGreater;
    QTest::newRow("first decides") << "2,0,0"
                                   << "1,255,255" << isGreater;
    QTest::newRow("third decides") << "1,2,4"
                                   << "1,2,3" << isGreater;
    QTest::newRow("third is less") << "1,2,2"
                                   << "1,2,3" << isLess;
    QTest::newRow("nothing known") << "0,0,1"
                                   << ",," << isGreater;
    QTest::newRow("both nothing") << "0,0,0"
                                  << ",," << isEqual;
    QTest::newRow("two parts") << "1,2,0"
                               << "1,2" << isEqual;
    QTest::newRow("two parts, newer") << "1,2,1"
                                      << "1,2" << isGreater;
    QTest::newRow("no numbers") << "0,0,0"
                                << "a,b,c" << isEqual;
    QTest::newRow("leading zeros") << "1,2,3"
                                   << "01,002,3" << isEqual;
}

void TestDecide::versions()
{
    QFETCH(QString, package);
    QFETCH(QString, running);
    QFETCH(int, order);
    const auto version = [](const QString &text) {
        return versionOf((QStringLiteral("n,1,0,2,3,65,") + text).split(QLatin1Char(',')));
    };
    QCOMPARE(int(compareVersions(version(package), version(running))), order);
}

void TestDecide::decides_data()
{
    QTest::addColumn<QStringList>("row");
    QTest::addColumn<QStringList>("list");
    QTest::addColumn<bool>("newer");
    QTest::addColumn<Verdict>("verdict");
    QTest::addColumn<int>("entry");
    QTest::addColumn<QString>("line");

    const QStringList one{"E,1,1,2,3,65,1,2,3"};
    const auto mcu = row("A,1,0,2,3,65,1,2,2,0,1,0,0");
    QTest::newRow("newer") << mcu << one << true << Verdict::Send << 0
                           << greater.arg("1.2.3", "1.2.2");
    QTest::newRow("equal") << row("A,1,0,2,3,65,1,2,3") << one << true << Verdict::NotNewer << 0
                           << equal.arg("1.2.3", "1.2.3");
    QTest::newRow("older") << row("A,1,0,2,3,65,1,10,0") << one << true << Verdict::NotNewer << 0
                           << less.arg("1.2.3", "1.10.0");
    QTest::newRow("version unknown") << row("A,1,0,2,3,65,,,") << one << true << Verdict::Send << 0
                                     << greater.arg("1.2.3", "0.0.0");
    QTest::newRow("older, forced")
        << row("A,1,0,2,3,65,9,9,9") << one << false << Verdict::Send << 0 << "";
    QTest::newRow("other MCU type")
        << row("A,1,0,9,3,65,0,0,0") << one << true << Verdict::NoMatch << -1 << "";
    QTest::newRow("other PCB") << row("A,1,0,2,9,65,0,0,0") << one << false << Verdict::NoMatch
                               << -1 << "";
    QTest::newRow("other speciality")
        << row("A,1,0,2,3,66,0,0,0") << one << true << Verdict::NoMatch << -1 << "";
    // Texts are compared, not numbers.
    QTest::newRow("leading zero") << row("A,1,0,02,3,65,0,0,0") << one << true << Verdict::NoMatch
                                  << -1 << "";
    QTest::newRow("other chip") << row("A,2,0,2,3,65,0,0,0") << one << true << Verdict::NoFirmware
                                << -1 << "";
    QTest::newRow("empty list") << mcu << QStringList() << true << Verdict::NoFirmware << -1 << "";
    QTest::newRow("damaged entries") << mcu << QStringList({"", "E", ",,,,,,,,", "E,2"}) << true
                                     << Verdict::NoFirmware << -1 << "";
    // Of an FPGA only the version counts.
    const QStringList fpga{"F,17,1,5,6,66,2,0,0"};
    QTest::newRow("FPGA, newer") << row("A,17,0,,,,1,9,,,,0,0") << fpga << true << Verdict::Send
                                 << 0 << greater.arg("2.0.0", "1.9.0");
    QTest::newRow("FPGA, equal") << row("A,17,0,,,,2,0,,,,0,0") << fpga << true << Verdict::NotNewer
                                 << 0 << equal.arg("2.0.0", "2.0.0");
    QTest::newRow("FPGA, forced") << row("A,17,0,,,,9,0,") << fpga << false << Verdict::Send << 0
                                  << "";
    // Field 2 of an entry is a quantity, that of a row an index: never compared.
    QTest::newRow("index is not a quantity") << row("A,1,7,2,3,65,0,0,0") << one << true
                                             << Verdict::Send << 0 << greater.arg("1.2.3", "0.0.0");
}

void TestDecide::decides()
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

void TestDecide::reportsWhatRuledOut()
{
    const QStringList list{"a,2,1,2,3,65,9,0,0", "b,1,1,9,3,65,9,0,0", "c,1,1,2,9,65,9,0,0",
                           "d,1,1,2,3,66,9,0,0"};
    const Decision decision =
        decideForRow(row("A,1,0,2,3,65,0,0,0"), list, MatchMask::newerVersion());
    QStringList seen;
    for (const auto &rejection : decision.rejections)
        seen.append(QStringLiteral("%1:%2").arg(rejection.entry).arg(rejection.field));
    QCOMPARE(seen.join(' '), QStringLiteral("1:3 2:4 3:5"));
}

void TestDecide::firstFittingEntryDecides()
{
    // The second entry fits and is not newer: it ends the walk, although the third is newer.
    const QStringList list{"a,1,1,9,3,65,9,0,0", "b,1,1,2,3,65,1,0,0", "c,1,1,2,3,65,2,0,0"};
    const Decision decision =
        decideForRow(row("A,1,0,2,3,65,1,5,0"), list, MatchMask::newerVersion());
    QCOMPARE(int(decision.verdict), int(Verdict::NotNewer));
    QCOMPARE(decision.entry, 1);
    QCOMPARE(decision.line, less.arg("1.0.0", "1.5.0"));
}

void TestDecide::masks_data()
{
    QTest::addColumn<QString>("mask");
    QTest::addColumn<QStringList>("row");
    QTest::addColumn<Verdict>("verdict");
    const auto other = row("A,1,0,9,9,99,9,9,9");
    QTest::newRow("type only") << "0,1,0,0,0,0,0,0,0,0,0" << other << Verdict::Send;
    // The chip type decides who is a candidate, whatever the mask says.
    QTest::newRow("nothing") << "0,0,0,0,0,0,0,0,0,0,0" << other << Verdict::Send;
    QTest::newRow("nothing, other chip")
        << "0,0,0,0,0,0,0,0,0,0,0" << row("A,2,0,2,3,65") << Verdict::NoFirmware;
    QTest::newRow("no exact 1") << "0,1,0,01,true, 1,0,0,0,0,0" << other << Verdict::Send;
    QTest::newRow("empty") << "" << other << Verdict::Send;
    // Field 9 asks for a running application.
    QTest::newRow("bootcode 0") << "0,1,0,0,0,0,0,0,0,1,0" << row("A,1,0,,,,,,,0") << Verdict::Send;
    QTest::newRow("bootcode 1") << "0,1,0,0,0,0,0,0,0,1,0" << row("A,1,0,,,,,,,1")
                                << Verdict::NoMatch;
    // Fields 7 and 8 are decided with field 6, and without it by nothing.
    QTest::newRow("7 and 8 alone")
        << "0,1,0,0,0,0,0,1,1,0,0" << row("A,1,0,,,,9,9,9") << Verdict::Send;
    QTest::newRow("index enabled") << "0,1,1,0,0,0,0,0,0,0,0" << row("A,1,0") << Verdict::NoMatch;
}

void TestDecide::masks()
{
    QFETCH(QString, mask);
    QFETCH(QStringList, row);
    QFETCH(Verdict, verdict);
    const Decision decision = decideForRow(row, {"E,1,1,2,3,65,1,2,3"}, MatchMask(mask));
    QCOMPARE(int(decision.verdict), int(verdict));
}

void TestDecide::nameMayHoldAnything()
{
    QStringList odd = row("A,1,0,2,3,65,0,0,0");
    odd[0] = QStringLiteral("%5 %1 %%");
    const Decision decision = decideForRow(odd, {"E,1,1,2,3,65,1,2,3"}, MatchMask::newerVersion());
    QCOMPARE(decision.line,
             QStringLiteral("Firmware version V1.2.3 greater than the '%5 %1 %%' version V0.0.0, "
                            "will upgrade."));
}

AGENT_TEST(TestDecide)

} // namespace tst_decide

#include "tst_decide.moc"
