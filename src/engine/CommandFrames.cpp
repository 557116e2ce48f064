// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "platform/Log.h"

#include <algorithm>

namespace {

void logCommand(int word)
{
    qCDebug(logEngine).noquote() << "DataProcesssendCMD:"
                                 << QString::number(word, 16).rightJustified(4, QLatin1Char('0'));
}

} // namespace

void ControlCenter::send(int wCMD)
{
    sendWriteStr(wCMD, 0, {});
}

void ControlCenter::sendWriteStr(int wCMD, int nDataCnt, QList<int> cExDataStr)
{
    logCommand(wCMD);
    QByteArray data;
    const int count = std::clamp(nDataCnt, 0, int(cExDataStr.size()));
    data.reserve(count);
    for (int i = 0; i < count; ++i)
        data.append(char(cExDataStr.at(i) & 0xFF));
    expectReply(ReceiveMode::Binary);
    const QByteArray frame = mcu::buildFrame(mcu::hostStart, m_address, quint16(wCMD), data);
    if (m_link != Link::None && !transmit(frame))
        disconnected();
}

/** A command for the current row's chip. */
void ControlCenter::sendChipCommand(quint16 word)
{
    sendWriteStr(word, 2, {currentNumber(field::chipType), currentNumber(field::chipIndex)});
}

bool ControlCenter::write(char *m_cSendBuftemp, size_t length)
{
    if (m_link == Link::None)
        return false;
    const Link link = m_link;
    if (transmit(QByteArray(m_cSendBuftemp, int(length))))
        return true;
    qCDebug(logEngine) << "send failed";
    disconnected();
    say(filled(link == Link::Serial ? text::serialSendFailed : text::networkSendFailed));
    return false;
}

/** A half-received reply to an earlier command must never swallow the next one. */
void ControlCenter::expectReply(ReceiveMode mode)
{
    m_receiveMode = mode;
    m_assembler.reset();
}

/** What did not go out cannot be answered: whatever comes next answers something earlier. */
bool ControlCenter::transmit(const QByteArray &frame)
{
    keepRunAlive();
    qCDebug(logEngineBytes) << "out" << frame.toHex(' ');
    const bool sent = writeToLink(frame);
    if (!sent)
        canRead = false;
    return sent;
}

bool ControlCenter::writeToLink(const QByteArray &frame)
{
    switch (m_link) {
    case Link::Serial:
        return m_serial->sendMsg(reinterpret_cast<const unsigned char *>(frame.constData()),
                                 frame.size());
    case Link::Network:
        return m_network->write(frame);
    case Link::None:
        break;
    }
    return false;
}
