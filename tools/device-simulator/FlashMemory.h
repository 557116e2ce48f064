// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

/**
 * The flash of one chip, filled by the blocks of an image transfer. It stores whole blocks, the
 * padding of the last one included, because only the sender knows where the image ends.
 */
class FlashMemory
{
public:
    /** The result of one block; `problem` is the reason of a refusal. */
    struct Verdict
    {
        bool accepted = false;
        /** The block with the last flag has just closed the image. */
        bool completed = false;
        QString problem;
    };

    /** Enter update mode: the next block must be number 0. The old content stays until then. */
    void open();

    /** A restart in the middle of an image: written blocks stay, further ones are refused. */
    void close();

    /**
     * Takes the payload of one write-block command. Blocks come in order; the last written one may
     * be repeated, since the sender repeats it when its acknowledgement was lost.
     */
    Verdict write(const QByteArray &payload);

    bool isOpen() const { return m_open; }
    /** Erased, and the image is not complete. */
    bool isHalfWritten() const { return m_halfWritten; }
    const QByteArray &bytes() const { return m_bytes; }
    /** The number of complete images. */
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

/** The result of the comparison of a flash with the image that was sent. */
struct FlashComparison
{
    bool equal = false;
    /** The position of the first difference, or a text that there is none. */
    QString text;
};

/**
 * Compares whole blocks with an image: the image's bytes first, then the padding up to the block's
 * end, which is 0x00 in an image of less than one block and 0xFF otherwise.
 */
FlashComparison compareFlash(const QByteArray &flash, const QByteArray &image);
