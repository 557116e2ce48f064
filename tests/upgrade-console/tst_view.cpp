// SPDX-License-Identifier: Apache-2.0
// What a terminal shows of a run.
#include "client/ScriptedRun.h"
#include "support/TestCase.h"
#include "upgrade-console/Bars.h"
#include "upgrade-console/UpgradeView.h"

namespace tst_view {

namespace {

using namespace std::chrono_literals;
using Run = ScriptedRun;
using ms = std::chrono::milliseconds;

/** The run on a terminal. */
QStringList pictureOf(const Run &run, ms silence = ms(0), int columns = 80)
{
    const ms now = run.now + silence;
    return liveLines({run.model, run.estimate, run.watch.at(now), now, {}},
                     {true, columns, 24, {}});
}

} // namespace

class TestView : public QObject
{
    Q_OBJECT

private slots:
    void timeLeftAndWaits()
    {
        Run run = Run::ofThreeImages();
        run.step = 100ms;
        run.play({"begin MAIN", "Writing..."});
        for (int i = 1; i <= 50; ++i)
            run.progress(i / 3.0);
        QCOMPARE(pictureOf(run).first(),
                 QString("MAIN          writing        ? -> 2.0.0  [#########..........]  50 %  "
                         "0:05 left"));
        // While an answer is late no time left is shown.
        const QStringList silent = pictureOf(run, 9s);
        QVERIFY(silent.filter("left").isEmpty());
        QCOMPARE(silent.last(),
                 QString("waiting for an answer, 9 s of 15, try 1 of 9, gives up in 3:36"));
        QCOMPARE(
            pictureOf(run, 9s, 60).mid(silent.size() - 1),
            QStringList({"waiting for an answer, 9 s of 15, try 1 of 9, gives up in", "3:36"}));
    }

    void noTableWithoutMcus()
    {
        QCOMPARE(resultTable(client::UpgradeModel(), ms(0), Style{false}), QStringList());
    }

    void textsForTheTerminal()
    {
        QCOMPARE(Style{true}.in(Colour::Red, "x"), QString("\x1b[31mx\x1b[0m"));
        QCOMPARE(Style{false}.in(Colour::Red, "x"), QString("x"));
    }

    void wraps()
    {
        QCOMPARE(bars::wrapped("one two three", 8), QStringList({"one two", "three"}));
        QCOMPARE(bars::wrapped("one two three", 9, 2), QStringList({"one two", "  three"}));
        QCOMPARE(bars::wrapped("abcdefghij", 4), QStringList({"abcd", "efgh", "ij"}));
        QCOMPARE(bars::wrapped({}, 4), QStringList({QString()}));
    }

    /** However narrow or low the terminal, no line is wider and no picture higher. */
    void picturesFit()
    {
        Run run({"A", "B", "a name that is much longer than any column", "D", "E"});
        run.play({"write A", "enter B", "Writing...", "40 %", "50 %"});
        for (int columns = 1; columns < 130; columns += 3) {
            for (int lines = 1; lines < 10; ++lines) {
                const ms silence = ms(columns % 2 == 0 ? 0 : 9000);
                const QStringList picture = liveLines(
                    {run.model, run.estimate, run.watch.at(run.now + silence), run.now, {}},
                    {true, columns, lines, {}});
                QVERIFY(picture.size() <= std::max(2, lines - 1));
                for (const QString &line : picture)
                    QVERIFY(line.size() <= std::max(1, columns - 1));
            }
        }
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestView)

} // namespace tst_view

#include "tst_view.moc"
