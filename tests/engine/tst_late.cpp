// SPDX-License-Identifier: Apache-2.0
#include "engine/EngineHarness.h"
#include "engine/TestPackage.h"
#include "links/LinkState.h"
#include "planning/TypeAndIndexTable.h"
#include "protocol/CommandWords.h"
#include "support/MessageRecorder.h"
#include "support/TestCase.h"
#include "support/WaitFor.h"

#include <QTimer>

namespace engine::tst_late {

using platform::TimeOuts;

namespace command = protocol::command;
namespace field = package::field;
namespace mcu = protocol::mcu;

using namespace std::chrono_literals;

namespace {

const QStringList rows{"MAIN,0,0", "AUX,1,0"};

/** All that the two MCUs report of themselves differs, and the package is newer than both. */
struct Fixture : EngineHarness
{
    explicit Fixture(const std::optional<TimeOuts> &timeOuts = std::nullopt)
        : EngineHarness(twoVersions(), std::nullopt, timeOuts)
    {
        setPackage(makePackage({{"MAIN", 0, 1, 1, 1, 'A', {2, 0, 0}, patternImage(700, 1)},
                                {"AUX", 1, 1, 2, 4, 'A', {2, 0, 0}, patternImage(300, 2)}}));
    }

    static DeviceDescription twoVersions()
    {
        DeviceDescription description = twoMcus();
        description.chips.last().version = *ChipVersion::parse(QString("1.0.7"));
        description.chips.last().pcbVersion = 4;
        return description;
    }

    bool start(bool upgrades)
    {
        if (upgrades)
            return run(rows, 2);
        engine->slotConnect("ttyS2");
        engine->getProductInfo();
        return waitForEnd();
    }

    /** The main MCU's answer to `word` comes a second time, when the AUX MCU's is awaited. */
    void repeatLate(quint16 word, bool inOneChunk)
    {
        link->answerInstead = [=, late = QByteArray()](const QByteArray &frame) mutable {
            const QByteArray answer = link->deviceAnswer(frame);
            if (mcu::wordAt(frame, mcu::wordOffset) != word)
                return QList<QByteArray>{answer};
            if (frame.at(mcu::payloadOffset) == 0) {
                late = answer;
                return QList<QByteArray>{answer};
            }
            return inOneChunk ? QList<QByteArray>{late + answer} : QList<QByteArray>{late, answer};
        };
    }
};

QByteArray versionOf(int type)
{
    return mcu::buildFrame(mcu::replyStart, {}, command::readVersion,
                           QByteArray(1, char(type)) + QByteArray::fromHex("00010203"));
}

} // namespace

/** Answers that come when the same command is asked of another row. */
class TestLate : public QObject
{
    Q_OBJECT

private slots:
    void countsForNoOtherRow_data()
    {
        QTest::addColumn<bool>("upgrades");
        QTest::addColumn<int>("word");
        QTest::addColumn<bool>("inOneChunk");
        for (const bool upgrades : {true, false}) {
            for (const int word : {0xF900, 0xF901, 0xF902}) {
                for (const bool inOneChunk : {true, false})
                    QTest::addRow("%s, %x%s", upgrades ? "upgrade" : "read", word,
                                  inOneChunk ? ", in one chunk" : "")
                        << upgrades << word << inOneChunk;
            }
        }
    }

    void countsForNoOtherRow()
    {
        QFETCH(bool, upgrades);
        QFETCH(int, word);
        QFETCH(bool, inOneChunk);
        Fixture undisturbed;
        QVERIFY(undisturbed.start(upgrades));
        Fixture fixture;
        fixture.repeatLate(quint16(word), inOneChunk);
        QVERIFY(fixture.start(upgrades));
        QVERIFY(sameTranscript(fixture.lines, undisturbed.lines));
        QCOMPARE(fixture.sentText(), undisturbed.sentText());
    }

