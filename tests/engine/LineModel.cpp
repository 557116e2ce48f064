// SPDX-License-Identifier: Apache-2.0
#include "engine/LineModel.h"

#include <utility>

using Worth = ModelReply::Worth;

QString LineModel::frameName(const QString &word, int row)
{
    return row < 0 ? word.section(' ', 0, 0) : word + ' ' + QLatin1String(matrix::rows[row].name);
}

bool LineModel::isMet(const QString &word, int row)
{
    return m_disturbance.command.word == word && m_disturbance.command.row == row &&
           m_met < m_disturbance.times;
}

void LineModel::reply(const QString &word, int row, Worth worth, bool sameChunk)
{
    m_inbox.append({word, row, worth, sameChunk ? m_chunk : ++m_chunk});
}

/** What the device does with a command it hears. */
Worth LineModel::obey(const QString &word, int row)
{
    if (row < 0)
        return Worth::Good;
    Flash &flash = m_flash[row];
    if (word == "7900")
        flash = {true, 0, -1, flash.half};
    if (!word.startsWith("7901"))
        return Worth::Good;
    const int block = word.section(':', 1).toInt();
    if (block == flash.last)
        return Worth::Good;
    if (!flash.open || block != flash.next)
        return Worth::Refused;
    flash.last = block;
    ++flash.next;
    flash.open = flash.next < matrix::blocksPerImage;
    flash.half = flash.open;
    return Worth::Good;
}

void LineModel::answer(const QString &word, int row)
{
    if (m_held) {
        m_held = false;
        reply(word, row, Worth::Good);
        reply(word, row, obey(word, row), m_disturbance.trouble == Trouble::LateMerged);
        m_nextIsSilent = m_disturbance.trouble == Trouble::LateNextSilent;
        return;
    }
    reply(word, row, obey(word, row));
}

bool LineModel::send(const QString &word, int row)
{
    const bool met = isMet(word, row);
    if (met && m_disturbance.trouble == Trouble::Unplugged)
        m_gone = true;
    if (m_gone)
        return false;
    m_frames.append(frameName(word, row));
    if (std::exchange(m_nextIsSilent, false))
        return true;
    if (!met) {
        answer(word, row);
        return true;
    }
    ++m_met;
    switch (m_disturbance.trouble) {
    case Trouble::None:
    case Trouble::Unplugged:
    case Trouble::Silent:
        break;
    case Trouble::PowerCut:
        for (Flash &flash : m_flash)
            flash = {false, 0, -1, flash.half};
        break;
    case Trouble::LostReply:
    case Trouble::BadChecksum:
    case Trouble::WrongWord:
    case Trouble::WrongAddress:
    case Trouble::Half:
        obey(word, row);
        break;
    case Trouble::Refused:
        reply(word, row, Worth::Refused);
        break;
    case Trouble::Short:
        obey(word, row);
        reply(word, row, Worth::Short);
        break;
    case Trouble::Late:
    case Trouble::LateMerged:
    case Trouble::LateNextSilent:
        obey(word, row);
        m_held = true;
        break;
    case Trouble::Duplicate:
    case Trouble::DuplicateApart:
        reply(word, row, obey(word, row));
        reply(word, row, Worth::Good, m_disturbance.trouble == Trouble::Duplicate);
        break;
    case Trouble::SingleBytes:
    case Trouble::Noise:
    case Trouble::Echo:
        answer(word, row);
        break;
    }
    return true;
}

std::optional<ModelReply> LineModel::receive(const QString &word, int row)
{
    const bool echoesRow = word.startsWith("F90") || word == "7903";
    while (!m_inbox.isEmpty()) {
        const ModelReply first = m_inbox.takeFirst();
        const bool isBlock = word.startsWith("7901");
        // An acknowledgement does not say which block it is for.
        const bool answers = isBlock ? first.word.startsWith("7901")
                                     : first.word.section(' ', 0, 0) == word.section(' ', 0, 0);
        // Only a reply with data contains the chip that it is for.
        const bool isAnothers = echoesRow && first.worth == Worth::Good && first.row != row;
        if (answers && !isAnothers) {
            m_takenChunk = first.chunk;
            return first;
        }
    }
    return std::nullopt;
}

void LineModel::dropChunk()
{
    while (!m_inbox.isEmpty() && m_inbox.first().chunk == m_takenChunk)
        m_inbox.removeFirst();
}
