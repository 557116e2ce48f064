// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/ReplayDevice.h"

#include <QRegularExpression>

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

struct TraceLine
{
    microseconds time{0};
    QString kind;
    QString text;
    QByteArray bytes;
};

std::optional<TraceLine> readLine(const QString &line)
{
    static const QRegularExpression form(
        QStringLiteral("^(\\d{1,9})\\.(\\d{6}) (\\w+) +(.*?)(?: \\| ((?:[0-9a-f]{2})*))?$"));
    const QRegularExpressionMatch match = form.match(line);
    if (!match.hasMatch())
        return std::nullopt;
    TraceLine read;
    read.time = std::chrono::seconds(match.captured(1).toLongLong()) +
                microseconds(match.captured(2).toLongLong());
    read.kind = match.captured(3);
    read.text = match.captured(4);
    read.bytes = QByteArray::fromHex(match.captured(5).toLatin1());
    return read;
}

/** A delayed answer is recorded when it is decided; its text contains the delay. */
milliseconds announcedDelay(const QString &text)
{
    static const QRegularExpression form(QStringLiteral(" in (\\d{1,9}) ms$"));
    return milliseconds(form.match(text).captured(1).toLongLong());
}

} // namespace

std::optional<ReplayDevice> ReplayDevice::fromTrace(const QByteArray &trace, QString *error)
{
    ReplayDevice device;
    int number = 0;
    const QList<QByteArray> lines = trace.split('\n');
    for (const QByteArray &line : lines) {
        ++number;
        const QString problem =
            line.isEmpty() ? QString() : device.addLine(QString::fromUtf8(line));
        if (!problem.isEmpty()) {
            *error = QStringLiteral("line %1: %2").arg(number).arg(problem);
            return std::nullopt;
        }
    }
    return device;
}

QString ReplayDevice::addLine(const QString &text)
{
    const auto line = readLine(text);
    if (!line)
        return QStringLiteral("is not a line of a trace");
    if (line->kind == QLatin1String("host"))
        m_exchanges.append({line->time, line->bytes, {}});
    if (line->kind != QLatin1String("device"))
        return {};
    if (m_exchanges.isEmpty())
        return QStringLiteral("answers no frame of the host");
    const auto passed =
        std::chrono::duration_cast<milliseconds>(line->time - m_exchanges.last().time);
    m_exchanges.last().answers.append({line->bytes, passed + announcedDelay(line->text)});
    return {};
}

QVector<DeviceAnswer> ReplayDevice::receive(const QByteArray &bytes)
{
    QVector<DeviceAnswer> answers;
    const auto items = m_reader.read(bytes);
    for (const HostItem &item : items) {
        const int count = m_exchanges.size();
        for (int i = 0; i < count; ++i) {
            const Exchange &exchange = m_exchanges.at((m_next + i) % count);
            if (exchange.host != item.bytes)
                continue;
            answers += exchange.answers;
            m_next = (m_next + i + 1) % count;
            break;
        }
    }
    return answers;
}
