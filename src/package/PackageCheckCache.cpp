// SPDX-License-Identifier: Apache-2.0
#include "package/PackageCheckCache.h"

#include <algorithm>
#include <chrono>
#include <utility>

using bytes::ByteSource;
using bytes::ChunkSums;
using bytes::FileStamp;
using bytes::SumKind;

namespace package {

PackageCheckCache::PackageCheckCache(Clock clock) : m_clock(std::move(clock)) {}

PackageCheckCache::Clock PackageCheckCache::systemClock()
{
    return [] {
        using namespace std::chrono;
        return qint64(duration_cast<nanoseconds>(system_clock::now().time_since_epoch()).count());
    };
}

PackageChecksum PackageCheckCache::check(const FileStamp &stamp, ByteSource &source, SumKind kind)
{
    {
        const std::lock_guard lock(m_mutex);
        const bool isEnough =
            m_kept && (kind == SumKind::Crc32 || !m_kept->checksum.digest.isEmpty());
        if (isEnough && m_kept->stamp == stamp)
            return m_kept->checksum;
    }
    const bool settled = hasSettled(stamp);
    PackageChecksum checksum = checkPackage(source, kind);
    checksum.chunks = ChunkSums();
    const std::lock_guard lock(m_mutex);
    m_kept.reset();
    // A read error may be temporary.
    if (settled && checksum.readError == 0)
        m_kept = Kept{stamp, checksum};
    return checksum;
}

bool PackageCheckCache::hasSettled(const FileStamp &stamp) const
{
    return m_clock() - std::max(stamp.modified, stamp.changed) >= settlingTime;
}

} // namespace package
