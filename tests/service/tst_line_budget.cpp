// SPDX-License-Identifier: Apache-2.0
#include "service/LineBudget.h"

#include <QtTest>

using namespace std::chrono_literals;

class TestLineBudget : public QObject
{
    Q_OBJECT

private slots:
    void burstThenRate();
    void restsFillNoMoreThanTheBurst();
    void countsWhatIsLeftOut();
};

void TestLineBudget::burstThenRate()
{
    LineBudget budget(3, 100ms);
    for (int i = 0; i < 3; ++i)
        QVERIFY(budget.take(0ms));
    QVERIFY(!budget.take(0ms));
    QVERIFY(!budget.take(99ms));
    QVERIFY(budget.take(100ms));
    QVERIFY(!budget.take(199ms));
    QVERIFY(budget.take(200ms));
    int written = 0;
    for (auto now = 201ms; now <= 10'200ms; ++now)
        written += budget.take(now) ? 1 : 0;
    QCOMPARE(written, 100);
}

void TestLineBudget::restsFillNoMoreThanTheBurst()
{
    LineBudget budget(3, 100ms);
    for (int i = 0; i < 3; ++i)
        QVERIFY(budget.take(24h));
    QVERIFY(!budget.take(24h));
    for (int i = 0; i < 3; ++i)
        QVERIFY(budget.take(48h));
    QVERIFY(!budget.take(48h));
}

void TestLineBudget::countsWhatIsLeftOut()
{
    LineBudget budget(1, 100ms);
    QVERIFY(budget.take(0ms));
    QCOMPARE(budget.leftOut(), 0);
    QVERIFY(!budget.take(1ms));
    QVERIFY(!budget.take(2ms));
    QCOMPARE(budget.leftOut(), 2);
    QVERIFY(budget.take(100ms));
    QCOMPARE(budget.leftOut(), 2);
    budget.forget();
    QCOMPARE(budget.leftOut(), 0);
}

QTEST_APPLESS_MAIN(TestLineBudget)
#include "tst_line_budget.moc"
