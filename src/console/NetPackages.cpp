// SPDX-License-Identifier: Apache-2.0
#include "console/NetPackages.h"

#include "console/ConsoleEvents.h"
#include "netupgrade/NetModelUpgrade.h"
#include "netupgrade/NetResume.h"
#include "platform/Log.h"
#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;
using engine::RunEvent;
using netupgrade::NetResumeEvent;
using platform::logConsole;

namespace console {

NetPackages::NetPackages(NetModelUpgrade &upgrade, ConsoleEvents &events)
    : m_upgrade(upgrade),
      m_events(events),
      m_report([this](const RunEvent &event) { emit m_events.runEvent(event); })
{
    QObject::connect(&upgrade, &NetModelUpgrade::slotProgressValueChanged, &events,
                     [this](double percent) { m_report.progress(percent); });
    upgrade.setInstallReport([this](const QString &version) { installStarted(version); },
                             [this](bool succeeded) { installEnded(succeeded); });
}

bool NetPackages::accept(const ConsolePeer &peer, const QByteArray &payload)
{
    if (payload.contains(consoletext::rebootDone.data())) {
        qCDebug(logConsole) << "UpgradeModel Receive Data from Uart to UpgradeModel::" << payload;
        m_upgrade.noticeUpgradingFalse();
        return false;
    }
    m_sender = peer;
    return true;
}

void NetPackages::resume()
{
    m_upgrade.resume([this](const NetResumeEvent &event) { resumed(event); });
}

void NetPackages::installStarted(const QString &version)
{
    emit m_events.runRequested({RunRequest::Kind::NetBlocks, m_sender, {}, 0, 1});
    m_report.begin();
    m_report.installing(version);
}

void NetPackages::installEnded(bool succeeded)
{
    m_report.installed(succeeded);
    m_report.end(succeeded);
}

void NetPackages::resumed(const NetResumeEvent &event)
{
    using Kind = NetResumeEvent::Kind;

    const engine::RunInstall install{event.version, event.variant, event.state, event.attempt};
    switch (event.kind) {
    case Kind::Begun:
        return m_report.resuming(install);
    case Kind::Completed:
        return m_report.resumed();
    case Kind::Discarded:
    case Kind::Postponed:
        return m_report.notResumed(install, event.kind == Kind::Postponed, event.reason);
    }
}

} // namespace console
