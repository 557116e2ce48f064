// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

#include <chrono>

namespace client {

/** Minutes and seconds, "1:05"; more than an hour is shown in minutes, too. */
QString clockText(std::chrono::seconds time);

} // namespace client
