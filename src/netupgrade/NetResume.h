// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetMarkerFile.h"
#include "netupgrade/NetResumePlan.h"
#include "platform/Platform.h"

#include <QMetaType>
#include <QString>

#include <functional>

namespace netupgrade {

/** What happens to the install that a marker describes. */
struct NetResumeEvent
{
    enum class Kind {
        /** It is about to be completed. */
        Begun,
        Completed,
        /** It is given up, and the marker is removed if that is possible. */
        Discarded,
        /** It is not completed now, and the marker stays. */
        Postponed,
    };

    Kind kind = Kind::Begun;
    /** Empty for a damaged marker, as are the next two. */
    QString version;
    QString variant;
    QString state;
    int attempt = 0;
    /** Discarded and Postponed only: a word. */
    QString reason;
};

/** Completes the install that a marker describes. Everything runs in the calling thread and takes
 *  as long as the commands and the disk take. */
class NetResume
{
public:
    using Report = std::function<void(const NetResumeEvent &event)>;

    NetResume(const platform::Platform &platform, Report report);

    /** True when the module has to be rebooted now, as after the same install without a power
     *  cut. */
    bool run();

private:
    bool waitForLeftCommand() const;
    NetArchiveState archiveState(const QByteArray &digest) const;
    void notify(NetResumeEvent::Kind kind, const QString &reason = {});

    platform::Platform m_platform;
    Report m_report;
    NetMarkerFile m_file;
    std::optional<NetMarker> m_marker;
};

} // namespace netupgrade

Q_DECLARE_METATYPE(netupgrade::NetResumeEvent)
