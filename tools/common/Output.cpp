// SPDX-License-Identifier: Apache-2.0
#include "common/Output.h"

#include <cerrno>
#include <unistd.h>

bool writeAll(int descriptor, const QByteArray &bytes)
{
    int done = 0;
    while (done < bytes.size()) {
        const auto count =
            ::write(descriptor, bytes.constData() + done, size_t(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            return false;
        done += count > 0 ? int(count) : 0;
    }
    return true;
}
