// SPDX-License-Identifier: Apache-2.0
#include "monitoring/OperationsText.h"

using console::ConsolePeer;
using console::RunRequest;
using engine::RunEvent;
using engine::RunInstall;
using engine::RunMcu;
using platform::Platform;

namespace monitoring::operations {

namespace {

using Kind = RunEvent::Kind;

const char *nameOf(RunRequest::Kind kind)
{
    switch (kind) {
    case RunRequest::Kind::Serial:
        return "serial";
    case RunRequest::Kind::Network:
        return "network";
    case RunRequest::Kind::NetBlocks:
        return "net_blocks";
    }
    return "";
}

/** Why a run with this status failed. */
const char *reasonOf(int status)
{
    constexpr struct
    {
        int status;
        const char *reason;
    } reasons[] = {
        {2, "package"},        {5, "device_lost"},          {7, "step_failed"},
        {9, "module_upgrade"}, {10, "product_information"},
    };
    for (const auto &one : reasons) {
        if (one.status == status)
            return one.reason;
    }
    return "";
}

LogLine about(const char *event, const ConsolePeer &peer)
{
    return LogLine(event).add("address", peer.address).add("port", peer.port);
}

LogLine about(const char *event, const RunMcu &mcu)
{
    LogLine line(event);
    line.add("name", mcu.name)
        .addIfAny("chip_type", mcu.chipType)
        .addIfAny("chip_index", mcu.chipIndex)
        .addIfAny("old", mcu.runs)
        .addIfAny("new", mcu.offered);
    return line;
}

LogLine mcuEnded(const RunEvent &event)
{
    return about("mcu_finished", event.mcu)
        .add("result", QLatin1String(event.success ? "written" : "failed"))
        .addSeconds("seconds", event.milliseconds);
}

LogLine tried(const RunEvent &event)
{
    LogLine line(event.kind == Kind::Retried ? "retry" : "failure");
    line.addIfAny("name", event.mcu.name);
    if (event.kind == Kind::Retried)
        line.add("attempt", event.attempt);
    return line.add("text", event.text);
}

LogLine signatureChecked(const RunEvent &event)
{
    return LogLine("signature_checked")
        .add("result", QLatin1String(event.success ? "ok" : "refused"))
        .addIfAny("key", event.key)
        .add(event.success ? "comment" : "reason", event.text);
}

LogLine installEnded(const RunEvent &event)
{
    return LogLine("install_finished")
        .add("version", event.mcu.offered)
        .add("result", QLatin1String(event.success ? "success" : "failed"))
        .addSeconds("seconds", event.milliseconds);
}

LogLine resume(const char *event, const RunInstall &install)
{
    return LogLine(event)
        .addIfAny("version", install.version)
        .addIfAny("kind", install.kind)
        .addIfAny("state", install.state);
}

LogLine runEnded(const RunEvent &event)
{
    LogLine line("run_finished");
    line.add("result", QLatin1String(event.success ? "success" : "failed"));
    if (!event.success)
        line.addIfAny("reason", QLatin1String(reasonOf(event.status)));
    return line.add("written", event.written)
        .add("failed", event.failed)
        .add("skipped", event.skipped)
        .addSeconds("seconds", event.milliseconds);
}

} // namespace

LogLine started(const QString &version, const Platform &platform)
{
    return LogLine("start")
        .add("version", version)
        .add("package", platform.paths.package)
        .add("net_archive", platform.paths.netArchive)
        .add("net_version", platform.paths.netVersion)
        .add("serial", platform.ports.serial);
}

LogLine listening(quint16 port)
{
    return LogLine("listening").add("port", port);
}

LogLine notListening(quint16 port, const QString &reason)
{
    return LogLine("not_listening").add("port", port).add("reason", reason);
}

LogLine clientCame(const ConsolePeer &peer, int clients)
{
    return about("client_connected", peer).add("clients", clients);
}

LogLine clientLeft(const ConsolePeer &peer, int clients)
{
    return about("client_disconnected", peer).add("clients", clients);
}

LogLine runStarted(const RunRequest &request)
{
    LogLine line = about("run_started", request.by);
    line.add("kind", QLatin1String(nameOf(request.kind))).addIfAny("link", request.link);
    if (request.kind == RunRequest::Kind::NetBlocks)
        return line;
    return line.add("mode", request.mode).add("mcus", request.rows);
}

LogLine linesLeftOut(const char *topic)
{
    return LogLine("lines_left_out").add("about", QLatin1String(topic));
}

bool isLogged(RunEvent::Kind kind)
{
    return kind != Kind::Begun && kind != Kind::Reading && kind != Kind::Progress;
}

LogLine runLine(const RunEvent &event)
{
    switch (event.kind) {
    case Kind::Begun:
    case Kind::Reading:
    case Kind::Progress:
        break;
    case Kind::SignatureChecked:
        return signatureChecked(event);
    case Kind::Skipped:
        return about("mcu_skipped", event.mcu).add("reason", event.text);
    case Kind::Writing:
        return about("mcu_started", event.mcu).add("bytes", event.bytes);
    case Kind::Retried:
    case Kind::GivenUp:
        return tried(event);
    case Kind::Written:
        return mcuEnded(event);
    case Kind::Restarting:
        return LogLine("device_restarting");
    case Kind::Installing:
        return LogLine("install_started").add("version", event.mcu.offered);
    case Kind::Installed:
    case Kind::Resumed:
        return installEnded(event);
    case Kind::Resuming:
        return resume("install_resumed", event.install).add("attempt", event.install.attempt);
    case Kind::NotResumed:
        return resume(event.isPostponed ? "install_postponed" : "install_given_up", event.install)
            .add("reason", event.text);
    case Kind::Ended:
        return runEnded(event);
    }
    return LogLine("none");
}

} // namespace monitoring::operations
