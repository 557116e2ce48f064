// SPDX-License-Identifier: Apache-2.0
#pragma once

namespace bzip2 {

/** What every file of that format begins with. */
constexpr char magic[] = "BZh";
constexpr int magicSize = 3;

} // namespace bzip2
