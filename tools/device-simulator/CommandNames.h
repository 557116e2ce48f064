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

/** A frame of the host in words: the command and what its payload says. */
QString describeHostFrame(const QByteArray &frame);

/** A reply in words: the command it answers and its status or its data. */
QString describeReply(const QByteArray &frame);
