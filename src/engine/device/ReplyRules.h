// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/Reply.h"

#include <optional>

namespace engine {

/** What can end the wait for the reply to a command. */
enum class CommandResult {
    Answer,
    /** A refusal: an extended frame instead of an ordinary one, or a bad status. */
    Refusal,
    /** A reply without the bytes that the command needs. */
    ShortAnswer,
    /** No reply within the time-out. Also the result of a command that could not be sent. */
    Silence,
};

/** The result that a frame means for its command; none when it is not a reply to it. */
std::optional<CommandResult> classify(const protocol::Reply &reply);

} // namespace engine
