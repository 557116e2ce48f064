// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/FileStamp.h"
#include "package/PackageChecksum.h"

#include <functional>
#include <mutex>
#include <optional>

namespace package {

/**
 * Checks packages, and keeps the last result as long as the file's stamp is the same, so that a
 * large package that is listed often is read once. May be called from several threads; no lock is
 * held while a package is read.
 *
 * Only an old stamp proves that the file is unchanged: a file system may record two changes within
 * its resolution (2 s on FAT) with the same time. So a result is kept only when both times of the
 * stamp were at least `settlingTime` in the past when the check began. Times in the future are not
 * old.
 */
class PackageCheckCache
{
public:
    /** Nanoseconds since 1970, on the clock of file times. */
    using Clock = std::function<qint64()>;

    static constexpr qint64 settlingTime = 2'000'000'000;

    explicit PackageCheckCache(Clock clock = systemClock());

    /** `stamp` must have been taken from the open file that `source` reads. The result has no
     *  chunks. With SumKind::Blake2b it has a digest. */
    PackageChecksum check(const bytes::FileStamp &stamp, bytes::ByteSource &source,
                          bytes::SumKind kind = bytes::SumKind::Crc32);

    static Clock systemClock();

private:
    struct Kept
    {
        bytes::FileStamp stamp;
        PackageChecksum checksum;
    };

    bool hasSettled(const bytes::FileStamp &stamp) const;

    Clock m_clock;
    std::mutex m_mutex;
    std::optional<Kept> m_kept;
};

} // namespace package
