// SPDX-License-Identifier: Apache-2.0
#include "platform/EpollDispatcher.h"

#include <QSocketNotifier>
#include <QTcpServer>
#include <QTcpSocket>
#include <QThread>
#include <QTimer>
#include <QtTest>

#include <array>
#include <memory>
#include <thread>
#include <unistd.h>
#include <vector>

#include <sys/socket.h>

namespace {

using namespace std::chrono_literals;

/** Two ends of a connection; closed at the end. */
struct SocketPair
{
    SocketPair()
    {
        if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0, ends.data()) != 0)
            qFatal("no socket pair");
    }
    ~SocketPair()
    {
        closeEnd(0);
        closeEnd(1);
    }
    SocketPair(const SocketPair &) = delete;
    SocketPair &operator=(const SocketPair &) = delete;

    void closeEnd(size_t end)
    {
        if (ends[end] >= 0)
            ::close(ends[end]);
        ends[end] = -1;
    }
    void send() const { QCOMPARE(::write(ends[1], "x", 1), ssize_t(1)); }
    void take() const
    {
        char byte = 0;
        QCOMPARE(::read(ends[0], &byte, 1), ssize_t(1));
    }

    std::array<int, 2> ends{};
};

/** Writes its name down whenever its end of a pair has something to read. */
std::unique_ptr<QSocketNotifier> watch(const SocketPair &pair, int name, QVector<int> &served)
{
    auto notifier = std::make_unique<QSocketNotifier>(pair.ends[0], QSocketNotifier::Read);
    QObject::connect(notifier.get(), &QSocketNotifier::activated, [&pair, name, &served] {
        served.append(name);
        pair.take();
    });
    return notifier;
}

/** Timers of one shot; each writes down after how many milliseconds it was to fire. */
struct Timers
{
    QObject context;
    QVector<int> fired;
};

/**
 * Starts timers so close to each other that their times alone tell which is due first. A slow or
 * busy machine may take longer than that over one of them; then it starts others.
 */
std::unique_ptr<Timers> startedTogether(const QVector<int> &times)
{
    constexpr std::chrono::milliseconds within(5);
    for (;;) {
        auto timers = std::make_unique<Timers>();
        const auto start = std::chrono::steady_clock::now();
        for (const int time : times) {
            const auto note = [&fired = timers->fired, time] { fired.append(time); };
            QTimer::singleShot(time, Qt::PreciseTimer, &timers->context, note);
        }
        if (std::chrono::steady_clock::now() - start < within)
            return timers;
    }
}

} // namespace

class TestDispatcher : public QObject
{
    Q_OBJECT

private slots:
    void isTheOneInUse();
    void servesInTheOrderOfRegistration();
    void servedNotifierTakesAnotherAway();
    void disabledNotifierWaits();
    void readsAndWritesOnOneDescriptor();
    void descriptorIsUsedAgain();
    void peerThatHangsUpIsTold();
    void socketsCanBeLeftOut();
    void timersFireInTheirOrder();
    void lateTimersFireInTheirOrder();
    void timerRepeatsUntilKilled();
    void timerEndsAnother();
    void timerOfDeletedObjectIsGone();
    void tellsItsTimers();
    void anotherThreadWakesIt();
    void anotherThreadEndsTheLoop();
    void loopsNest();
    void nothingToDoIsToldAtOnce();
    void largeTransferArrives();
};

void TestDispatcher::isTheOneInUse()
{
    QVERIFY(dynamic_cast<EpollDispatcher *>(QAbstractEventDispatcher::instance()) != nullptr);
}

void TestDispatcher::servesInTheOrderOfRegistration()
{
    constexpr int count = 40;
    const std::vector<SocketPair> pairs(count);
    std::vector<std::unique_ptr<QSocketNotifier>> notifiers;
    QVector<int> served;
    QVector<int> expected;
    for (int i = 0; i < count; ++i) {
        notifiers.push_back(watch(pairs[size_t(i)], i, served));
        expected.append(i);
    }
    for (int i = count - 1; i >= 0; --i)
        pairs[size_t(i)].send();
    QCoreApplication::processEvents();
    QCOMPARE(served, expected);
}

