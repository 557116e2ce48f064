// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-description/DeviceDescription.h"
#include "device-simulator/Fault.h"
#include "device-simulator/FlashMemory.h"
#include "device-simulator/HostCommand.h"
#include "device-simulator/HostFrameReader.h"

#include <QByteArray>
#include <QString>
#include <QVector>

#include <chrono>
#include <functional>
#include <optional>
#include <random>

/** One line of what happens between host and device. */
struct TraceEvent
{
    enum class Kind {
        HostFrame,
        DeviceFrame,
        /** A frame that breaks the protocol; `text` names how. */
        Violation,
        Fault,
        Note,
    };

    std::chrono::microseconds time{0};
    Kind kind = Kind::Note;
    QByteArray bytes;
    QString text;

    /** "12.345678 host   F900 bootcode type=0 index=1 | 5a5b…" without a line end. */
    QString line() const;
};

/** Bytes that the device sends, and how long after the command. */
struct DeviceAnswer
{
    QByteArray bytes;
    std::chrono::milliseconds delay{0};
};

/**
 * The MCU side of the protocol, with neither port nor timer: bytes of the host go in, answers with
 * their delays come out. It judges every frame, keeps the flash of each chip, restarts and reboots
 * as a device does, and breaks in whatever way the fault table asks for.
 */
class SimulatedDevice
{
public:
    /** Time since any fixed moment. */
    using Clock = std::function<std::chrono::microseconds()>;
    using Trace = std::function<void(const TraceEvent &)>;

    /** The time since the first call, on a clock that never jumps. */
    static Clock steadyClock();

    explicit SimulatedDevice(const DeviceDescription &description, Clock clock = steadyClock(),
                             quint32 seed = 1);

    QVector<DeviceAnswer> receive(const QByteArray &bytes);

    FaultTable &faults() { return m_faults; }
    void setTrace(Trace trace) { m_trace = std::move(trace); }

    /** Takes the power away and gives it back: silence ends, open flashes close. */
    void powerCycle();

    struct Chip
    {
        ChipDescription now;
        FlashMemory flash;
    };

    const QVector<Chip> &chips() const { return m_chips; }
    const Chip *chip(quint8 type, quint8 index) const;
    /** The raw blocks, padding included; empty for an unknown chip or one never written. */
    QByteArray flash(quint8 type, quint8 index) const;
    quint8 virtualVersion() const { return m_virtualVersion; }
    int rebootCount() const { return m_rebootCount; }
    /** How many frames broke the protocol so far. */
    int violationCount() const { return m_violationCount; }
    /** True while nothing is answered, whatever the reason. */
    bool isSilent();

private:
    using Handler = QByteArray (SimulatedDevice::*)(const HostCommand &host);
    struct Command;
    static const Command *findCommand(quint16 word);

    void take(const HostItem &item, QVector<DeviceAnswer> &answers);
    void takeFrame(const QByteArray &frame, QVector<DeviceAnswer> &answers);
    QByteArray obey(const HostCommand &host, const QVector<Fault> &faults);
    QByteArray obeyUnharmed(const HostCommand &host);
    void deliver(QByteArray reply, const QByteArray &host, const QVector<Fault> &faults,
                 QVector<DeviceAnswer> &answers);
    std::chrono::milliseconds delayOf(const QVector<Fault> &faults);
    void send(const QByteArray &bytes, std::chrono::milliseconds delay,
              QVector<DeviceAnswer> &answers);

    QByteArray answerModelName(const HostCommand &host);
    QByteArray answerBootcode(const HostCommand &host);
    QByteArray answerProductInformation(const HostCommand &host);
    QByteArray answerVersion(const HostCommand &host);
    QByteArray answerProductId(const HostCommand &host);
    QByteArray answerVirtualVersion(const HostCommand &host);
    QByteArray enterUpdateMode(const HostCommand &host);
    QByteArray writeBlock(const HostCommand &host);
    QByteArray reboot(const HostCommand &host);
    QByteArray setVirtualVersion(const HostCommand &host);
    QByteArray writeProductInformation(const HostCommand &host);

    Chip *findChip(const HostCommand &host);
    QByteArray noSuchChip(const HostCommand &host);
    void imageCompleted(Chip &chip);
    void closeFlashes();
    void stayMuteFor(std::optional<std::chrono::microseconds> time);

    QByteArray violation(const QByteArray &frame, const QString &problem, quint8 status);
    void trace(TraceEvent::Kind kind, const QByteArray &bytes, const QString &text);

    DeviceDescription m_description;
    Clock m_clock;
    std::mt19937 m_random;
    Trace m_trace;
    FaultTable m_faults;
    HostFrameReader m_reader;
    std::chrono::microseconds m_lastByteTime{0};
    QVector<Chip> m_chips;
    quint8 m_virtualVersion = 0;
    int m_rebootCount = 0;
    int m_violationCount = 0;
    /** Nothing is answered before this time. */
    std::optional<std::chrono::microseconds> m_muteUntil;
    bool m_dead = false;
    std::chrono::milliseconds m_extraDelay{0};
    /** Nothing is answered before this time. */
    std::chrono::microseconds m_busyUntil{0};
    /** A reply that waits to be sent together with the next one. */
    QByteArray m_held;
};
