// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>

class QThread;

namespace monitoring {

/** Lives in a thread and answers as soon as that thread's event loop turns. */
class LoopEcho : public QObject
{
    Q_OBJECT

public:
    Q_SLOT void answer() { emit answered(); }

signals:
    void answered();
};

/**
 * Finds out, again and again, whether two event loops turn: the one of the thread that this object
 * lives in, whose timer asks, and the one of another thread, which has to answer. A question that
 * is still open is not asked twice.
 */
class LoopWatch : public QObject
{
    Q_OBJECT

public:
    /** Asks at once, and from then on each `interval`. */
    LoopWatch(QThread *other, std::chrono::milliseconds interval, QObject *parent = nullptr);
    ~LoopWatch() override;

signals:
    void bothTurn();
    /** To the other thread. */
    void asked();

private:
    void ask();
    void takeAnswer();

    LoopEcho *m_echo;
    QTimer m_timer;
    bool m_isOpen = false;
};

} // namespace monitoring
