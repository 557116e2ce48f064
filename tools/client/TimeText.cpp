// SPDX-License-Identifier: Apache-2.0
#include "client/TimeText.h"

namespace client {

QString clockText(std::chrono::seconds time)
{
    const qint64 seconds = time.count();
    return QStringLiteral("%1:%2").arg(seconds / 60).arg(seconds % 60, 2, 10, QLatin1Char('0'));
}

} // namespace client
