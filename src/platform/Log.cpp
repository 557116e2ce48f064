// SPDX-License-Identifier: Apache-2.0
#include "platform/Log.h"

namespace platform {

Q_LOGGING_CATEGORY(logConsole, "agent.console", QtInfoMsg)
Q_LOGGING_CATEGORY(logConsoleBytes, "agent.console.bytes", QtInfoMsg)
Q_LOGGING_CATEGORY(logLink, "agent.link", QtInfoMsg)
Q_LOGGING_CATEGORY(logLinkBytes, "agent.link.bytes", QtInfoMsg)
Q_LOGGING_CATEGORY(logEngine, "agent.engine", QtInfoMsg)
Q_LOGGING_CATEGORY(logEngineBytes, "agent.engine.bytes", QtInfoMsg)
Q_LOGGING_CATEGORY(logUpload, "agent.upload", QtInfoMsg)
Q_LOGGING_CATEGORY(logUploadBytes, "agent.upload.bytes", QtInfoMsg)
Q_LOGGING_CATEGORY(logEdid, "agent.edid", QtInfoMsg)
Q_LOGGING_CATEGORY(logNet, "agent.net", QtInfoMsg)
Q_LOGGING_CATEGORY(logNetBytes, "agent.net.bytes", QtInfoMsg)
Q_LOGGING_CATEGORY(logService, "agent.service", QtInfoMsg)
Q_LOGGING_CATEGORY(logOperations, "agent.operations", QtInfoMsg)

} // namespace platform
