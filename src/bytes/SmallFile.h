// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

namespace bytes {

/** A file that was read as a whole. */
struct SmallFile
{
    enum class State {
        /** There is nothing with this name, not even a link. */
        Absent,
        /** Not a regular file, larger than the limit, or not readable. */
        Unusable,
        Complete,
    };

    State state = State::Absent;
    QByteArray bytes;
};

/**
 * Reads a regular file of at most `limit` bytes; links are followed. Never blocks on a FIFO or a
 * device, and reads no more than the limit whatever the file's size.
 */
SmallFile readSmallFile(const QString &path, qint64 limit);
/** The same for a name in an open folder. */
SmallFile readSmallFile(int folder, const char *name, qint64 limit);

} // namespace bytes
