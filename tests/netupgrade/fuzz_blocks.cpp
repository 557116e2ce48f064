// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetBlockReceiver.h"
#include "protocol/Statuses.h"
#include "support/Fuzz.h"

/** Any byte stream: no action carries more than one frame can hold, and every answer is one. */
extern "C" int LLVMFuzzerTestOneInput(const unsigned char *data, size_t size)
{
    NetBlockReceiver receiver([] { return false; });
    for (size_t i = 0; i < size; ++i) {
        const auto action = receiver.feed(data[i]);
        if (action) {
            require(action->data.size() <= 0xFFFF);
            if (action->kind == NetBlockAction::Kind::Finish)
                require(action->header.md5Text.size() == net::md5Size);
            require(action->status <= status::refused);
            if (action->kind == NetBlockAction::Kind::Append)
                receiver.stored();
        }
        // A word that wants no answer leaves it deaf, which would end the exploration.
        receiver.listen();
    }
    return 0;
}
