// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "package/NetImage.h"

#include <QByteArray>

#include <optional>

namespace netupgrade {

/** How a sender numbers and fills the blocks of an image for the module itself. */
struct NetBlockRules
{
    /** A block with this number begins an image. */
    int firstNumber;
    /** The smallest size of the first block, in bytes. */
    int smallestFirst;
    /** Whether the first block may be the last one, too. */
    bool firstMayBeLast;
};

namespace netblocks {

constexpr NetBlockRules fromConsole{0, package::net::archiveOffset, false};
constexpr NetBlockRules fromDevice{1, 0, true};

} // namespace netblocks

/** The part of the archive in one block. */
struct NetPiece
{
    /** The archive starts again with these bytes. */
    bool isFirst = false;
    /** The archive is complete with these bytes. */
    bool isLast = false;
    QByteArray bytes;
};

/**
 * Assembles the head and the archive of an image for the module itself from its blocks. A block is
 * a number (16 bit, little-endian), a byte of flags, and data of any length. Only the number of the
 * first block counts. The padding of the last block is removed.
 */
class NetImageAssembler
{
public:
    explicit NetImageAssembler(const NetBlockRules &rules) : m_rules(rules) {}

    /** Whether a block, starting at its number, begins and ends an image. */
    bool isFirst(const QByteArray &numbered) const;
    bool isLast(const QByteArray &numbered) const;

    /** Takes a block, starting at its number. None for a block that is too short. */
    std::optional<NetPiece> take(const QByteArray &numbered);

    /** The head of the latest image; zeros before the first one. */
    const package::NetImage &head() const { return m_head; }

private:
    const NetBlockRules m_rules;
    package::NetImage m_head = package::parseNetImage({});
};

} // namespace netupgrade
