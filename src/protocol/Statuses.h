// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

/** The status byte of an extended frame (frame byte 11). */
namespace protocol::status {

constexpr quint8 done = 0;
constexpr quint8 checksumError = 1;
constexpr quint8 refused = 3;

} // namespace protocol::status
