// SPDX-License-Identifier: Apache-2.0
#include "SimulatedChannel.h"
#include "support/TestCase.h"

#include <QtTest>

namespace devicecheck::tst_run {

class TestRun : public QObject
{
    Q_OBJECT

private slots:
    void simulatorPasses_data()
    {
        const tests::DataTable<int, int, QByteArray, QString> rows("type", "index", "version",
                                                                   "notApplicable");
        rows("main MCU", 0, 0, QByteArray("\1\1\0", 3), "");
        rows("auxiliary MCU", 1, 1, "\1\1", "");
        rows("FPGA", 17, 0, "\3\2", "write-information");
    }

    void simulatorPasses()
    {
        QFETCH(int, type);
        QFETCH(int, index);
        QFETCH(QByteArray, version);
        QFETCH(QString, notApplicable);
        SimulatedChannel channel(fourChips());
        RunSettings settings = allChecks();
        settings.target = Chip{quint8(type), quint8(index)};
        settings.imageVersion = version;
        const QVector<Result> results = runChecks(channel, settings);
        QCOMPARE(failedPoints(results), QString());
        QCOMPARE(pointsIn(results, State::NotTested), QString());
        QCOMPARE(pointsIn(results, State::NotApplicable), notApplicable);
        // The image is complete, and the stored values are as before.
        const QByteArray padding(4 * 256 - 1000, '\xff');
        QCOMPARE(channel.device().flash(quint8(type), quint8(index)), settings.image + padding);
        QCOMPARE(int(channel.device().virtualVersion()), 7);
    }

    void passesNumberedByQuantity()
    {
        SimulatedChannel channel(deviceOf(R"({
        "model": "HX-8", "numbering": "quantity",
        "chips": [{"name": "MAIN", "version": "1.0.0", "upgrades_to": "1.1.0"},
                  {"name": "AUX", "chip_type": 1, "version": "1.0"}],
        "aux": [{"name": "AUX", "chip_type": 1, "quantity": 2}]})"));
        const QVector<Result> results = runChecks(channel, allChecks());
        QCOMPARE(failedPoints(results), QStringLiteral("numbering-from-zero"));
        QCOMPARE(pointsIn(results, State::NotTested), QString());
        QCOMPARE(channel.device().flash(0, 1).size(), 4 * 256);
    }

    void readsOnlyWithoutAnImage()
    {
        SimulatedChannel channel(fourChips());
        const QVector<Result> results = runChecks(channel, {});
        QCOMPARE(failedPoints(results), QString());
        for (const Result &result : results) {
            QCOMPARE(result.state == State::NotTested, result.point->isWriting);
            QCOMPARE(result.reason, result.point->isWriting ? QString("needs --write") : QString());
        }
        // The words 7900 to 7905 in a frame of the host.
        const QByteArray frames = channel.sent();
        for (int at = frames.indexOf("\x5a\x5b\xa5"); at >= 0;
             at = frames.indexOf("\x5a\x5b\xa5", at + 1))
            QVERIFY(frames.at(at + 8) != '\x79');
        QCOMPARE(channel.device().rebootCount(), 0);
    }

    void countsAnAnswerOnce()
    {
        // The second answer would hide the first one, which came too late.
        SimulatedChannel channel(fourChips());
        channel.addFault("late:word=model-name,count=once");
        QCOMPARE(failedPoints(runChecks(channel, {})), QStringLiteral("read-model answer-time"));
    }

    void endsEarly_data()
    {
        const tests::DataTable<bool, int> rows("isLost", "seconds");
        for (const int seconds : {1, 12, 40}) {
            rows(qPrintable(QString("lost after %1 s").arg(seconds)), true, seconds);
            rows(qPrintable(QString("interrupted after %1 s").arg(seconds)), false, seconds);
        }
    }

