// SPDX-License-Identifier: Apache-2.0
#include "monitoring/LogOutput.h"

#include "platform/Log.h"
#include "runtime/JournalStream.h"
#include "runtime/StandardError.h"

#include <cstdlib>
#include <unistd.h>

using platform::logService;

namespace journalStream = runtime::journalStream;
namespace standardError = runtime::standardError;

namespace monitoring::logOutput {

namespace {

/** How long the process waits at its end for its last lines to be written. */
constexpr std::chrono::milliseconds lastLines{1'000};

bool isInJournal = false;

QByteArray linesOf(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QString message = qFormatLogMessage(type, context, text);
    // The message pattern suppresses this message.
    if (message.isNull())
        return {};
    return isInJournal ? journalStream::withPriority(type, message) : message.toLocal8Bit() + '\n';
}

/** Written in one piece: two threads write. */
void writeMessage(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    const QByteArray lines = linesOf(type, context, text);
    if (!lines.isEmpty())
        standardError::write(lines);
    if (type == QtFatalMsg)
        standardError::flush(lastLines);
}

QByteArray lossReport(qint64 lines)
{
    const QMessageLogContext context(nullptr, 0, nullptr, logService().categoryName());
    const QString text =
        lines == 1 ? QStringLiteral("1 line of the log was lost: standard error was not read")
                   : QStringLiteral("%1 lines of the log were lost: standard error was not read")
                         .arg(lines);
    return linesOf(QtWarningMsg, context, text);
}

} // namespace

void install()
{
    isInJournal = journalStream::isJournal(qgetenv("JOURNAL_STREAM"), STDERR_FILENO);
    standardError::neverBlock(lossReport);
    qInstallMessageHandler(writeMessage);
    std::atexit([] { standardError::flush(lastLines); });
}

} // namespace monitoring::logOutput
