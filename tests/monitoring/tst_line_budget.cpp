// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LineBudget.h"
#include "support/TestCase.h"

namespace monitoring::tst_line_budget {

using ms = LineBudget::ms;
using std::chrono::hours;

class TestLineBudget : public QObject
{
    Q_OBJECT

private slots:
    void burstThenRate()
    {
        LineBudget budget(3, ms(100));
        for (int i = 0; i < 3; ++i)
            QVERIFY(budget.take(ms(0)));
        QVERIFY(!budget.take(ms(0)));
        QVERIFY(!budget.take(ms(99)));
        QVERIFY(budget.take(ms(100)));
        QVERIFY(!budget.take(ms(199)));
        QVERIFY(budget.take(ms(200)));
        int written = 0;
        for (int now = 201; now <= 10'200; ++now)
            written += budget.take(ms(now)) ? 1 : 0;
        QCOMPARE(written, 100);
    }

    void restsFillNoMoreThanTheBurst()
    {
        LineBudget budget(3, ms(100));
        for (int i = 0; i < 3; ++i)
            QVERIFY(budget.take(hours(24)));
        QVERIFY(!budget.take(hours(24)));
        for (int i = 0; i < 3; ++i)
            QVERIFY(budget.take(hours(48)));
        QVERIFY(!budget.take(hours(48)));
    }

    void countsWhatIsLeftOut()
    {
        LineBudget budget(1, ms(100));
        QVERIFY(budget.take(ms(0)));
        QCOMPARE(budget.leftOut(), 0);
        QVERIFY(!budget.take(ms(1)));
        QVERIFY(!budget.take(ms(2)));
        QCOMPARE(budget.leftOut(), 2);
        QVERIFY(budget.take(ms(100)));
        QCOMPARE(budget.leftOut(), 2);
        budget.forget();
        QCOMPARE(budget.leftOut(), 0);
    }
};

AGENT_TEST_WITHOUT_APPLICATION(TestLineBudget)

} // namespace monitoring::tst_line_budget

#include "tst_line_budget.moc"
