// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/Disturbance.h"

#include <optional>

/** A reply in the model: the command that it answers, the row, and its kind. */
struct ModelReply
{
    enum class Worth { Good, Refused, Short };

    QString word;
    int row = -1;
    Worth worth = Worth::Good;
    /** Bytes that arrive together have the same number. */
    int chunk = 0;
};

/**
 * The line and the device of the failure matrix, modelled as a queue of replies. It models what the
 * trouble of one case does to the replies; of the device it models only whether the flashes accept
 * a block. The engine takes the first reply with the word that it waits for and drops the replies
 * before it.
 */
class LineModel
{
public:
    explicit LineModel(const Disturbance &disturbance) : m_disturbance(disturbance) {}

    /** Sends a command; false when the link is lost. */
    bool send(const QString &word, int row = -1);

    /** The reply to `word`, or nothing when the wait ends by its time-out. A reply that
     *  names another row is dropped. */
    std::optional<ModelReply> receive(const QString &word, int row = -1);

    /** Drops the other replies of the chunk of the last received reply. */
    void dropChunk();
    /** A pause without a wait: all replies during it are dropped. */
    void dropAll() { m_inbox.clear(); }

    bool isHalfWritten(int row) const { return m_flash[row].half; }

    /** Every command that reached the line, with its row's name. */
    const QStringList &frames() const { return m_frames; }
    static QString frameName(const QString &word, int row);

private:
    bool isMet(const QString &word, int row);
    void reply(const QString &word, int row, ModelReply::Worth worth, bool sameChunk = false);
    void answer(const QString &word, int row);
    ModelReply::Worth obey(const QString &word, int row);

    struct Flash
    {
        bool open = false;
        int next = 0;
        /** The last stored block, which may be repeated. */
        int last = -1;
        /** The image is incomplete, so the chip runs no application. */
        bool half = false;
    };

    Disturbance m_disturbance;
    int m_met = 0;
    bool m_gone = false;
    bool m_held = false;
    bool m_nextIsSilent = false;
    int m_chunk = 0;
    int m_takenChunk = -1;
    QList<ModelReply> m_inbox;
    QStringList m_frames;
    Flash m_flash[matrix::rowCount];
};
