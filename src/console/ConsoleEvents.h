// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "engine/report/RunEvent.h"

#include <QObject>

namespace console {

/** What those who watch over the agent learn of the console. Nothing here answers a client. */
class ConsoleEvents : public QObject
{
    Q_OBJECT

public:
    using QObject::QObject;

signals:
    /** `clients` is how many there are now. */
    void clientCame(const ConsolePeer &peer, int clients);
    void clientLeft(const ConsolePeer &peer, int clients);
    /** Comes before the run's own events. */
    void runRequested(const RunRequest &request);
    void runEvent(const engine::RunEvent &event);
};

} // namespace console
