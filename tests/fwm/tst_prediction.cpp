// SPDX-License-Identifier: Apache-2.0
// What a plan predicts, against what the real engine does with the same device and package.
#include "bytes/ByteSource.h"
#include "engine/Scenario.h"
#include "fwm/PlanRows.h"
#include "planning/UpgradeMode.h"
#include "protocol/ChipTypes.h"
#include "support/NetFrames.h"
#include "support/TestCase.h"
#include "tests/package/Golden.h"

#include <QRandomGenerator>
#include <QtTest>

namespace planning::tst_prediction {

namespace chip = protocol::chip;
namespace field = package::field;
using bytes::BytesSource;
using engine::RunEvent;
using engine::RunEvents;
using platform::Limits;
using platform::Shell;
using platform::TimeOuts;

namespace {

const QByteArray archive = patternImage(600, 9);

/** Everything that a run depends on. */
struct Case
{
    DeviceDescription device = EngineHarness::twoMcus();
    QByteArray model = "HX-8";
    QVector<TestImage> images;
    QStringList rows;
    int mode = upgradeMode::newerOnly;

    QByteArray package() const { return makePackage(images, QString::fromLatin1(model)); }
};

/** What became of each row that had its turn, in the order of the turns, and of the run. */
struct Result
{
    QStringList turns;
    bool succeeded = false;
    int virtualVersion = 0;
    /** The flash of each chip with an image, by "type,index". */
    QMap<QString, QByteArray> flashes;
};

RunPlan planOf(const Case &one, const QByteArray &bytes)
{
    BytesSource source(bytes);
    const package::PackageDescription description = describe(bytes);
    PlannedRequest request = requestFor(one.device, one.rows);
    request.mode = one.mode;
    request.images.longest = Limits().image;
    return planRun(request, {description.firmwareList, description.model, description.version},
                   source);
}

QString wordsOf(PlannedRow::Fate fate)
{
    using Fate = PlannedRow::Fate;
    static const QMap<Fate, QString> words = {
        {Fate::Written, "written"},        {Fate::NotWritten, "not written"},
        {Fate::NotNewer, "not_newer"},     {Fate::NoMatch, "no_match"},
        {Fate::NoFirmware, "no_firmware"}, {Fate::NoImage, "no_image"},
        {Fate::BadRow, "bad_row"},
    };
    return words.value(fate);
}

QString turnOf(const PlannedRow &row)
{
    return row.fields.value(field::name) + ' ' + wordsOf(row.fate);
}

QByteArray flashOf(const QByteArray &image)
{
    const int padding = (256 - image.size() % 256) % 256;
    return image + QByteArray(padding, char(0xFF));
}

Result predicted(const Case &one)
{
    const QByteArray package = one.package();
    const RunPlan plan = planOf(one, package);
    Result result;
    for (const bool isFirst : {true, false}) {
        for (const PlannedRow &row : plan.rows) {
            if (row.goesFirst != isFirst || row.fate == PlannedRow::Fate::NotReached)
                continue;
            result.turns += turnOf(row);
            const int type = row.fields.value(field::chipType).toInt();
            if (row.fate == PlannedRow::Fate::Written && type != chip::networkModule)
                result.flashes[QStringList(row.fields.mid(field::chipType, 2)).join(',')] =
                    flashOf(package.mid(int(row.image->imageOffset), int(row.image->length)));
        }
    }
    result.succeeded = plan.end == RunPlan::End::Complete;
    result.virtualVersion = plan.virtualVersion.value_or(one.device.virtualVersion);
    return result;
}

Shell shellOfModule()
{
    Shell shell;
    shell.run = [](const QString &) {};
    shell.readFirst = [](const QString &, int) { return netframes::header(archive).mid(5, 32); };
    return shell;
}

Result happened(const Case &one, const std::optional<TimeOuts> &timeOuts = std::nullopt)
{
    EngineHarness harness(one.device, shellOfModule(), timeOuts);
    harness.setPackage(one.package());
    Result result;
    QObject::connect(
        harness.engine->runEvents(), &RunEvents::reported, [&result](const RunEvent &event) {
            if (event.kind == RunEvent::Kind::Skipped)
                result.turns += event.mcu.name + ' ' + event.text;
            if (event.kind == RunEvent::Kind::Written)
                result.turns += event.mcu.name + (event.success ? " written" : " not written");
            if (event.kind == RunEvent::Kind::Ended)
                result.succeeded = event.success;
        });
    if (!harness.run(one.rows, one.mode))
        result.turns += "no end";
    result.virtualVersion = harness.device.virtualVersion();
    for (const SimulatedDevice::Chip &part : harness.device.chips()) {
        if (!part.flash.bytes().isEmpty())
            result.flashes[QString("%1,%2").arg(part.now.chipType).arg(part.now.chipIndex)] =
                part.flash.bytes();
    }
    return result;
}

/** Devices, packages and requests of all kinds. */
class Maker
{
public:
    explicit Maker(quint32 seed) : m_random(seed) {}

    Case make()
    {
        Case one;
        one.mode = oneIn(3) ? upgradeMode::forced : upgradeMode::newerOnly;
        if (oneIn(12))
            one.model = "HX-9";
        if (oneIn(3))
            one.device.model += QByteArray(3, '\0');
        one.device.virtualVersion = 77;
        one.device.chips.clear();
        for (const int type : {0, 1, 2, 17, 32})
            addType(one, type);
        std::shuffle(one.rows.begin(), one.rows.end(), m_random);
        std::shuffle(one.images.begin(), one.images.end(), m_random);
        for (int i = 0; i < one.rows.size(); ++i)
            one.rows[i].prepend(QString("ROW%1,").arg(i));
        return one;
    }

private:
    bool oneIn(int number) { return m_random.bounded(number) == 0; }

