// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Step.h"

namespace devicecheck {

/** The line to a device: bytes in both directions, and a clock. */
class Channel
{
public:
    enum class Event {
        Bytes,
        /** Nothing has arrived for the time. */
        Quiet,
        /** The line is gone. */
        Lost,
        /** The user ends the checks. */
        Interrupted,
    };

    Channel() = default;
    Channel(const Channel &) = delete;
    Channel &operator=(const Channel &) = delete;
    virtual ~Channel() = default;

    /** Since any fixed moment. */
    virtual milliseconds now() const = 0;
    virtual void send(const QByteArray &bytes) = 0;
    /** Waits until bytes arrive, at most this long. */
    virtual Event wait(milliseconds longest, QByteArray &bytes) = 0;
};

} // namespace devicecheck
