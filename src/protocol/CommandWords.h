// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

/** Command words of the MCU protocol. A reply has the word of its request. */
namespace protocol::command {

constexpr quint16 enterUpdateMode = 0x7900;
/** Writes one image block when sent as a command; the application status as an extended frame. */
constexpr quint16 writeBlock = 0x7901;
constexpr quint16 applicationStatus = writeBlock;
constexpr quint16 reboot = 0x7902;
constexpr quint16 writeProductInformation = 0x7903;
constexpr quint16 setVirtualVersion = 0x7905;
constexpr quint16 readProductId = 0xF802;
constexpr quint16 readBootcode = 0xF900;
constexpr quint16 readProductInformation = 0xF901;
constexpr quint16 readVersion = 0xF902;
constexpr quint16 readModelName = 0xF903;
constexpr quint16 readVirtualVersion = 0xF905;

/** In the command-word position: the actual word follows in the next two bytes. */
constexpr quint16 escape = 0xFFFF;

} // namespace protocol::command
