// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace bzip2 {

/** The first bytes of every file in that format. */
constexpr char magic[] = "BZh";
constexpr int magicSize = 3;

} // namespace bzip2