    void endsEarly()
    {
        QFETCH(bool, isLost);
        QFETCH(int, seconds);
        SimulatedChannel channel(fourChips());
        channel.endAt(std::chrono::seconds(seconds),
                      isLost ? Channel::Event::Lost : Channel::Event::Interrupted);
        const auto never = [] { return QString("not reached"); };
        Runner runner(channel, allChecks(), never, [](const Point &) {});
        const QVector<Result> results = runner.run();
        QCOMPARE(results.size(), points().size());
        QCOMPARE(runner.earlyEnd(), isLost ? EarlyEnd::LinkLost : EarlyEnd::Interrupted);
        QCOMPARE(channel.now(), std::chrono::milliseconds(std::chrono::seconds(seconds)));
        QCOMPARE(results.last().state, State::NotTested);
        QCOMPARE(results.last().reason, QString(isLost ? "the link to the device was lost"
                                                       : "the checks were interrupted"));
        // A device fails when it goes away, and not because the user has no time.
        const int failed = failedPoints(results).split(' ', Qt::SkipEmptyParts).size();
        QVERIFY(failed <= (isLost ? 1 : 0));
    }

    void needsAPowerSwitch()
    {
        SimulatedChannel channel(fourChips());
        Runner without(channel, allChecks(), nullptr, [](const Point &) {});
        const Result result = resultOf(without.run(), "power-off");
        QCOMPARE(result.state, State::NotTested);
        QCOMPARE(result.reason,
                 QStringLiteral("needs a terminal or --control, to switch the power off and on"));

        SimulatedChannel other(fourChips());
        const auto broken = [] { return QString("the relay is stuck"); };
        Runner failing(other, allChecks(), broken, [](const Point &) {});
        const QVector<Result> results = failing.run();
        QCOMPARE(resultOf(results, "power-off").state, State::NotTested);
        QCOMPARE(resultOf(results, "power-off").reason,
                 QStringLiteral("the power is switched off and on: the relay is stuck"));
        // The image is completed all the same.
        QCOMPARE(resultOf(results, "new-version").state, State::Passed);
    }

    /** A device that answers the first command only, and one that sends noise without end. */
    void limitsEveryWait()
    {
        SimulatedChannel channel(fourChips());
        channel.addFault("silent:skip=1");
        const QVector<Result> results = runChecks(channel, allChecks());
        QCOMPARE(resultOf(results, "answers").state, State::Passed);
        QVERIFY(channel.now() < std::chrono::minutes(15));

        SimulatedChannel noisy(fourChips());
        noisy.setBehaviour([](SimulatedDevice &, const QByteArray &) {
            QVector<DeviceAnswer> noise;
            for (int i = 0; i < 1000; ++i)
                noise.append(
                    {QByteArray("\x5b\x5b\xa5\xff\x0f", 5), std::chrono::milliseconds(i * 40)});
            return noise;
        });
        QCOMPARE(failedPoints(runChecks(noisy, allChecks())), QStringLiteral("answers"));
        QVERIFY(noisy.now() < std::chrono::minutes(1));
    }

    void keepsFewBlocks()
    {
        SimulatedChannel channel(fourChips());
        RunSettings settings = allChecks();
        settings.image = QByteArray(100'000, 'x'); // 391 blocks
        const QVector<Result> results = runChecks(channel, settings);
        QCOMPARE(resultOf(results, "image").state, State::Passed);
        QCOMPARE(resultOf(results, "image").exchanges.size(), 1 + 3 + 1);
        QCOMPARE(resultOf(results, "image").unkept, 391 - 3 - 1);
    }

    void learnsTheDevice()
    {
        SimulatedChannel channel(fourChips());
        RunSettings settings;
        settings.chips = {{17, 1}, {0, 0}};
        Runner runner(channel, settings, nullptr, [](const Point &) {});
        runner.run();
        QVector<QPair<int, int>> chips;
        for (const Chip chip : runner.facts().chips)
            chips.append({chip.type, chip.index});
        QCOMPARE(chips, (QVector<QPair<int, int>>{{0, 0}, {1, 0}, {1, 1}, {17, 0}, {17, 1}}));
        QCOMPARE(runner.facts().model, QByteArray("HX-8"));
        QCOMPARE(int(runner.facts().virtualVersion.value_or(0)), 7);
    }
};

AGENT_TEST(TestRun)

} // namespace devicecheck::tst_run

#include "tst_run.moc"
