// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "planning/TypeAndIndexTable.h"
#include "protocol/Reply.h"

namespace planning {

/**
 * The row that a late reply belongs to: the first other row than `current` whose chip type and
 * index the reply echoes. -1 when the reply counts for `current`: it echoes that row or no row at
 * all, is of the extended form, or answers a command that is not about one chip. Not every device
 * echoes its request, so an unknown echo is ignored.
 */
int rowOfLateAnswer(const protocol::Reply &reply, const TypeAndIndexTable &rows, int current);

} // namespace planning
