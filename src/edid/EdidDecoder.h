// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/ByteView.h"
#include "edid/EdidFacts.h"

namespace edid {

/**
 * Reads the facts of a dump, following EDID 1.4 for its base block and CTA-861 for its extension.
 * Any bytes are accepted: wrong values are read literally, missing ones as 0. Facts::valid.header
 * and the two sums say whether to trust them.
 */
Facts decode(ByteView dump);

/** The timing in an 18-byte detailed timing descriptor; a zero total gives refresh 0. */
Timing decodeTiming(ByteView descriptor);

} // namespace edid
