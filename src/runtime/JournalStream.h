// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

/**
 * Standard error where it is the journal: each line then begins with its priority, "<6>" for
 * information, as sd-daemon(3) and syslog(3) number them.
 */
namespace runtime::journalStream {

/** Whether the descriptor is what JOURNAL_STREAM names by device and inode number, "8:1234". */
bool isJournal(const QByteArray &variable, int descriptor);

/** The text with the priority before each of its lines, and a line end behind. */
QByteArray withPriority(QtMsgType type, const QString &text);

} // namespace runtime::journalStream
