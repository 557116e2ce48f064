// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/DevicePort.h"
#include "device-simulator/SimulatedDevice.h"

#include <QObject>
#include <QSocketNotifier>
#include <QVector>

#include <chrono>
#include <functional>

/**
 * Transfers bytes between port and device, optionally at the speed of a serial line: the device
 * receives a command when its last bit would have arrived, and the answer is sent when the
 * answer's last bit would have been sent. Times are kept to the microsecond.
 */
class Wire : public QObject
{
    Q_OBJECT

public:
    /** Processes bytes of the host and returns the device's answers. */
    using Device = std::function<QVector<DeviceAnswer>(const QByteArray &bytes)>;

    /** A `baudRate` of 0 means without delays. */
    Wire(DevicePort &port, Device device, int baudRate, QObject *parent = nullptr);
    ~Wire() override;

    /** A disconnected line transfers nothing in both directions. */
    void setPlugged(bool plugged);
    bool isPlugged() const { return m_plugged; }

    /** The number of bytes that the host sent over a disconnected line. */
    qint64 lostBytes() const { return m_lostBytes; }

private:
    using Time = std::chrono::nanoseconds;

    struct Pending
    {
        Time due{0};
        QByteArray bytes;
    };

    static Time now();
    Time durationOf(int bytes) const { return bytes * m_byteTime; }
    void onReceived(const QByteArray &bytes);
    void schedule(const DeviceAnswer &answer, Time commandEnd);
    void sendDue();
    void armTimer();

    DevicePort &m_port;
    Device m_device;
    Time m_byteTime{0};
    /** When the last byte of the host, and of the device, leaves the line. */
    Time m_hostEnd{0};
    Time m_deviceEnd{0};
    /** In the order of their times. */
    QVector<Pending> m_pending;
    bool m_plugged = true;
    qint64 m_lostBytes = 0;
    int m_timerFd;
    QSocketNotifier m_timer;
};
