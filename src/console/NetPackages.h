// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "engine/report/RunReporter.h"

class NetModelUpgrade;
namespace netupgrade {
struct NetResumeEvent;
} // namespace netupgrade

namespace console {

class ConsoleEvents;

/** Receives the pieces of a NET package from clients, and reports the install that follows. */
class NetPackages
{
public:
    NetPackages(NetModelUpgrade &upgrade, ConsoleEvents &events);

    /** True for a piece that the upgrade has to receive; false for the notice that the module has
     *  restarted, which is handled here. */
    bool accept(const ConsolePeer &peer, const QByteArray &payload);

    /** Completes an install that a power cut has interrupted, if there is one. */
    void resume();

private:
    void installStarted(const QString &version);
    void installEnded(bool succeeded);
    void resumed(const netupgrade::NetResumeEvent &event);

    NetModelUpgrade &m_upgrade;
    ConsoleEvents &m_events;
    engine::RunReporter m_report;
    /** The client that sent the last piece. */
    ConsolePeer m_sender;
};

} // namespace console
