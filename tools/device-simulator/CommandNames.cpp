// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/CommandNames.h"

#include "device-simulator/HostCommand.h"

#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/Reply.h"

#include <algorithm>

namespace block = protocol::block;
namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace {

struct Name
{
    quint16 word;
    const char *name;
};

// clang-format off
const Name names[] = {
    {command::enterUpdateMode,         "enter"},
    {command::writeBlock,              "block"},
    {command::reboot,                  "reboot"},
    {command::writeProductInformation, "write-info"},
    {command::setVirtualVersion,       "set-virtual-version"},
    {command::readProductId,           "product-id"},
    {command::readBootcode,            "bootcode"},
    {command::readProductInformation,  "product-info"},
    {command::readVersion,             "version"},
    {command::readModelName,           "model-name"},
    {command::readVirtualVersion,      "virtual-version"},
};
// clang-format on

QString hexWord(quint16 word)
{
    return QStringLiteral("%1").arg(word, 4, 16, QLatin1Char('0')).toUpper();
}

QString dataText(const QByteArray &payload)
{
    return payload.isEmpty() ? QStringLiteral(" no data")
                             : QStringLiteral(" data=") + QString::fromLatin1(payload.toHex());
}

} // namespace

std::optional<quint16> commandNamed(const QString &name)
{
    const auto found = std::find_if(std::begin(names), std::end(names), [&](const Name &entry) {
        return name == QLatin1String(entry.name);
    });
    if (found != std::end(names))
        return found->word;
    bool isNumber = false;
    const quint16 word = name.toUShort(&isNumber, 16);
    return isNumber && name.size() == 4 ? std::optional<quint16>(word) : std::nullopt;
}

QStringList commandNames()
{
    QStringList list;
    for (const Name &entry : names)
        list.append(QLatin1String(entry.name));
    return list;
}

QString describeCommand(quint16 word)
{
    const auto found = std::find_if(std::begin(names), std::end(names),
                                    [word](const Name &entry) { return entry.word == word; });
    return found == std::end(names) ? hexWord(word) + QStringLiteral(" unknown")
                                    : hexWord(word) + QLatin1Char(' ') + QLatin1String(found->name);
}

QString describeHostFrame(const QByteArray &frame)
{
    const HostCommand host(frame);
    const FaultTarget target = host.target();
    QString text = describeCommand(host.word());
    if (host.isExtended())
        return text + QStringLiteral(" status=%1").arg(host.at(mcu::resultOffset));
    if (target.chipType)
        text += QStringLiteral(" type=%1 index=%2").arg(*target.chipType).arg(*target.chipIndex);
    if (target.block)
        return text +
               QStringLiteral(" block=%1 flags=%2")
                   .arg(*target.block)
                   .arg(host.at(mcu::payloadOffset + block::flagsOffset), 2, 16, QLatin1Char('0'));
    if (host.word() == command::setVirtualVersion ||
        host.word() == command::writeProductInformation)
        text += dataText(host.payload());
    return text;
}

QString describeReply(const QByteArray &frame)
{
    const Reply reply(frame);
    const QString text = describeCommand(reply.word());
    if (reply.isExtended())
        return text + QStringLiteral(" status=%1").arg(reply.at(mcu::resultOffset));
    return text + dataText(reply.payload());
}
