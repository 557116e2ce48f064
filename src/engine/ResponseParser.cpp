// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/Steps.h"
#include "links/LinkState.h"
#include "planning/LateAnswer.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"

namespace {

/** What a reply must be to count as the answer to its command. */
struct ReplyRule
{
    quint16 word;
    /** Smallest length field that holds every byte the answer is read from. */
    int minLength;
    enum class Form { Ordinary, Extended, Any } form;
};

using Form = ReplyRule::Form;

const ReplyRule replyRules[] = {
    {command::readModelName, 5, Form::Ordinary},
    {command::readBootcode, 12, Form::Ordinary},
    {command::readProductInformation, 9, Form::Ordinary},
    {command::readVersion, 9, Form::Ordinary},
    {command::writeProductInformation, 8, Form::Ordinary},
    {command::readProductId, 5, Form::Ordinary},
    {command::reboot, 5, Form::Any},
    {command::readVirtualVersion, 6, Form::Ordinary},
    {command::setVirtualVersion, mcu::extendedLength, Form::Extended},
};

const ReplyRule *ruleFor(quint16 word)
{
    for (const ReplyRule &rule : replyRules) {
        if (rule.word == word)
            return &rule;
    }
    return nullptr;
}

Event classify(const ReplyRule &rule, const Reply &reply)
{
    if (rule.form == Form::Ordinary && reply.isExtended())
        return Event::Refusal;
    if (rule.form == Form::Extended && !(reply.isExtended() && reply.length() == rule.minLength))
        return Event::Refusal;
    if (reply.length() < rule.minLength)
        return Event::ShortAnswer;
    if (rule.word == command::writeProductInformation && reply.at(mcu::resultOffset) != 0)
        return Event::Refusal;
    return Event::Answer;
}

} // namespace

void ControlCenter::slotReceiveDatas(QByteArray datas)
{
    qCDebug(logEngineBytes) << "in" << datas.toHex(' ');
    qCDebug(logEngine) << "slotReceiveDatas:canRead:" << canRead;
    if (!canRead)
        return;
    switch (m_receiveMode) {
    case ReceiveMode::Binary:
    case ReceiveMode::Extended:
        takeBytes(datas);
        break;
    case ReceiveMode::Text:
        takeText(datas);
        break;
    case ReceiveMode::None:
        qCDebug(logEngine) << "otherReceivedData";
        break;
    }
}

/** What follows a reply in the same chunk counts only when that reply led to another command. */
void ControlCenter::takeBytes(const QByteArray &datas)
{
    for (const char byte : datas) {
        const FrameAssembler::Result result = m_assembler.feed(quint8(byte));
        if (result == FrameAssembler::Result::BadSum)
            qCDebug(logEngine) << "checksumError";
        if (result != FrameAssembler::Result::Complete)
            continue;
        const QByteArray frame = m_assembler.frame();
        if (m_receiveMode == ReceiveMode::Extended)
            takeExtendedFrame(Reply(frame));
        else
            takeFrame(frame);
        if (!canRead)
            return;
    }
}

/** A reply that was awaited for another row; the wait for the current row's goes on untouched. */
bool ControlCenter::isLateAnswer(const Reply &reply) const
{
    TypeAndIndexTable rows;
    int current = 0;
    {
        const std::lock_guard lock(m_mutex);
        rows = m_TypeAndIndexs;
        current = writesInfo() ? m_productInfoIndex : m_mcuIndex;
    }
    const int row = rowOfLateAnswer(reply, rows, current);
    if (row < 0)
        return false;
    qCDebug(logEngine) << "late answer of" << rows.value(row, field::name)
                       << "dropped, awaiting that of" << rows.value(current, field::name);
    return true;
}

/** Replies are paired with the command in flight by its word and, where they echo a chip, by that.
 *  Block acknowledgements have no rule here: they are the uploader's, and must find `canRead` as
 *  it was. */
void ControlCenter::takeFrame(const QByteArray &frame)
{
    const Reply reply(frame);
    const quint16 word = reply.word();
    qCDebug(logEngine) << "checksumOK" << (reply.isExtended() ? "hasFFFF" : "NOFFFF")
                       << "currentCommandKey:" << qint16(currentCommandKey)
                       << "wTemp:" << qint16(word);
    if (word != currentCommandKey)
        return;
    if (word == command::enterUpdateMode) {
        m_commandTimer->stop();
        canRead = false;
        keepRunAlive();
        takeEnterReply(reply);
        return;
    }
    const ReplyRule *rule = ruleFor(word);
    if (rule == nullptr || awaitedWord(m_step) != word || isLateAnswer(reply))
        return;
    const Event event = classify(*rule, reply);
    canRead = false;
    keepRunAlive();
    // A device that is still starting may refuse at once; its next chance comes with the timer.
    if (word != command::readProductId || event == Event::Answer)
        m_commandTimer->stop();
    m_reply = reply;
    happened(event);
}

/** The version query is answered in lines of plain text. */
void ControlCenter::takeText(const QByteArray &datas)
{
    m_textAccumulator += QString::fromUtf8(datas.constData(), datas.size());
    const bool complete = m_textAccumulator.endsWith(QLatin1Char('\r')) ||
                          m_textAccumulator.endsWith(QLatin1Char('\n'));
    QStringList lines = m_textAccumulator.split(QLatin1Char('\r'));
    m_textAccumulator = complete ? QString() : lines.takeLast();
    if (m_textAccumulator.size() > m_platform.limits.deviceText)
        m_textAccumulator.clear();
    for (const QString &line : qAsConst(lines))
        backData(line.trimmed());
}

void ControlCenter::backData(const QString &line)
{
    if (!line.isEmpty())
        say(line);
}
