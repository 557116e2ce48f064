// SPDX-License-Identifier: Apache-2.0
#include "console/ConsoleReports.h"

#include "protocol/ConsoleTexts.h"

namespace consoletext = protocol::consoletext;

namespace console {

namespace {

constexpr int progressDecimals = 2;

} // namespace

bool consolereport::isStatus(const QStringList &message)
{
    return message.value(0) == consoletext::statusMessage;
}

QString consolereport::ofMessage(const QStringList &message)
{
    if (message.isEmpty())
        return {};
    const QString &key = message.first();
    if (isStatus(message)) {
        const bool success = message.value(1) == consoletext::successStatus;
        return consoletext::disconnected +
               QString(success ? consoletext::upgradeSuccess : consoletext::upgradeFail);
    }
    if (key == consoletext::connectedMessage)
        return consoletext::connectSuccess;
    if (key == consoletext::netVersionMessage)
        return consoletext::netVersionKey + message.value(1) + consoletext::lineEnd;
    if (key == consoletext::resultMessage)
        return {};
    return consoletext::logKey + message.join(consoletext::separator) + consoletext::lineEnd;
}

QByteArray consolereport::ofProgress(double percent)
{
    QByteArray line(consoletext::progressKey.data(), consoletext::progressKey.size());
    line += QString::number(percent, 'f', progressDecimals).toLatin1();
    line += consoletext::lineEnd.data();
    return line;
}

QString consolereport::ofEdid(const QString &report)
{
    return consoletext::edidResultKey + report + consoletext::lineEnd;
}

QByteArray consolereport::ofNetReply(const QByteArray &bytes)
{
    return consoletext::fragmentKey.data() + bytes;
}

} // namespace console
