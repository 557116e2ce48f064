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
    /** What the first block must have, in bytes. */
    int smallestFirst;
    /** Whether the first block may be the last one, too. */
    bool firstMayBeLast;
};

namespace netblocks {

constexpr NetBlockRules fromConsole{0, package::net::archiveOffset, false};
constexpr NetBlockRules fromDevice{1, 0, true};

} // namespace netblocks

/** What one block adds to the archive. */
struct NetPiece
{
    /** The archive starts again with these bytes. */
    bool isFirst = false;
    /** The archive is complete with these bytes. */
    bool isLast = false;
    QByteArray bytes;
};

/**
 * Turns the blocks of an image for the module itself into its head and its archive. A block is a
 * number (16 bit, little-endian), a byte of flags, and data of any length. Only the number of the
 * first block counts. What fills the last block up is left out.
 */
class NetImageAssembler
{
public:
    explicit NetImageAssembler(const NetBlockRules &rules) : m_rules(rules) {}

    /** Takes a block from its number on. Nothing for a block that is too short. */
    std::optional<NetPiece> take(const QByteArray &numbered);

    /** Of the image whose first block came last; zeros before there was one. */
    const package::NetImage &head() const { return m_head; }

private:
    const NetBlockRules m_rules;
    package::NetImage m_head = package::parseNetImage({});
};

} // namespace netupgrade
