// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/ByteSource.h"

#include <functional>

namespace bytes {

/** Called with one piece after the other; false ends the reading. */
using ChunkTaker = std::function<bool(const char *bytes, qint64 size)>;

/**
 * Calls `take` with the bytes from `from` to the end, in pieces of at most `chunkSize`, using one
 * buffer. Returns where it ended: at source.size(), or earlier after a read error or when `take`
 * returned false.
 */
qint64 forEachChunk(ByteSource &source, qint64 from, qint64 chunkSize, const ChunkTaker &take);

} // namespace bytes
