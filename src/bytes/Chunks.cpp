// SPDX-License-Identifier: Apache-2.0
#include "bytes/Chunks.h"

#include <algorithm>

namespace bytes {

qint64 forEachChunk(ByteSource &source, qint64 from, qint64 chunkSize, const ChunkTaker &take)
{
    const qint64 size = source.size();
    QByteArray chunk(int(std::clamp<qint64>(size - from, 0, chunkSize)), Qt::Uninitialized);
    qint64 position = from;
    while (position < size) {
        const qint64 wanted = std::min<qint64>(chunk.size(), size - position);
        const qint64 count = source.readInto(position, chunk.data(), wanted);
        if (count <= 0 || !take(chunk.constData(), count))
            break;
        position += count;
    }
    return position;
}

} // namespace bytes
