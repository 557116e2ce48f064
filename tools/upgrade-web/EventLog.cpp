// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/EventLog.h"

#include "common/CommandOutcome.h"
#include "upgrade-web/PageAdvice.h"

namespace web {

QByteArray eventFrame(const QByteArray &id, const QJsonObject &event)
{
    // JSON on one line has no line ends, which would end the field.
    QByteArray frame;
    if (!id.isEmpty())
        frame += "id: " + id + '\n';
    return frame + "event: " + event["event"].toString().toUtf8() +
           "\ndata: " + eventLine(withPageAdvice(event)) + '\n';
}

void EventLog::append(QJsonObject event)
{
    ++m_newest;
    m_frames.push_back(eventFrame(idOf(m_newest), event));
    if (int(m_frames.size()) > m_capacity)
        m_frames.pop_front();
}

QByteArray EventLog::idOf(qint64 number) const
{
    return m_start + '-' + QByteArray::number(number);
}

std::optional<qint64> EventLog::numberOf(const QByteArray &id) const
{
    const int dash = id.lastIndexOf('-');
    if (dash < 0 || id.left(dash) != m_start)
        return std::nullopt;
    bool isNumber = false;
    const qint64 number = id.mid(dash + 1).toLongLong(&isNumber);
    if (!isNumber || number < 0 || number > m_newest)
        return std::nullopt;
    return number;
}

bool EventLog::hasAllAfter(qint64 number) const
{
    return number >= m_newest - qint64(m_frames.size());
}

QByteArray EventLog::frame(qint64 number) const
{
    const qint64 first = m_newest - qint64(m_frames.size()) + 1;
    return m_frames.at(std::size_t(number - first));
}

} // namespace web
