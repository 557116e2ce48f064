// SPDX-License-Identifier: Apache-2.0
#include "engine/device/CommandChannel.h"

#include "engine/device/DeviceLinks.h"
#include "engine/device/RunGuard.h"
#include "links/LinkState.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"

namespace command = protocol::command;
namespace mcu = protocol::mcu;
using platform::logEngine;
using platform::logEngineBytes;
using platform::Platform;
using protocol::AssemblerRules;
using protocol::FrameAssembler;
using protocol::Reply;

namespace engine {

namespace {

AssemblerRules replyFrames(int largestFrame)
{
    AssemblerRules rules;
    rules.startBytes = QByteArray(1, char(mcu::replyStart));
    rules.maxLength = largestFrame - mcu::uncounted;
    rules.badSum = AssemblerRules::BadSum::ReplaceLast;
    return rules;
}

void logCommand(quint16 word)
{
    qCDebug(logEngine).noquote() << "DataProcesssendCMD:"
                                 << QString::number(word, 16).rightJustified(4, QLatin1Char('0'));
}

} // namespace

CommandChannel::CommandChannel(DeviceLinks &links, RunGuard &guard, const LateAnswer &isLate,
                               const Platform &platform, QObject *parent)
    : QObject(parent),
      m_links(links),
      m_guard(guard),
      m_isLate(isLate),
      m_textLimit(platform.limits.deviceText),
      m_assembler(replyFrames(platform.limits.mcuFrame)),
      m_timer(this)
{
    m_timer.setInterval(platform.timeOuts.otherCommand);
    connect(&m_timer, &QTimer::timeout, this, &CommandChannel::onTimeOut);
}

void CommandChannel::send(quint16 word, const QByteArray &data)
{
    logCommand(word);
    expect(Expect::Binary);
    const QByteArray frame = mcu::buildFrame(mcu::hostStart, {}, word, data);
    if (m_links.active() != DeviceLinks::Kind::None && !transmit(frame))
        m_links.close();
}

void CommandChannel::request(quint16 word, const QByteArray &data)
{
    m_pending = word;
    send(word, data);
    await();
}

bool CommandChannel::sendUpdateMode(quint8 chipType, quint8 chipIndex)
{
    expect(Expect::Binary);
    return transmit(mcu::buildFrame(mcu::hostStart, {}, command::enterUpdateMode,
                                    QByteArray().append(char(chipType)).append(char(chipIndex))));
}

/** A frame that was not sent has no reply: the next one answers an earlier frame. */
bool CommandChannel::transmit(const QByteArray &frame)
{
    m_guard.keepAlive();
    const bool sent = m_links.send(frame);
    qCDebug(logEngineBytes) << "out" << frame.toHex(' ');
    if (!sent)
        canRead = false;
    return sent;
}

bool CommandChannel::sendStatus(quint16 word, quint8 status)
{
    qCDebug(logEngine) << "DataProcesssendCMD:" << QString::number(word, 16);
    expect(Expect::Extended);
    m_guard.keepAlive();
    const QByteArray frame = mcu::buildStatusFrame(mcu::replyStart, {}, word, status);
    qCDebug(logEngineBytes) << "out" << frame.toHex(' ');
    if (m_links.sendSerial(frame))
        return true;
    m_links.close();
    return false;
}

void CommandChannel::expectText()
{
    expect(Expect::Text);
}

/** A partly received reply to an earlier command must not swallow the next one. */
void CommandChannel::expect(Expect what)
{
    m_expect = what;
    m_assembler.reset();
}

void CommandChannel::forget()
{
    m_timer.stop();
    m_assembler.reset();
    m_pending.reset();
    canRead = false;
    currentCommandKey = 0;
}

void CommandChannel::onTimeOut()
{
    m_timer.stop();
    m_assembler.reset();
    emit replied(CommandResult::Silence, Reply(QByteArray()));
}

void CommandChannel::receive(const QByteArray &chunk)
{
    qCDebug(logEngineBytes) << "in" << chunk.toHex(' ');
    qCDebug(logEngine) << "slotReceiveDatas:canRead:" << canRead;
    if (!canRead)
        return;
    switch (m_expect) {
    case Expect::Binary:
    case Expect::Extended:
        takeBytes(chunk);
        break;
    case Expect::Text:
        takeText(chunk);
        break;
    case Expect::Nothing:
        qCDebug(logEngine) << "otherReceivedData";
        break;
    }
}

/** Bytes after a reply in the same chunk count only when that reply led to another command. */
void CommandChannel::takeBytes(const QByteArray &chunk)
{
    for (const char byte : chunk) {
        const FrameAssembler::Result result = m_assembler.feed(quint8(byte));
        if (result == FrameAssembler::Result::BadSum)
            qCDebug(logEngine) << "checksumError";
        if (result != FrameAssembler::Result::Complete)
            continue;
        const QByteArray frame = m_assembler.frame();
        if (m_expect == Expect::Extended)
            emit deviceSent(Reply(frame));
        else
            takeFrame(frame);
        if (!canRead)
            return;
    }
}

/** Replies are matched with the command in flight by its word and, where they echo a chip, by the
 *  chip. */
void CommandChannel::takeFrame(const QByteArray &frame)
{
    const Reply reply(frame);
    const quint16 word = reply.word();
    qCDebug(logEngine) << "checksumOK" << (reply.isExtended() ? "hasFFFF" : "NOFFFF")
                       << "currentCommandKey:" << qint16(currentCommandKey)
                       << "wTemp:" << qint16(word);
    if (word != currentCommandKey)
        return;
    if (word == command::enterUpdateMode) {
        m_timer.stop();
        canRead = false;
        m_guard.keepAlive();
        emit updateModeReplied(reply);
        return;
    }
    const auto result = m_pending == word ? classify(reply) : std::nullopt;
    if (!result || m_isLate(reply))
        return;
    canRead = false;
    m_guard.keepAlive();
    // A device that is still starting may refuse at once; the timer starts the next try.
    if (word != command::readProductId || result == CommandResult::Answer)
        m_timer.stop();
    emit replied(*result, reply);
}

/** The version query is answered in lines of plain text. */
void CommandChannel::takeText(const QByteArray &chunk)
{
    m_text += QString::fromUtf8(chunk.constData(), chunk.size());
    const bool complete = m_text.endsWith(QLatin1Char('\r')) || m_text.endsWith(QLatin1Char('\n'));
    QStringList lines = m_text.split(QLatin1Char('\r'));
    m_text = complete ? QString() : lines.takeLast();
    if (m_text.size() > m_textLimit)
        m_text.clear();
    for (const QString &line : qAsConst(lines)) {
        if (!line.trimmed().isEmpty())
            emit textReceived(line.trimmed());
    }
}

} // namespace engine