    void addType(Case &one, int type)
    {
        const int chips = m_random.bounded(type == 0 ? 2 : 3);
        for (int index = 0; index < (type == 0 && !oneIn(5) ? 1 : chips); ++index)
            one.device.chips.append(chipOf(type, index));
        for (int image = m_random.bounded(3); image > 0; --image)
            one.images.append(imageFor(type));
        for (int row = m_random.bounded(3); row > 0; --row)
            one.rows.append(QString("%1,%2").arg(type).arg(m_random.bounded(type == 0 ? 1 : 2)));
    }

    ChipDescription chipOf(int type, int index)
    {
        const char *const versions[] = {"0.0.0", "1.0.0", "1.1.0", "1.2", "3.0.1"};
        ChipDescription chip =
            testChip("CHIP", type, index, versions[m_random.bounded(5)], 1 + m_random.bounded(2));
        chip.pcbVersion = oneIn(4) ? 2 : 1;
        chip.speciality = oneIn(5) ? 'B' : 'A';
        chip.bootcode = oneIn(3);
        chip.bootcodeClears = !oneIn(3);
        chip.productInformation = !oneIn(10);
        if (oneIn(2))
            chip.upgradesTo = ChipVersion::parse(versions[m_random.bounded(5)]);
        return chip;
    }

    TestImage imageFor(int type)
    {
        const QVector<int> versions[] = {{0, 0, 0}, {1, 0, 0}, {1, 1, 0}, {2, 0, 0}};
        TestImage image =
            testImage("IMAGE", type, versions[m_random.bounded(4)], 1 + m_random.bounded(2));
        image.pcbVersion = oneIn(4) ? 2 : 1;
        image.speciality = oneIn(5) ? 'B' : 'A';
        image.bytes = patternImage(256 + m_random.bounded(500), int(m_random.bounded(1000)));
        image.hasRecord = !oneIn(8);
        if (oneIn(15))
            image.bytes.clear();
        if (type == chip::networkModule)
            image.bytes = netframes::header(archive + (oneIn(3) ? "damaged" : "")) + archive;
        return image;
    }

    QRandomGenerator m_random;
};

void compare(const Case &one, const Result &expected, const Result &actual)
{
    const QString what = QString("mode %1, rows %2").arg(one.mode).arg(one.rows.join(' '));
    QVERIFY2(actual.turns == expected.turns,
             qPrintable(QString("%1: the plan has %2, the run %3")
                            .arg(what, expected.turns.join("; "), actual.turns.join("; "))));
    QVERIFY2(actual.flashes == expected.flashes, qPrintable(what));
    QCOMPARE(actual.succeeded, expected.succeeded);
    QCOMPARE(actual.virtualVersion, expected.virtualVersion);
}

} // namespace

class TestPrediction : public QObject
{
    Q_OBJECT

private slots:
    void anyRun_data()
    {
        QTest::addColumn<int>("seed");
        for (int seed = 0; seed < 30; ++seed)
            QTest::newRow(qPrintable(QString::number(seed))) << seed;
    }

    /** Ten runs for each seed. */
    void anyRun()
    {
        QFETCH(int, seed);
        Maker maker{quint32(seed)};
        for (int i = 0; i < 10 && !QTest::currentTestFailed(); ++i) {
            const Case one = maker.make();
            const Result plan = predicted(one);
            compare(one, plan, happened(one));
            for (const QString &turn : plan.turns)
                ++m_seen[turn.section(' ', 1)];
            ++m_seen[plan.succeeded ? "complete" : "ended early"];
            ++m_seen[planOf(one, one.package()).rows.value(0).goesFirst ? "main first" : "others"];
        }
    }

    /** The cases that were made have all that a run can come to. */
    void everythingHappened()
    {
        if (m_seen.isEmpty())
            QSKIP("only together with anyRun()");
        for (const char *what : {"written", "not written", "not_newer", "no_match", "no_firmware",
                                 "no_image", "complete", "ended early", "main first"})
            QVERIFY2(m_seen.value(what) >= 5, what);
    }

    /** The second row meets the version that the first one has written. */
    void twoRowsOfTheMainMcu()
    {
        for (const char *after : {"2.0.0", "1.0.0"}) {
            Case one;
            one.device.chips.first().bootcode = true;
            one.device.chips.first().upgradesTo = ChipVersion::parse(QString::fromLatin1(after));
            one.images = {testImage("MAIN", 0, {2, 0, 0})};
            one.rows = QStringList{"MAIN,0,0", "AGAIN,0,0"};
            const Result plan = predicted(one);
            const QString second = after[0] == '2' ? "AGAIN not_newer" : "AGAIN written";
            QCOMPARE(plan.turns, QStringList({"MAIN written", second}));
            compare(one, plan, happened(one));
        }
    }

    /** Such an image gets no verdict: each of three attempts ends with the run's guard. */
    void imageOfLessThanABlock()
    {
        Case one;
        one.mode = upgradeMode::forced;
        one.images = {testImage("AUX", 1, {2, 0, 0}, 2, 255), testImage("MAIN", 0, {2, 0, 0})};
        one.rows = QStringList{"AUX,1,0", "MAIN,0,0"};
        const Result plan = predicted(one);
        QCOMPARE(plan.turns, QStringList({"AUX not written", "MAIN written"}));
        QCOMPARE(happened(one, EngineHarness::withShortGuard()).turns, plan.turns);
    }

    void noRows()
    {
        Case one;
        one.images = {testImage("MAIN", 0, {2, 0, 0})};
        compare(one, predicted(one), happened(one));
    }

private:
    QMap<QString, int> m_seen;
};

AGENT_TEST(TestPrediction)

} // namespace planning::tst_prediction

#include "tst_prediction.moc"
