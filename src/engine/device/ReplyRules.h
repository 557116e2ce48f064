// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "protocol/Reply.h"

#include <optional>

namespace engine {

/** What can end the wait for the reply to a command. */
enum class CommandResult {
    Answer,
    /** A reply that says no: an extended frame where an ordinary one is due, or a bad status. */
    Refusal,
    /** A reply without the bytes that the command needs. */
    ShortAnswer,
    /** No reply within the time-out. A command that could not be sent ends so, too. */
    Silence,
};

/** What a frame means as the reply to its command; nothing when the command has no such reply. */
std::optional<CommandResult> classify(const protocol::Reply &reply);

} // namespace engine
