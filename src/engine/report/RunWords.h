// SPDX-License-Identifier: Apache-2.0
#pragma once

/** Words for those who watch over the agent. Console clients never get them. */
namespace runWord {

// Why an MCU gets no image
constexpr char notNewer[] = "not_newer";
constexpr char noFirmware[] = "no_firmware";
constexpr char noMatch[] = "no_match";
constexpr char noImage[] = "no_image";
constexpr char badRow[] = "bad_row";
/** A NET image, while such images are not to be handled. */
constexpr char notHandled[] = "not_handled";

constexpr char noSignOfLife[] = "No sign of life for too long.";

} // namespace runWord