void TestDispatcher::servedNotifierTakesAnotherAway()
{
    const SocketPair first;
    const SocketPair second;
    QVector<int> served;
    const auto killer = watch(first, 1, served);
    auto victim = watch(second, 2, served);
    connect(killer.get(), &QSocketNotifier::activated, this, [&victim] { victim.reset(); });
    second.send();
    first.send();
    QCoreApplication::processEvents();
    QCoreApplication::processEvents();
    QCOMPARE(served, QVector<int>{1});
}

void TestDispatcher::disabledNotifierWaits()
{
    const SocketPair pair;
    QVector<int> served;
    const auto notifier = watch(pair, 1, served);
    notifier->setEnabled(false);
    pair.send();
    QCoreApplication::processEvents();
    QVERIFY(served.isEmpty());
    notifier->setEnabled(true);
    QCoreApplication::processEvents();
    QCOMPARE(served, QVector<int>{1});
}

void TestDispatcher::readsAndWritesOnOneDescriptor()
{
    const SocketPair pair;
    QVector<int> served;
    const auto reader = watch(pair, 1, served);
    int writable = 0;
    QSocketNotifier writer(pair.ends[0], QSocketNotifier::Write);
    connect(&writer, &QSocketNotifier::activated, this, [&] {
        ++writable;
        writer.setEnabled(false);
    });
    QCoreApplication::processEvents();
    QCOMPARE(writable, 1);
    pair.send();
    QCoreApplication::processEvents();
    QCOMPARE(served, QVector<int>{1});
    QCOMPARE(writable, 1);
    // Asked for and taken back between two turns, as a socket does with a reply.
    writer.setEnabled(true);
    writer.setEnabled(false);
    QCoreApplication::processEvents();
    QCOMPARE(writable, 1);
    writer.setEnabled(true);
    QCoreApplication::processEvents();
    QCOMPARE(writable, 2);
}

void TestDispatcher::descriptorIsUsedAgain()
{
    QVector<int> served;
    int descriptor = -1;
    for (int i = 0; i < 3; ++i) {
        const SocketPair pair;
        QVERIFY(descriptor == -1 || descriptor == pair.ends[0]);
        descriptor = pair.ends[0];
        const auto notifier = watch(pair, i, served);
        pair.send();
        QCoreApplication::processEvents();
    }
    QCOMPARE(served, (QVector<int>{0, 1, 2}));
}

void TestDispatcher::peerThatHangsUpIsTold()
{
    SocketPair pair;
    int told = 0;
    QSocketNotifier notifier(pair.ends[0], QSocketNotifier::Read);
    connect(&notifier, &QSocketNotifier::activated, this, [&] {
        ++told;
        notifier.setEnabled(false);
    });
    pair.closeEnd(1);
    QCoreApplication::processEvents();
    QCOMPARE(told, 1);
}

void TestDispatcher::socketsCanBeLeftOut()
{
    const SocketPair pair;
    QVector<int> served;
    const auto notifier = watch(pair, 1, served);
    pair.send();
    QCoreApplication::processEvents(QEventLoop::ExcludeSocketNotifiers);
    QVERIFY(served.isEmpty());
    QCoreApplication::processEvents();
    QCOMPARE(served, QVector<int>{1});
}

void TestDispatcher::timersFireInTheirOrder()
{
    const std::unique_ptr<Timers> timers = startedTogether({30, 10, 0, 20});
    QTRY_COMPARE(timers->fired, (QVector<int>{0, 10, 20, 30}));
}

void TestDispatcher::lateTimersFireInTheirOrder()
{
    const std::unique_ptr<Timers> timers = startedTogether({30, 10, 20});
    std::this_thread::sleep_for(40ms);
    QCoreApplication::processEvents();
    QCOMPARE(timers->fired, (QVector<int>{10, 20, 30}));
}

void TestDispatcher::timerRepeatsUntilKilled()
{
    int count = 0;
    QElapsedTimer clock;
    clock.start();
    QTimer timer;
    timer.setInterval(10ms);
    connect(&timer, &QTimer::timeout, this, [&] {
        if (++count == 5)
            timer.stop();
    });
    timer.start();
    QTRY_COMPARE(count, 5);
    QVERIFY(clock.elapsed() >= 50);
    QTest::qWait(30);
    QCOMPARE(count, 5);
}

