// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "engine/report/RunEvent.h"

#include <QObject>

namespace console {

/** Events of the console for the operations log and the service manager. */
class ConsoleEvents : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

signals:
    /** `clients` is their current number. */
    void clientCame(const ConsolePeer &peer, int clients);
    void clientLeft(const ConsolePeer &peer, int clients);
    /** Emitted before the run's own events. */
    void runRequested(const RunRequest &request);
    void runEvent(const engine::RunEvent &event);
};

} // namespace console
