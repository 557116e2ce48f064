// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-simulator/SimulatedDevice.h"

#include <QByteArray>

#include <chrono>
#include <vector>

/** What a device sends in reply to bytes. */
struct PeerAnswer
{
    QByteArray bytes;
    std::chrono::milliseconds delay{0};
    /** It acknowledges a block of an image. */
    bool acknowledgesBlock = false;
};

/** The device's side of the serial line, without input and output. */
class Peer
{
public:
    virtual ~Peer() = default;

    /** What it sends before the host has sent anything. */
    virtual QByteArray greeting() const { return {}; }
    virtual std::vector<PeerAnswer> take(const QByteArray &bytes) = 0;
    /** True when the host violated the protocol. */
    virtual bool isOffended() const = 0;
};

/** The MCUs of a device. */
class DevicePeer : public Peer
{
public:
    explicit DevicePeer(const DeviceDescription &description);

    std::vector<PeerAnswer> take(const QByteArray &bytes) override;
    bool isOffended() const override { return m_device.violationCount() > 0; }

private:
    SimulatedDevice m_device;
};

/** A receiver of XMODEM with blocks of 1 KiB and CRC-16 (which it does not check). */
class XmodemPeer : public Peer
{
public:
    QByteArray greeting() const override;
    std::vector<PeerAnswer> take(const QByteArray &bytes) override;
    bool isOffended() const override { return m_offended; }

private:
    QByteArray m_input;
    quint8 m_number = 1;
    bool m_offended = false;
};
