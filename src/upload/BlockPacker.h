// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

namespace upload {

/**
 * Splits one image into write-block payloads (see protocol/BlockPayload.h). A block is repeated
 * unchanged until it was accepted; to prepare the next one, pack it in a copy.
 *
 * There are two kinds of padding: a first block that the image does not fill ends in zeros and has
 * no last-block flag, a later one ends in FF and is the last.
 */
class BlockPacker
{
public:
    /** Packs block 0. A length of 0 or less packs nothing and returns false. `length` counts even
     *  if `image` is shorter; missing bytes read as 0. */
    bool start(quint8 mcuType, quint8 mcuIndex, const QByteArray &image, qint64 length);

    /** Call it once block 0 was passed to the link, with or without success. */
    void firstBlockSent();

    /** Packs the next block. False when no image byte is left to send. */
    bool packNext();

    /** Frees the image's bytes; the flags of the finished transfer stay. */
    void release() { m_image.clear(); }

    const QByteArray &payload() const { return m_payload; }
    int blockNumber() const { return m_blockNumber; }

    /** Clear once the last block was packed: its acceptance completes the image. */
    bool moreToSend() const { return m_moreToSend; }
    /** Set by a packed last block until the next image's first block was sent. */
    bool lastBlockSent() const { return m_lastBlockSent; }
    /** The block packed last has 256 image bytes and so changes the percentage. */
    bool blockIsFull() const { return m_blockIsFull; }

    /** Percent after block 0; one byte less than its size, as clients expect it. */
    double firstPercent() const;
    /** Percent after the block packed last, computed in single precision. */
    double percent() const;

private:
    void fill(qint64 from, int count);
    void markLast();

    QByteArray m_image;
    QByteArray m_payload;
    qint64 m_total = 0;
    qint64 m_cursor = 0;
    int m_blockNumber = 0;
    bool m_moreToSend = false;
    bool m_lastBlockSent = false;
    bool m_blockIsFull = false;
};

} // namespace upload
