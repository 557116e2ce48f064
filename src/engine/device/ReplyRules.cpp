// SPDX-License-Identifier: Apache-2.0
#include "engine/device/ReplyRules.h"

#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

#include <algorithm>
#include <iterator>

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using protocol::Reply;

namespace engine {

namespace {

/** When a reply counts as the answer to its command. */
struct ReplyRule
{
    quint16 word;
    /** Smallest length field of a reply with all bytes that are read. */
    int minLength;
    enum class Form { Ordinary, Extended, Any } form;
};

using Form = ReplyRule::Form;

const ReplyRule replyRules[] = {
    {command::readModelName, 5, Form::Ordinary},
    {command::readBootcode, 12, Form::Ordinary},
    {command::readProductInformation, 9, Form::Ordinary},
    {command::readVersion, 9, Form::Ordinary},
    {command::writeProductInformation, 8, Form::Ordinary},
    {command::readProductId, 5, Form::Ordinary},
    {command::reboot, 5, Form::Any},
    {command::readVirtualVersion, 6, Form::Ordinary},
    {command::setVirtualVersion, mcu::extendedLength, Form::Extended},
};

} // namespace

std::optional<CommandResult> classify(const Reply &reply)
{
    const auto *rule =
        std::find_if(std::begin(replyRules), std::end(replyRules),
                     [&](const ReplyRule &entry) { return entry.word == reply.word(); });
    if (rule == std::end(replyRules))
        return {};
    if (rule->form == Form::Ordinary && reply.isExtended())
        return CommandResult::Refusal;
    if (rule->form == Form::Extended && !(reply.isExtended() && reply.length() == rule->minLength))
        return CommandResult::Refusal;
    if (reply.length() < rule->minLength)
        return CommandResult::ShortAnswer;
    if (rule->word == command::writeProductInformation && reply.at(mcu::resultOffset) != 0)
        return CommandResult::Refusal;
    return CommandResult::Answer;
}

} // namespace engine
