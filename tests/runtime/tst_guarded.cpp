// SPDX-License-Identifier: Apache-2.0
#include "runtime/Guarded.h"
#include "support/TestCase.h"

namespace tst_guarded {

namespace {

bool isLocked = false;

struct RecordingMutex
{
    void lock()
    {
        QVERIFY(!isLocked);
        isLocked = true;
    }
    void unlock() { isLocked = false; }
};

/** Records whether the mutex is locked whenever it is copied or assigned. */
struct Probe
{
    Probe() = default;
    explicit Probe(int number) : number(number) {}
    Probe(const Probe &other) : number(other.number), wasLocked(isLocked) {}
    Probe &operator=(const Probe &other)
    {
        number = other.number;
        wasLocked = isLocked;
        return *this;
    }

    int number = 0;
    bool wasLocked = false;
};

using Guarded = runtime::Guarded<Probe, RecordingMutex>;

} // namespace

class TestGuarded : public QObject
{
    Q_OBJECT

private slots:
    void copiesWhileLocked()
    {
        Guarded value;
        value.set(Probe(7));
        QVERIFY(!isLocked);
        QVERIFY(value.read([](const Probe &probe) { return probe.wasLocked; }));
        const Probe copy = value.get();
        QVERIFY(!isLocked);
        QVERIFY(copy.wasLocked);
        QCOMPARE(copy.number, 7);
    }

    void callsWhileLocked()
    {
        Guarded value;
        QVERIFY(value.change([](Probe &probe) {
            probe.number = 3;
            return isLocked;
        }));
        QVERIFY(!isLocked);
        QVERIFY(value.read([](const Probe &) { return isLocked; }));
        QVERIFY(!isLocked);
        QCOMPARE(value.get().number, 3);
    }
};

AGENT_TEST(TestGuarded)

} // namespace tst_guarded

#include "tst_guarded.moc"
