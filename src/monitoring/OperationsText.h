// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "console/ConsoleClient.h"
#include "engine/report/RunEvent.h"
#include "monitoring/LogLine.h"
#include "platform/Platform.h"

#include <optional>

/** The lines of the operations log. docs/reference/log.md describes each. */
namespace monitoring::operations {

LogLine started(const QString &version, const platform::Platform &platform);
LogLine listening(quint16 port);
LogLine notListening(quint16 port, const QString &reason);
LogLine clientCame(const console::ConsolePeer &peer, int clients);
LogLine clientLeft(const console::ConsolePeer &peer, int clients);
LogLine runStarted(const console::RunRequest &request);
/** Replaces suppressed lines about `topic`. */
LogLine linesLeftOut(const char *topic);

/** Whether the event has a line at all. */
bool isLogged(engine::RunEvent::Kind kind);
LogLine runLine(const engine::RunEvent &event);

} // namespace monitoring::operations
