// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LoopWatch.h"

#include <QThread>

namespace monitoring {

LoopWatch::LoopWatch(QThread *other, std::chrono::milliseconds interval, QObject *parent)
    : QObject(parent), m_echo(new LoopEcho)
{
    m_echo->moveToThread(other);
    connect(this, &LoopWatch::asked, m_echo, &LoopEcho::answer, Qt::QueuedConnection);
    connect(m_echo, &LoopEcho::answered, this, &LoopWatch::takeAnswer, Qt::QueuedConnection);
    connect(&m_timer, &QTimer::timeout, this, &LoopWatch::ask);
    m_timer.start(interval);
    ask();
}

/** After the thread has ended, its event loop cannot delete the echo. */
LoopWatch::~LoopWatch()
{
    const QThread *const other = m_echo->thread();
    if (other != nullptr && other->isRunning())
        m_echo->deleteLater();
    else
        delete m_echo;
}

void LoopWatch::ask()
{
    if (m_isOpen)
        return;
    m_isOpen = true;
    emit asked();
}

void LoopWatch::takeAnswer()
{
    m_isOpen = false;
    emit bothTurn();
}

} // namespace monitoring
