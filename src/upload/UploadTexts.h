// SPDX-License-Identifier: Apache-2.0
#pragma once

/** The uploader's words. They are part of the interface and keep their spelling. */
namespace uploadText {

constexpr char success[] = "SingleUploadSuccess";
constexpr char fail[] = "SingleUploadFail";
constexpr char retry[] = "F/W update timeout, retry %1.";

constexpr char tooMuch[] = "Too much parameter.";
constexpr char sendFailed[] = "Failed to send command_jumpTokeyboardMCU\n";
constexpr char sendDone[] = "successfully send command_jumpTokeyboardMCU\n";

} // namespace uploadText
