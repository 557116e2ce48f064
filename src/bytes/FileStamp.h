// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QtGlobal>

namespace bytes {

/** What a file system records of a file's identity and state, as fstat(2) returns it. */
struct FileStamp
{
    quint64 device = 0;
    quint64 inode = 0;
    /** In bytes. */
    qint64 size = 0;
    /** Last change of the content and of the inode, in nanoseconds since 1970. */
    qint64 modified = 0;
    qint64 changed = 0;

    bool operator==(const FileStamp &other) const
    {
        return device == other.device && inode == other.inode && size == other.size &&
               modified == other.modified && changed == other.changed;
    }
};

} // namespace bytes
