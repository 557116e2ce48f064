// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

#include <functional>

namespace bytes {

/** Gets one piece after the other; false ends the reading. */
using ChunkTaker = std::function<bool(const char *bytes, qint64 size)>;

/**
 * Hands the bytes from `from` to the end on in pieces of at most `chunkSize`, through one buffer.
 * Returns where it ended: at source.size(), or earlier when the source could not be read on or
 * `take` wanted no more.
 */
qint64 forEachChunk(ByteSource &source, qint64 from, qint64 chunkSize, const ChunkTaker &take);

} // namespace bytes
