// SPDX-License-Identifier: Apache-2.0
#include "engine/Scenario.h"
#include "engine/device/RunGuard.h"
#include "links/LinkState.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QSignalSpy>

namespace engine::tst_guard {

using platform::TimeOuts;

namespace {

/** Nothing but the guard ever expires. */
TimeOuts onlyTheGuard()
{
    TimeOuts timeOuts;
    timeOuts.otherCommand = std::chrono::hours(1);
    timeOuts.uploadCommand = std::chrono::hours(1);
    timeOuts.block = std::chrono::hours(1);
    timeOuts.lastBlock = std::chrono::hours(1);
    timeOuts.runGuard = std::chrono::milliseconds(5);
    return timeOuts;
}

QStringList frames()
{
    Scenario whole;
    whole.run(bothRows, 2);
    return whole.sentWords();
}

/** The second block of MAIN is refused once, and the pause after it lasts. */
void stopAfterARepeatedBlock(Scenario &fixture)
{
    fixture.pauses().afterRepeatedBlock = std::chrono::hours(1);
    fixture.restartEngine();
    fixture.addFault("refuse:word=block,type=0,block=1,count=once");
}

} // namespace

/** Whatever a run waits for, it ends; and whatever it is at, the next one starts clean. */
class TestGuard : public QObject
{
    Q_OBJECT

private slots:
    /** From the beginning: a run may wait for something else before its first frame is sent. */
    void watchesWhileARunIsActive()
    {
        QObject parent;
        RunGuard guard(std::chrono::milliseconds(1), &parent);
        QSignalSpy expired(&guard, &RunGuard::expired);
        guard.keepAlive();
        guard.beginUnwatched();
        QVERIFY(!guard.isWatching());
        guard.begin();
        QVERIFY(guard.isWatching());
        QTRY_COMPARE(expired.count(), 1);
        QVERIFY(guard.isActive());
        guard.keepAlive();
        QVERIFY(guard.isWatching());
        guard.end();
        QVERIFY(!guard.isWatching());
        QVERIFY(!guard.isActive());
    }

    void endsEveryWait_data()
    {
        const tests::DataTable<int> rows("at");
        const QStringList words = frames();
        QVERIFY(words.size() > 15);
        for (int at = 0; at < words.size(); ++at)
            rows(qPrintable(QString("frame %1 (%2)").arg(at).arg(words.at(at))), at);
    }

    /** The device stops answering, and no time-out of a command is short enough to notice. */
    void endsEveryWait()
    {
        QFETCH(int, at);
        EngineHarness fixture(EngineHarness::twoMcus(), std::nullopt, onlyTheGuard());
        fixture.setPackage(makePackage(bothImages));
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const bool hears = fixture.link->sent.size() <= at;
            return hears ? QList<QByteArray>{fixture.link->deviceAnswer(frame)}
                         : QList<QByteArray>();
        };
        QVERIFY(fixture.run(bothRows, 2));
        QCOMPARE(fixture.lines.filter("APPSTATUS|"), QStringList{"APPSTATUS|7"});
        QVERIFY(fixture.engine->timersIdle());
        QVERIFY(!fixture.engine->runActive());
        // An image that gets no verdict counts as one that failed: twice more, and the next row.
        const bool inAnImage =
            fixture.sentText().endsWith("7900") || fixture.sentText().contains("7900 7900");
        if (inAnImage)
            QVERIFY(!fixture.lines.filter("F/W Update fail.").isEmpty());
    }

    void isStoppedWithTheRun()
    {
        EngineHarness fixture(EngineHarness::twoMcus());
        fixture.setPackage(makePackage(bothImages));
        QVERIFY(fixture.run(bothRows, 2));
        const QStringList lines = fixture.lines;
        // A command outside of a run starts no guard and has no further effect.
        fixture.engine->send(0xF903);
        QVERIFY(fixture.engine->timersIdle());
        settle();
        QCOMPARE(fixture.lines, lines);
    }

    void startsOverInMidRun_data() { endsEveryWait_data(); }

    /** A second run takes the first one's place, timers, uploader and all. */
    void startsOverInMidRun()
    {
        QFETCH(int, at);
        Scenario fixture;
        bool again = false;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            if (fixture.link->sent.size() == at + 1 && !std::exchange(again, true)) {
                QMetaObject::invokeMethod(
                    &fixture,
                    [&] {
                        fixture.clear();
                        fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 2);
                    },
                    Qt::QueuedConnection);
            }
            return QList<QByteArray>{fixture.link->deviceAnswer(frame)};
        };
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(waitFor([&] { return again; }));
        QVERIFY(fixture.waitForEnd());
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.with("APPSTATUS|"), QStringList{"APPSTATUS|6"});
        QCOMPARE(fixture.results(2), QString("11"));
        QVERIFY(compareFlash(fixture.device.flash(0, 0), patternImage(700, 1)).equal);
        QVERIFY(compareFlash(fixture.device.flash(1, 0), patternImage(300, 3)).equal);
    }

    /** Who hears that a run has ended may start the next one at once. */
    void startsFromTheLastWords()
    {
        Scenario fixture;
        int ends = 0;
        connect(fixture.engine.get(), &ControlCenter::message, this, [&](const QStringList &list) {
            if (list.first() != "APPSTATUS" || ++ends > 2)
                return;
            QVERIFY(!fixture.engine->runActive());
            fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 2);
        });
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 2);
        QVERIFY(waitFor([&] { return ends == 3; }));
        QVERIFY(fixture.waitForEnd());
        QCOMPARE(fixture.with("APPSTATUS|").size(), 3);
        QCOMPARE(fixture.device.rebootCount(), 3);
        QVERIFY(fixture.succeeded());
    }

    /** The image starts again from its beginning then, and nothing is left of the pause. */
    void endsThePauseAfterARepeatedBlock()
    {
        Scenario fixture(bothChips, bothImages, QString("1.0.12"), EngineHarness::withShortGuard());
        stopAfterARepeatedBlock(fixture);
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
        QCOMPARE(fixture.with("retry"),
                 QStringList({"F/W update timeout, retry 1.", "'MAIN' F/W update fail, retry 1."}));
        QVERIFY(fixture.sentText().contains(QString("7901:0 7901:1 7901:1 7900 7901:0 7901:1 "
                                                    "7901:2 F802")));
        QCOMPARE(fixture.results(2), QString("11"));
        const auto timers = fixture.engine->findChildren<QTimer *>();
        for (const QTimer *timer : timers)
            QVERIFY(!timer->isActive());
    }

    void startsOverInThePauseAfterARepeatedBlock()
    {
        Scenario fixture;
        stopAfterARepeatedBlock(fixture);
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->uploadByMergeFW(fixture.packagePath(), bothRows, 2);
        QVERIFY(waitFor([&] { return fixture.sentText().endsWith("7901:1 7901:1"); }));
        QVERIFY(waitFor([&] { return !canRead; }));
        QVERIFY(fixture.run(bothRows, 2));
        QVERIFY(fixture.succeeded());
        QVERIFY(fixture.with("retry").isEmpty());
        QCOMPARE(fixture.results(2), QString("11"));
    }
};

AGENT_TEST(TestGuard)

} // namespace engine::tst_guard

#include "tst_guard.moc"
