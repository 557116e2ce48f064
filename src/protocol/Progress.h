// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace protocol {

/** Progress is a percentage: of an image, of a row, of a run. */
constexpr double wholeProgress = 100.0;

} // namespace protocol
