// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <chrono>

/** How long the checks wait. The limits of answers are those of the agent. */
namespace devicecheck::times {

using ms = std::chrono::milliseconds;

// For the first byte to the last byte of an answer, from the last byte of the command.
constexpr ms answer{10'000};
constexpr ms enterUpdateMode{30'000};
constexpr ms block{15'000};
constexpr ms lastBlock{30'000};
/** Between the answers to two attempts of one block. */
constexpr ms repeatedBlock{250};

/** The agent's wait before the first question to a device that restarts; it asks three times. */
constexpr ms restart{10'000};
constexpr int restartAttempts = 3;
/** Between the answer to "enter update mode" and the first block. */
constexpr ms beforeFirstBlock{200};
/** After an image that is not the main MCU's. */
constexpr ms afterImage{1'000};

/** After this time without a byte a device drops an incomplete frame. */
constexpr ms halfFrame{5'000};

/** How long a command that must not be answered is watched. */
constexpr ms silence{2'000};
/** How much longer an answer that missed its limit is waited for, to report its delay. */
constexpr ms late{5'000};
/** How long further bytes are waited for after an answer. */
constexpr ms tail{50};
/** Between the bytes of a command that is sent in pieces. */
constexpr ms betweenPieces{20};
/** What is already on the line when the checks begin is dropped until it is quiet for this time. */
constexpr ms quiet{200};
/** The longest wait for such a quiet line. */
constexpr ms longestNoise{2'000};
/** A good device answers a read command within this time. */
constexpr ms promptAnswer{1'000};
/** Between two bytes of an answer: what drivers and adapters need, with much to spare. */
constexpr ms longestGap{200};

} // namespace devicecheck::times
