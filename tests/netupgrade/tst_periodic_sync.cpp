// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/PeriodicSync.h"
#include "support/TestCase.h"

#include <QSemaphore>
#include <QtTest>

#include <atomic>

namespace netupgrade::tst_periodic_sync {

using namespace std::chrono_literals;

class TestPeriodicSync : public QObject
{
    Q_OBJECT

private slots:
    void repeats()
    {
        QSemaphore calls;
        const PeriodicSync sync([&] { calls.release(); }, 1ms);
        QVERIFY(calls.tryAcquire(3, 10'000));
    }

    /** A command that has ended is not delayed by the pause. */
    void endsDuringThePause()
    {
        std::atomic<int> calls{0};
        {
            const PeriodicSync sync([&] { ++calls; }, 1h);
        }
        QCOMPARE(calls.load(), 0);
    }

    void waitsForTheActiveCall()
    {
        QSemaphore begun;
        QSemaphore release;
        std::atomic<bool> ended{false};
        std::thread releaser;
        {
            const PeriodicSync sync(
                [&] {
                    begun.release();
                    release.acquire();
                    ended = true;
                },
                0ms);
            begun.acquire();
            // Many more than can follow: the end is already requested when the first call returns.
            releaser = std::thread([&] { release.release(1'000'000); });
        }
        QVERIFY(ended);
        releaser.join();
    }

    void oneCallAtATime()
    {
        std::atomic<int> active{0};
        std::atomic<bool> overlapped{false};
        QSemaphore calls;
        {
            const PeriodicSync sync(
                [&] {
                    overlapped = overlapped || ++active > 1;
                    calls.release();
                    --active;
                },
                0ms);
            calls.acquire(100);
        }
        QVERIFY(!overlapped);
    }
};

AGENT_TEST(TestPeriodicSync)

} // namespace netupgrade::tst_periodic_sync

#include "tst_periodic_sync.moc"
