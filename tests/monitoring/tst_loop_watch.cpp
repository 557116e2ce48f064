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

} // namespace

class TestLoopWatch : public QObject
{
    Q_OBJECT

private slots:
    void turningLoopsAreFound()
    {
        OtherThread other;
        LoopWatch watch(&other.thread, 5ms);
        QSignalSpy turns(&watch, &LoopWatch::bothTurn);
        QTRY_VERIFY(turns.count() >= 5);

        LoopWatch rare(&other.thread, 1h);
        QSignalSpy once(&rare, &LoopWatch::bothTurn);
        QTRY_COMPARE(once.count(), 1); // asked at once
    }

    void standingOtherLoop()
    {
        OtherThread other;
        LoopWatch watch(&other.thread, 5ms);
        QSignalSpy asked(&watch, &LoopWatch::asked);
        QSignalSpy turns(&watch, &LoopWatch::bothTurn);
        QTRY_VERIFY(turns.count() >= 2);
        other.hold();
        QCoreApplication::processEvents(); // an answer may be on its way
        turns.clear();
        asked.clear();
        QTest::qWait(100); // twenty times the interval
        QCOMPARE(turns.count(), 0);
        QVERIFY(asked.count() <= 1);
        other.release();
        QTRY_VERIFY(turns.count() >= 2);
    }

    void standingOwnLoop()
    {
        OtherThread other;
        LoopWatch watch(&other.thread, 5ms);
        QSignalSpy turns(&watch, &LoopWatch::bothTurn);
        QTRY_VERIFY(turns.count() >= 2);
        turns.clear();
        QThread::msleep(100);
        QCOMPARE(turns.count(), 0);
        QTRY_VERIFY(turns.count() >= 2);
    }

    void endedThread()
    {
        OtherThread other;
        LoopWatch watch(&other.thread, 5ms);
        QSignalSpy turns(&watch, &LoopWatch::bothTurn);
        QTRY_VERIFY(turns.count() >= 2);
        other.thread.quit();
        QVERIFY(other.thread.wait());
        QCoreApplication::processEvents();
        turns.clear();
        QTest::qWait(50);
        QCOMPARE(turns.count(), 0);
    }
};

AGENT_TEST(TestLoopWatch)

} // namespace monitoring::tst_loop_watch

#include "tst_loop_watch.moc"
