// SPDX-License-Identifier: Apache-2.0
#include "edid/EdidDecodeOutput.h"
#include "edid/TestDumps.h"
#include "support/TestCase.h"

#include <QtTest>

namespace tst_cross_check {

namespace {

/** Where our report and edid-decode part on a real dump, and why. */
struct KnownDifference
{
    const char *dump;
    const char *reason;
    void (*apply)(EdidDecodeOutput &reference);
};

void replaceEightK(EdidDecodeOutput &reference)
{
    QList<ListedFormat> &map = reference.y420.last().formats;
    map = map.mid(0, 6);
    for (const auto &[vic, rate] : {std::pair(90, 60), {91, 100}})
        map += {vic, 2560, "1080", false, double(rate), "64:27", false};
    for (const auto &[vic, rate] : {std::pair(66, 25), {67, 30}, {68, 50}, {70, 100}, {71, 120}})
        map += {vic, 1280, "720", false, double(rate), "64:27", false};
}

const KnownDifference knownDifferences[] = {
    {"ldi-hisense-55u8k", "the native count takes bit 7 of the codes from 193 on as well",
     [](EdidDecodeOutput &reference) { reference.extraNative = 2; }},
    {"v4l-lg-oled-c9-hdmi", "the native count takes bit 7 of the codes from 193 on as well",
     [](EdidDecodeOutput &reference) { reference.extraNative = 2; }},
    {"v4l-samsung-q800t-hdmi2.1", "the native count takes bit 7 of the codes from 193 on as well",
     [](EdidDecodeOutput &reference) { reference.extraNative = 7; }},
    {"v4l-samsung-q800t-hdmi2.1", "the 4:2:0 map drops bit 7 of every code", replaceEightK},
    {"v4l-acer-xv273k-dp2-corrupted", "an empty slot does not end the extension's timings",
     [](EdidDecodeOutput &reference) {
         reference.ctaTimings = QStringList{"2560x1440@144Hz", "2560x1440@120Hz"};
     }},
    {"v4l-acer-xv273k-dp2-corrupted", "the offsets of range limits are left out",
     [](EdidDecodeOutput &reference) {
         reference.rangeLimits[2] = reference.rangeLimits[3] = "255";
     }},
    {"lhw-BenQ-BNQ802E-C457DADB2E45", "an implausible timing is still a timing",
     [](EdidDecodeOutput &reference) {
         reference.ctaTimings += QStringList{"2720x1618i@0Hz", "1872x31@0Hz"};
     }},
};

/** All that a report says, for comparing it as a whole. */
QStringList reported(const Outcome &outcome)
{
    return outcome.items + outcome.lines;
}

QStringList reported(const EdidDecodeOutput &reference)
{
    return reference.items() + reference.lines();
}

void apply(const QString &dump, EdidDecodeOutput &reference,
           const KnownDifference *except = nullptr)
{
    for (const KnownDifference &difference : knownDifferences) {
        if (dump == difference.dump && &difference != except)
            difference.apply(reference);
    }
}

} // namespace

/** The whole report of every real display against what edid-decode says of it. */
class TestCrossCheck : public QObject
{
    Q_OBJECT

private slots:
    void agreesWithEdidDecode_data()
    {
        const tests::DataTable<QString> rows("name");
        for (const QString &name : realDumpNames())
            rows(qPrintable(name), name);
    }

    void agreesWithEdidDecode()
    {
        QFETCH(QString, name);
        EdidDecodeOutput reference(dataPath(name + ".bin"));
        QVERIFY2(!reference.manufacturer().isEmpty(), "edid-decode says nothing");
        apply(name, reference);
        const Outcome outcome = outcomeOf(realDump(name));
        QCOMPARE(outcome.status, reference.status());
        QCOMPARE(reported(outcome), reported(reference));
    }

    void everyDifferenceIsReal()
    {
        for (const KnownDifference &difference : knownDifferences) {
            const QString name = difference.dump;
            EdidDecodeOutput reference(dataPath(name + ".bin"));
            apply(name, reference, &difference);
            QVERIFY2(reported(outcomeOf(realDump(name))) != reported(reference), difference.reason);
        }
    }
};

AGENT_TEST(TestCrossCheck)

} // namespace tst_cross_check

#include "tst_cross_check.moc"
