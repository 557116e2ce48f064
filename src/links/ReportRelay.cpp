// SPDX-License-Identifier: Apache-2.0
#include "links/ReportRelay.h"

#include <QThread>

#include <utility>

using engine::RunEvent;
using engine::RunEvents;

namespace links {

namespace {

/** On a fast line a group is full before the interval ends. */
constexpr int longestGroup = 16;

} // namespace

ReportRelay::ReportRelay(std::chrono::milliseconds interval, QObject *parent)
    : QObject(parent), m_timer(this), m_events(this)
{
    m_timer.setSingleShot(true);
    m_timer.setInterval(interval);
    connect(&m_timer, &QTimer::timeout, this, &ReportRelay::onTimeOut);
}

void ReportRelay::follow(const RunEvents &events)
{
    connect(&events, &RunEvents::reported, this, &ReportRelay::takeEvent);
    connect(&events, &RunEvents::ending, &m_events, &RunEvents::ending);
    connect(&events, &RunEvents::over, &m_events, &RunEvents::over);
}

void ReportRelay::takeProgress(double bytesSent, double bytesTotal)
{
    if (QThread::currentThread() != thread() || m_timer.interval() == 0) {
        emit progressValueChanged(bytesSent, bytesTotal);
        return;
    }
    if (!m_timer.isActive()) {
        m_timer.start();
        emit progressValueChanged(bytesSent, bytesTotal);
        return;
    }
    m_held.append({bytesSent, bytesTotal});
    if (m_held.size() >= longestGroup)
        flush();
}

void ReportRelay::takeEvent(const RunEvent &event)
{
    if (event.kind == RunEvent::Kind::Progress && m_timer.isActive()) {
        m_heldEvent = event;
        return;
    }
    flush();
    emit m_events.reported(event);
}

void ReportRelay::flush()
{
    const QVector<Progress> held = std::exchange(m_held, {});
    for (const Progress &progress : held)
        emit progressValueChanged(progress.bytesSent, progress.bytesTotal);
    if (m_heldEvent)
        emit m_events.reported(*std::exchange(m_heldEvent, std::nullopt));
}

void ReportRelay::onTimeOut()
{
    if (m_held.isEmpty() && !m_heldEvent)
        return;
    flush();
    m_timer.start();
}

} // namespace links
