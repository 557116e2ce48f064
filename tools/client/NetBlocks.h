// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"

#include <QByteArray>
#include <QString>

namespace client {

/** The problem for the status byte of a block's answer; None for an acceptance. */
ProblemId problemOfBlockStatus(quint8 status);

/**
 * Splits an image for the network module into the frames of the block protocol: one that requests
 * the update mode, then the blocks. Stores only the image.
 *
 * The module removes every FF from the end of the last block, and nothing from the others. So an
 * archive that ends in FF, or fits into the first block, is sent completely in other blocks, and
 * the last block contains only padding.
 */
class NetBlocks
{
public:
    /** The whole image, as 'fwm make-net' makes it; problem() must be empty for it. */
    explicit NetBlocks(const QByteArray &image) : m_image(image) {}

    /** Why the bytes are not an image for the module; empty for a valid image. */
    static QString problem(const QByteArray &image);

    /** The first frame to send; the blocks follow when the module has accepted it. */
    static QByteArray enterFrame();

    /** Prepares the next block; false after the last one. */
    bool next();
    /** The current block. */
    const QByteArray &frame() const { return m_frame; }
    bool isLast() const { return m_isLast; }
    /** Bytes of the image up to the end of this block. */
    qint64 sent() const { return m_offset; }
    qint64 size() const { return m_image.size(); }

private:
    int nextSize() const;
    void build(const QByteArray &data);

    const QByteArray m_image;
    qint64 m_offset = 0;
    int m_number = 0;
    bool m_isLast = false;
    QByteArray m_frame;
};

} // namespace client
