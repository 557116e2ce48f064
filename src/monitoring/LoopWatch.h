// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QObject>
#include <QTimer>

#include <chrono>

class QThread;

namespace monitoring {

/** Lives in a thread and answers from that thread's event loop. */
class LoopEcho : public QObject
{
    Q_OBJECT

public:
    Q_SLOT void answer() { emit answered(); }

signals:
    void answered();
};

/**
 * Checks periodically whether two event loops run: that of this object's thread, whose timer asks,
 * and that of another thread, which has to answer. No question is asked while one is unanswered.
 */
class LoopWatch : public QObject
{
    Q_OBJECT

public:
    /** Asks at once, then every `interval`. */
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
