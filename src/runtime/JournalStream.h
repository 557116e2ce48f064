// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

/**
 * Lines for the journal on standard error: each begins with its priority, "<6>" for information, as
 * sd-daemon(3) and syslog(3) number them.
 */
namespace runtime::journalStream {

/** Whether JOURNAL_STREAM, a device and inode number such as "8:1234", names the descriptor. */
bool isJournal(const QByteArray &variable, int descriptor);

/** The text with the priority before each of its lines, and a final line end. */
QByteArray withPriority(QtMsgType type, const QString &text);

} // namespace runtime::journalStream
