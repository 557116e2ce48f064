// SPDX-License-Identifier: Apache-2.0
#include "links/ReportRelay.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QtTest>

#include <thread>

namespace tst_relay {

using namespace std::chrono_literals;
using engine::RunEvent;
using engine::RunEvents;
using links::ReportRelay;

namespace {

RunEvent eventOf(RunEvent::Kind kind, int percent)
{
    RunEvent event;
    event.kind = kind;
    event.percent = percent;
    return event;
}

/** A relay and what came out of it, in order. */
struct Bench
{
    explicit Bench(std::chrono::milliseconds interval = 1h) : relay(interval)
    {
        QObject::connect(&relay, &ReportRelay::progressValueChanged, &relay,
                         [this](double value, double total) {
                             out += QStringLiteral("%1/%2").arg(value).arg(total);
                         });
        QObject::connect(relay.runEvents(), &RunEvents::reported, &relay,
                         [this](const RunEvent &event) {
                             out += QStringLiteral("event %1").arg(event.percent);
                         });
    }

    void take(int from, int to)
    {
        for (int value = from; value <= to; ++value)
            relay.takeProgress(value, 100);
    }

    ReportRelay relay;
    QStringList out;
};

} // namespace

class TestRelay : public QObject
{
    Q_OBJECT

private slots:
    void firstValueGoesOnAtOnce();
    void othersAreHeldForTheInterval();
    void flushKeepsTheOrder();
    void fullGroupGoesOn();
    void eventsKeepTheirPlace();
    void newestProgressEventGoesOn();
    void nothingIsHeldWithoutAnInterval();
    void valuesOfAnotherThreadAreNotHeld();
};

void TestRelay::firstValueGoesOnAtOnce()
{
    Bench bench;
    bench.take(1, 3);
    QCOMPARE(bench.out, QStringList{"1/100"});
}

/** After a silence of that length the next one goes on at once, too. */
void TestRelay::othersAreHeldForTheInterval()
{
    Bench bench(20ms);
    bench.take(1, 3);
    QCOMPARE(bench.out.size(), 1);
    QVERIFY(waitFor([&] { return bench.out.size() > 1; }));
    QCOMPARE(bench.out, QStringList({"1/100", "2/100", "3/100"}));
    const auto *const timer = bench.relay.findChild<QTimer *>();
    QVERIFY(waitFor([&] { return !timer->isActive(); }));
    bench.take(4, 5);
    QCOMPARE(bench.out.last(), QString("4/100"));
}

void TestRelay::flushKeepsTheOrder()
{
    Bench bench;
    bench.take(1, 4);
    bench.relay.flush();
    QCOMPARE(bench.out, QStringList({"1/100", "2/100", "3/100", "4/100"}));
    bench.relay.flush();
    QCOMPARE(bench.out.size(), 4);
}

void TestRelay::fullGroupGoesOn()
{
    Bench bench;
    bench.take(0, 15);
    QCOMPARE(bench.out.size(), 1);
    bench.take(16, 16);
    QCOMPARE(bench.out.size(), 17);
    QCOMPARE(bench.out.last(), QString("16/100"));
}

void TestRelay::eventsKeepTheirPlace()
{
    Bench bench;
    bench.take(1, 2);
    bench.relay.takeEvent(eventOf(RunEvent::Kind::Progress, 2));
    bench.relay.takeEvent(eventOf(RunEvent::Kind::Written, 3));
    QCOMPARE(bench.out, QStringList({"1/100", "2/100", "event 2", "event 3"}));
}

void TestRelay::newestProgressEventGoesOn()
{
    Bench bench(20ms);
    bench.take(1, 1);
    for (const int percent : {1, 2, 3})
        bench.relay.takeEvent(eventOf(RunEvent::Kind::Progress, percent));
    QCOMPARE(bench.out, QStringList{"1/100"});
    QVERIFY(waitFor([&] { return bench.out.size() > 1; }));
    QCOMPARE(bench.out, QStringList({"1/100", "event 3"}));
}

void TestRelay::nothingIsHeldWithoutAnInterval()
{
    Bench bench(0ms);
    bench.take(1, 3);
    bench.relay.takeEvent(eventOf(RunEvent::Kind::Progress, 3));
    QCOMPARE(bench.out, QStringList({"1/100", "2/100", "3/100", "event 3"}));
}

/** What the console's own thread reports about a package goes before the reply to its request. */
void TestRelay::valuesOfAnotherThreadAreNotHeld()
{
    Bench bench;
    bench.take(1, 2);
    QStringList direct;
    connect(
        &bench.relay, &ReportRelay::progressValueChanged, &bench.relay,
        [&](double value) { direct += QString::number(value); }, Qt::DirectConnection);
    std::thread other([&] { bench.relay.takeProgress(100, 100); });
    other.join();
    QCOMPARE(direct, QStringList{"100"});
}

AGENT_TEST(TestRelay)

} // namespace tst_relay

#include "tst_relay.moc"