    /** Nothing of the wait changes: not its time, not the flag, not the frame that is half there.
     */
    void waitGoesOn()
    {
        TimeOuts timeOuts = EngineHarness::scaledPlatform(QString()).timeOuts;
        timeOuts.otherCommand = 1h;
        timeOuts.runGuard = 2h;
        Fixture fixture(timeOuts);
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const bool asked = mcu::wordAt(frame, mcu::wordOffset) == command::readVersion &&
                               frame.at(mcu::payloadOffset) == 1;
            return asked ? QList<QByteArray>()
                         : QList<QByteArray>{fixture.link->deviceAnswer(frame)};
        };
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->uploadByMergeFW(fixture.packagePath(), rows, 5);
        const QString question = QString("Send 'Read FW version' command to 'AUX'.");
        QVERIFY(waitFor([&] { return fixture.lines.endsWith(question); }));

        const auto timers = fixture.engine->findChildren<QTimer *>();
        const auto remaining = [&timers](int interval) {
            for (const QTimer *timer : timers) {
                if (timer->isActive() && timer->interval() == interval)
                    return timer->remainingTime();
            }
            return -1;
        };
        const int hour = int(std::chrono::milliseconds(1h).count());
        QVERIFY(waitFor(
            [&] { return remaining(hour) < hour - 5 && remaining(2 * hour) < 2 * hour - 5; }));
        const int before = remaining(hour);
        const int guardBefore = remaining(2 * hour);

        const MessageRecorder log("agent.engine", MessageRecorder::Debug::On);
        fixture.link->receive(versionOf(0));
        QVERIFY(MessageRecorder::take().contains(
            "D late answer of \"MAIN\" dropped, awaiting that of \"AUX\""));
        QCOMPARE(fixture.lines.last(), question);
        QCOMPARE(fixture.engine->getTypeAndIndex(1, field::ver1), QString());
        QVERIFY(canRead);
        QVERIFY(remaining(hour) > 0 && remaining(hour) <= before);
        QVERIFY(remaining(2 * hour) > 0 && remaining(2 * hour) <= guardBefore);

        fixture.link->receive(versionOf(1));
        QCOMPARE(fixture.lines.filter("version success").last(),
                 QString("Read 'AUX' version success, version is V1.2.3"));
    }

    /** The second answer for the main MCU's record does not answer for the other one. */
    void countsForNoOtherRecord()
    {
        Fixture fixture;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const QByteArray answer = fixture.link->deviceAnswer(frame);
            return frame.at(mcu::payloadOffset) == 0 ? QList<QByteArray>{answer, answer}
                                                     : QList<QByteArray>{};
        };
        fixture.engine->slotConnect("ttyS2");
        fixture.engine->setProductInfo({QString(R"({"model": "HX-8", "chips": [
            {"name": "MAIN", "chip_type": "1", "chip_quanity": "1", "mcus": [
                {"mcu_type": "1", "pcbs": [{"pcb_version": "1", "speciality": "A"}]}]},
            {"name": "AUX", "chip_type": "2", "chip_quanity": "1", "mcus": [
                {"mcu_type": "2", "pcbs": [{"pcb_version": "4", "speciality": "A"}]}]}]})"),
                                        QString("MAIN,0,0,1,1,65"), QString("AUX,1,0,2,4,65")});
        QVERIFY(fixture.waitForEnd());
        QCOMPARE(fixture.lines.filter("SETPIRESULT"),
                 QStringList({"SETPIRESULT|MAIN,0,0,1,1,65,0,0,0,0|1",
                              "SETPIRESULT|AUX,1,0,2,4,65,0,0,0,0|2"}));
    }

    /** A device that gives one row's answer to every question does not keep the run waiting. */
    void neverAnswersForItself()
    {
        Fixture fixture;
        fixture.link->answerInstead = [&](const QByteArray &frame) {
            const bool asked = mcu::wordAt(frame, mcu::wordOffset) == command::readVersion;
            return QList<QByteArray>{asked ? versionOf(0) : fixture.link->deviceAnswer(frame)};
        };
        QVERIFY(fixture.run(rows, 5));
        QCOMPARE(fixture.lines.filter("version information of 'AUX'"),
                 QStringList({"Read the version information of 'AUX' fail, retry 1.",
                              "Read the version information of 'AUX' fail, retry 2.",
                              "Read the version information of 'AUX' fail, check the next mcu."}));
        QCOMPARE(fixture.lines.last(), QString("APPSTATUS|6"));
        QCOMPARE(fixture.results(2), QString("11"));
    }
};

AGENT_TEST(TestLate)

} // namespace engine::tst_late

#include "tst_late.moc"
