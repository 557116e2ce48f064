// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLoggingCategory>

namespace platform {

/**
 * The categories of the agent's debug lines, one for each subsystem and another one for its raw
 * bytes. All are off by default; Qt's logging rules enable them, for example
 * QT_LOGGING_RULES="agent.*.debug=true".
 */
Q_DECLARE_LOGGING_CATEGORY(logConsole)
Q_DECLARE_LOGGING_CATEGORY(logConsoleBytes)
Q_DECLARE_LOGGING_CATEGORY(logLink)
Q_DECLARE_LOGGING_CATEGORY(logLinkBytes)
Q_DECLARE_LOGGING_CATEGORY(logEngine)
Q_DECLARE_LOGGING_CATEGORY(logEngineBytes)
Q_DECLARE_LOGGING_CATEGORY(logUpload)
Q_DECLARE_LOGGING_CATEGORY(logUploadBytes)
Q_DECLARE_LOGGING_CATEGORY(logEdid)
Q_DECLARE_LOGGING_CATEGORY(logNet)
Q_DECLARE_LOGGING_CATEGORY(logNetBytes)
Q_DECLARE_LOGGING_CATEGORY(logService)

/** The operations log, for the owner of the device: on by default, at info level. */
Q_DECLARE_LOGGING_CATEGORY(logOperations)

} // namespace platform
