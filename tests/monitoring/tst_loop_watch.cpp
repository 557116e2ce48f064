// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LoopWatch.h"
#include "support/TestCase.h"

#include <QSemaphore>
#include <QSignalSpy>
#include <QThread>

namespace monitoring::tst_loop_watch {

using namespace std::chrono_literals;

namespace {

/** A thread whose event loop can be made to stand. */
class OtherThread
{
public:
    OtherThread()
    {
        m_object.moveToThread(&thread);
        thread.start();
    }
    ~OtherThread()
    {
        thread.quit();
        thread.wait();
    }

    /** Returns once the loop stands. */
    void hold()
    {
        QTimer::singleShot(0, &m_object, [this] {
            m_standing.release();
            m_go.acquire();
        });
        m_standing.acquire();
    }
    void release() { m_go.release(); }

    QThread thread;

private:
    QObject m_object;
    QSemaphore m_standing;
    QSemaphore m_go;
};

/** A watch of such a thread, whose loops turn. */
struct Watched
{
    Watched() { QTRY_VERIFY(turns.count() >= 2); }

    int turnsAfter(int milliseconds)
    {
        QCoreApplication::processEvents(); // an answer may be on its way
        turns.clear();
        QTest::qWait(milliseconds);
        return turns.count();
    }

    OtherThread other;
    LoopWatch watch{&other.thread, 5ms};
    QSignalSpy turns{&watch, &LoopWatch::bothTurn};
};

} // namespace

class TestLoopWatch : public QObject
{
    Q_OBJECT

private slots:
    void turningLoopsAreFound()
    {
        Watched watched;
        QTRY_VERIFY(watched.turns.count() >= 5);

        LoopWatch rare(&watched.other.thread, 1h);
        QSignalSpy once(&rare, &LoopWatch::bothTurn);
        QTRY_COMPARE(once.count(), 1); // asked at once
    }

    void standingOtherLoop()
    {
        Watched watched;
        watched.other.hold();
        QCoreApplication::processEvents();
        QSignalSpy asked(&watched.watch, &LoopWatch::asked);
        QCOMPARE(watched.turnsAfter(100), 0);
        QVERIFY(asked.count() <= 1);
        watched.other.release();
        QTRY_VERIFY(watched.turns.count() >= 2);
    }

    void standingOwnLoop()
    {
        Watched watched;
        watched.turns.clear();
        QThread::msleep(100);
        QCOMPARE(watched.turns.count(), 0);
        QTRY_VERIFY(watched.turns.count() >= 2);
    }

    void endedThread()
    {
        Watched watched;
        watched.other.thread.quit();
        QVERIFY(watched.other.thread.wait());
        QCOMPARE(watched.turnsAfter(50), 0);
    }
};

AGENT_TEST(TestLoopWatch)

} // namespace monitoring::tst_loop_watch

#include "tst_loop_watch.moc"
