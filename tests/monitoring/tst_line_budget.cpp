// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LineBudget.h"
#include "support/TestCase.h"

namespace monitoring::tst_line_budget {

using ms = LineBudget::ms;

namespace {

/** Which lines at these times are written. */
QString taken(LineBudget &budget, std::initializer_list<int> times)
{
    QString all;
    for (const int time : times)
        all += budget.take(ms(time)) ? '+' : '-';
    return all;
}

} // namespace

class TestLineBudget : public QObject
{
    Q_OBJECT

private slots:
    void burstThenRate()
    {
        LineBudget budget(3, ms(100));
        QCOMPARE(taken(budget, {0, 0, 0, 0, 99, 100, 199, 200}), QString("+++--+-+"));
        int written = 0;
        for (int now = 201; now <= 10'200; ++now)
            written += budget.take(ms(now)) ? 1 : 0;
        QCOMPARE(written, 100);
    }

    void restsFillNoMoreThanTheBurst()
    {
        constexpr int day = 24 * 60 * 60 * 1000;
        LineBudget budget(3, ms(100));
        QCOMPARE(taken(budget, {day, day, day, day}), QString("+++-"));
        QCOMPARE(taken(budget, {2 * day, 2 * day, 2 * day, 2 * day}), QString("+++-"));
    }

    void countsWhatIsLeftOut()
    {
        LineBudget budget(1, ms(100));
        QCOMPARE(taken(budget, {0}), QString("+"));
        QCOMPARE(budget.leftOut(), 0);
        QCOMPARE(taken(budget, {1, 2, 100}), QString("--+"));
        QCOMPARE(budget.leftOut(), 2);
        budget.forget();
        QCOMPARE(budget.leftOut(), 0);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestLineBudget)

} // namespace monitoring::tst_line_budget

#include "tst_line_budget.moc"
