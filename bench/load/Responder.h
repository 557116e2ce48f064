// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "load/BlockTimes.h"
#include "load/Peer.h"
#include "load/Pty.h"

#include <functional>

/**
 * Acts as a peer on a pseudo-terminal and measures the sender. With a baud rate, both directions
 * take the time of a serial line: bytes of the host count as arrived when their last bit would have
 * arrived, and an answer is sent when its last bit would have been sent.
 */
class Responder
{
public:
    struct Settings
    {
        /** 0: as fast as the machine. */
        int baudRate = 0;
        /** Replies are written when their last byte is due, not byte by byte. */
        bool wholeReplies = false;
        /** Ends after so many blocks; 0: no limit. */
        int blocks = 0;
        int warmUp = 0;
    };

    Responder(Pty &pty, Peer &peer, Settings settings);

    /** Called once, when the blocks start to count. */
    void setWarmedUp(std::function<void()> warmedUp) { m_warmedUp = std::move(warmedUp); }

    /** Runs until the blocks have arrived or `stop` becomes true. */
    void run(const volatile bool &stop);

    const BlockTimes &times() const { return m_times; }
    long long hostBytes() const { return m_hostBytes; }
    long long deviceBytes() const { return m_deviceBytes; }

private:
    void take(const QByteArray &bytes);
    void takeBlock(Nanoseconds time);
    void answer(const PeerAnswer &answer);
    Nanoseconds send(const QByteArray &bytes, Nanoseconds start);
    Nanoseconds wireTime(long long bytes) const;
    bool isDone() const { return m_settings.blocks > 0 && m_times.blocks() >= m_settings.blocks; }

    Pty &m_pty;
    Peer &m_peer;
    Settings m_settings;
    BlockTimes m_times;
    std::function<void()> m_warmedUp;
    /** When the first byte of the current command arrived, and how many it has so far. */
    Nanoseconds m_commandStarted{0};
    long long m_commandBytes = 0;
    Nanoseconds m_hostEnd{0};
    Nanoseconds m_deviceEnd{0};
    long long m_hostBytes = 0;
    long long m_deviceBytes = 0;
};
