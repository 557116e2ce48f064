// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Channel.h"
#include "device-check/Runner.h"
#include "device-simulator/SimulatedDevice.h"

#include <QStringList>

#include <algorithm>
#include <functional>
#include <optional>
#include <utility>

/** The line to a simulated device, on a clock that only the waits move. */
class SimulatedChannel : public devicecheck::Channel
{
public:
    using ms = std::chrono::milliseconds;
    /** What a device does with the bytes that arrive at once. */
    using Behaviour =
        std::function<QVector<DeviceAnswer>(SimulatedDevice &device, const QByteArray &host)>;

    explicit SimulatedChannel(const DeviceDescription &description)
        : m_device(description, [this] { return std::chrono::microseconds(m_now); })
    {
    }

    SimulatedDevice &device() { return m_device; }
    void addFault(const QString &text)
    {
        QString error;
        m_device.faults().add(Fault::parse(text, &error).value());
    }
    void setBehaviour(Behaviour behaviour) { m_behaviour = std::move(behaviour); }
    /** From then on waits end with this event. */
    void endAt(ms time, Event event) { m_end = std::pair(time, event); }

    ms now() const override { return m_now; }

    void send(const QByteArray &bytes) override
    {
        m_sent += bytes;
        for (const DeviceAnswer &answer : m_behaviour(m_device, bytes)) {
            const Pending pending{m_now + answer.delay, answer.bytes};
            const auto isLater = [](const Pending &a, const Pending &b) { return a.due < b.due; };
            m_pending.insert(std::upper_bound(m_pending.begin(), m_pending.end(), pending, isLater),
                             pending);
        }
    }

    Event wait(ms longest, QByteArray &bytes) override
    {
        const ms end = m_now + longest;
        if (m_end && m_end->first <= end) {
            m_now = std::max(m_now, m_end->first);
            return m_end->second;
        }
        if (m_pending.isEmpty() || m_pending.first().due > end) {
            m_now = end;
            return Event::Quiet;
        }
        m_now = std::max(m_now, m_pending.first().due);
        bytes = m_pending.takeFirst().bytes;
        return Event::Bytes;
    }

    const QByteArray &sent() const { return m_sent; }

private:
    struct Pending
    {
        ms due;
        QByteArray bytes;
    };

    SimulatedDevice m_device;
    Behaviour m_behaviour = [](SimulatedDevice &device, const QByteArray &host) {
        return device.receive(host);
    };
    QVector<Pending> m_pending;
    QByteArray m_sent;
    std::optional<std::pair<ms, Event>> m_end;
    ms m_now{0};
};

inline DeviceDescription deviceOf(const QByteArray &json)
{
    QString error;
    return DeviceDescription::fromJson(json, &error).value();
}

/** A device of a main MCU, two auxiliary MCUs and an FPGA. */
inline DeviceDescription fourChips()
{
    return deviceOf(R"({
        "model": "HX-8", "product_id": "HX8", "virtual_version": 7,
        "chips": [
            {"name": "MAIN", "version": "1.0.0", "upgrades_to": "1.1.0"},
            {"name": "AUX", "chip_type": 1, "chip_index": 0, "version": "1.0", "upgrades_to": "1.1"},
            {"name": "AUX", "chip_type": 1, "chip_index": 1, "version": "1.0", "upgrades_to": "1.1"},
            {"name": "FPGA", "chip_type": 17, "version": "3.1", "upgrades_to": "3.2"}],
        "aux": [{"name": "AUX", "chip_type": 1, "quantity": 2},
                {"name": "FPGA", "chip_type": 17, "quantity": 1}]})");
}

/** All checks, the writing ones with an image of 1000 bytes. */
inline devicecheck::RunSettings allChecks()
{
    devicecheck::RunSettings settings;
    settings.isWriting = true;
    for (int i = 0; i < 1000; ++i)
        settings.image.append(char(i % 251));
    return settings;
}

inline QVector<devicecheck::Result> runChecks(SimulatedChannel &channel,
                                              const devicecheck::RunSettings &settings)
{
    const auto powerSwitch = [&channel] {
        channel.device().powerCycle();
        return QString();
    };
    devicecheck::Runner runner(channel, settings, powerSwitch, [](const devicecheck::Point &) {});
    return runner.run();
}

/** The points in this state, with blanks between. */
inline QString pointsIn(const QVector<devicecheck::Result> &results, devicecheck::State state)
{
    QStringList ids;
    for (const devicecheck::Result &result : results) {
        if (result.state == state)
            ids += QString::fromLatin1(result.point->id);
    }
    return ids.join(QLatin1Char(' '));
}

inline QString failedPoints(const QVector<devicecheck::Result> &results)
{
    return pointsIn(results, devicecheck::State::Failed);
}

inline const devicecheck::Result &resultOf(const QVector<devicecheck::Result> &results,
                                           const QByteArray &id)
{
    for (const devicecheck::Result &result : results) {
        if (id == result.point->id)
            return result;
    }
    qFatal("no point %s", id.constData());
}
