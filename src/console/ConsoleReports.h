// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

/** The reports of the agent's other parts as texts for clients. */
namespace console::consolereport {

/** Whether the engine's message is the status that ends a run. */
bool isStatus(const QStringList &message);
/** Empty for a message that clients do not get. */
QString ofMessage(const QStringList &message);
QByteArray ofProgress(double percent);
QString ofEdid(const QString &report);
/** A reply to a piece of a NET package; any bytes. */
QByteArray ofNetReply(const QByteArray &bytes);

} // namespace console::consolereport
