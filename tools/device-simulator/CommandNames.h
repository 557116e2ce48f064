// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

/** The word of a command, given by its short name ("bootcode") or as four hexadecimal digits. */
std::optional<quint16> commandNamed(const QString &name);

/** The short names of all commands. */
QStringList commandNames();

/** "F900 bootcode", or the bare number of an unknown word. */
QString describeCommand(quint16 word);

/** A frame of the host as text: the command and the values of its payload. */
QString describeHostFrame(const QByteArray &frame);

/** A reply as text: the command that it answers, and its status or its data. */
QString describeReply(const QByteArray &frame);