void TestDispatcher::timerEndsAnother()
{
    int count = 0;
    QTimer first;
    QTimer second;
    connect(&first, &QTimer::timeout, this, [&] {
        ++count;
        second.stop();
    });
    connect(&second, &QTimer::timeout, this, [&] {
        ++count;
        first.stop();
    });
    first.start(0);
    second.start(0);
    QCoreApplication::processEvents();
    QCOMPARE(count, 1);
}

void TestDispatcher::timerOfDeletedObjectIsGone()
{
    auto object = std::make_unique<QObject>();
    object->startTimer(0);
    object.reset();
    QVERIFY(!QAbstractEventDispatcher::instance()->processEvents(QEventLoop::AllEvents));
}

void TestDispatcher::tellsItsTimers()
{
    auto *const dispatcher = QAbstractEventDispatcher::instance();
    QObject object;
    const int id = object.startTimer(5000, Qt::PreciseTimer);
    const auto timers = dispatcher->registeredTimers(&object);
    QCOMPARE(timers.size(), 1);
    QCOMPARE(timers.first().timerId, id);
    QCOMPARE(timers.first().interval, 5000);
    QVERIFY(dispatcher->remainingTime(id) > 4000);
    QVERIFY(dispatcher->remainingTime(id) <= 5000);
    object.killTimer(id);
    QVERIFY(dispatcher->registeredTimers(&object).isEmpty());
    QCOMPARE(dispatcher->remainingTime(id), -1);
}

void TestDispatcher::anotherThreadWakesIt()
{
    constexpr int calls = 1000;
    int count = 0;
    QEventLoop loop;
    std::thread thread([&] {
        for (int i = 0; i < calls; ++i) {
            const auto call = [&] {
                if (++count == calls)
                    loop.quit();
            };
            QMetaObject::invokeMethod(&loop, call, Qt::QueuedConnection);
        }
    });
    loop.exec();
    thread.join();
    QCOMPARE(count, calls);
}

void TestDispatcher::anotherThreadEndsTheLoop()
{
    QEventLoop loop;
    std::thread thread([&loop] {
        while (!loop.isRunning())
            std::this_thread::yield();
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
        QAbstractEventDispatcher::instance(QCoreApplication::instance()->thread())->interrupt();
    });
    QCOMPARE(loop.exec(), 0);
    thread.join();
}

void TestDispatcher::loopsNest()
{
    QVector<int> order;
    QEventLoop outer;
    QTimer::singleShot(0, this, [&] {
        QEventLoop inner;
        QTimer::singleShot(0, &inner, [&] {
            order.append(1);
            inner.quit();
        });
        inner.exec();
        order.append(2);
        outer.quit();
    });
    outer.exec();
    QCOMPARE(order, (QVector<int>{1, 2}));
}

void TestDispatcher::nothingToDoIsToldAtOnce()
{
    auto *const dispatcher = QAbstractEventDispatcher::instance();
    while (dispatcher->processEvents(QEventLoop::AllEvents)) {
    }
    QVERIFY(!dispatcher->processEvents(QEventLoop::AllEvents));
    QVERIFY(!dispatcher->hasPendingEvents());
    dispatcher->wakeUp();
    QVERIFY(dispatcher->hasPendingEvents());
    dispatcher->processEvents(QEventLoop::AllEvents);
    QVERIFY(!dispatcher->hasPendingEvents());
}

void TestDispatcher::largeTransferArrives()
{
    const QByteArray bytes(20'000'000, 'b');
    QByteArray received;
    QTcpServer server;
    QVERIFY(server.listen(QHostAddress::LocalHost));
    QTcpSocket client;
    client.connectToHost(server.serverAddress(), server.serverPort());
    QTRY_VERIFY(server.hasPendingConnections());
    QTcpSocket *const accepted = server.nextPendingConnection();
    connect(&client, &QTcpSocket::readyRead, this, [&] { received += client.readAll(); });
    accepted->write(bytes);
    accepted->disconnectFromHost();
    QTRY_COMPARE(client.state(), QAbstractSocket::UnconnectedState);
    QCOMPARE(received, bytes);
}

int main(int argc, char **argv)
{
    QCoreApplication::setEventDispatcher(EpollDispatcher::make().release());
    const QCoreApplication application(argc, argv);
    TestDispatcher test;
    return QTest::qExec(&test, argc, argv);
}

#include "tst_dispatcher.moc"
