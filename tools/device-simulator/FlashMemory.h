// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

/**
 * The flash of one chip, as the blocks of an image transfer fill it. It keeps whole blocks, the
 * padding of the last one included, because only the sender knows where the image ends.
 */
class FlashMemory
{
public:
    /** What became of one block; `problem` names what is wrong with a refused one. */
    struct Verdict
    {
        bool accepted = false;
        /** The block with the last flag has just closed the image. */
        bool completed = false;
        QString problem;
    };

    /** Enter update mode: the next block must be number 0. What is stored stays until then. */
    void open();

    /** A restart in mid-image: what was written stays, but no further block is taken. */
    void close();

    /**
     * Takes the payload of one write-block command. Blocks come in order; the one written last may
     * come again, for the sender repeats it when its acknowledgement was lost.
     */
    Verdict write(const QByteArray &payload);

    bool isOpen() const { return m_open; }
    /** Erased and not written to the end since. */
    bool isHalfWritten() const { return m_halfWritten; }
    const QByteArray &bytes() const { return m_bytes; }
    /** How many images have been written to the end. */
    int completedImages() const { return m_completedImages; }

private:
    QString problemOf(const QByteArray &payload) const;

    QByteArray m_bytes;
    QByteArray m_lastPayload;
    int m_nextBlock = 0;
    int m_completedImages = 0;
    bool m_open = false;
    bool m_halfWritten = false;
};

/** How the flash of a chip compares with the image that was sent. */
struct FlashComparison
{
    bool equal = false;
    /** Says where the first difference is, or that there is none. */
    QString text;
};

/**
 * Compares whole blocks with an image: the image's bytes first, then the padding up to the block's
 * end, which is 0x00 in an image of less than one block and 0xFF otherwise.
 */
FlashComparison compareFlash(const QByteArray &flash, const QByteArray &image);
