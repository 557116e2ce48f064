// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetMarker.h"
#include "platform/Platform.h"

#include <QString>

#include <optional>

namespace netupgrade {

/** The marker on the disk. Each change is on the disk when the function returns. */
class NetMarkerFile
{
public:
    explicit NetMarkerFile(const platform::Platform &platform);

    /** Whether anything has the marker's name. */
    bool exists() const;
    /** None when it cannot be read or is not a marker. */
    std::optional<NetMarker> read() const;
    /** A marker that only the agent's user can have written, in a regular file. */
    bool isOwn() const;
    /** Replaces an older marker. False when not every byte reached the disk; then the older one
     *  stays. */
    bool store(const NetMarker &marker) const;
    bool remove() const;

private:
    QString m_path;
    platform::OperatingSystem m_system;
};

} // namespace netupgrade
