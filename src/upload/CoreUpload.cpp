// SPDX-License-Identifier: Apache-2.0
#include "upload/CoreUpload.h"

#include "links/CoreCOMQ.h"
#include "links/CoreTelnet.h"
#include "links/LinkState.h"
#include "platform/Log.h"
#include "protocol/BlockPayload.h"
#include "protocol/CommandWords.h"
#include "protocol/Progress.h"
#include "protocol/Reply.h"
#include "protocol/Statuses.h"
#include "runtime/StandardError.h"
#include "upload/UploadTexts.h"

#include <QFile>

#include <utility>

namespace command = protocol::command;
namespace mcu = protocol::mcu;
namespace standardError = runtime::standardError;
namespace status = protocol::status;
namespace uploadText = upload::uploadText;
using links::DeviceLink;
using platform::logUpload;
using platform::logUploadBytes;
using platform::Pauses;
using platform::TimeOuts;
using protocol::AssemblerRules;
using protocol::FrameAssembler;
using protocol::Reply;
using protocol::wholeProgress;

namespace {

constexpr int maxPayload = 290;
constexpr int maxReplyLength = 511;
constexpr int maxRetries = 2;
/** Written to the diagnostics at every time-out. */
constexpr int timerMark = 2020;

AssemblerRules replyRules(mcu::FrameAddress address)
{
    AssemblerRules rules;
    rules.startBytes = QByteArray(1, char(mcu::replyStart));
    rules.address = address;
    rules.maxLength = maxReplyLength;
    return rules;
}

} // namespace

std::atomic<double> CoreUpload::m_FWPersent{0.0};

CoreUpload::CoreUpload(const TimeOuts &timeOuts, const Pauses &pauses, QObject *parent)
    : QObject(parent),
      m_timeOuts(timeOuts),
      m_pauses(pauses),
      m_assembler(replyRules({})),
      m_sendTimer(new QTimer(this)),
      m_settleTimer(new QTimer(this))
{
    m_sendTimer->setSingleShot(true);
    connect(m_sendTimer, &QTimer::timeout, this, &CoreUpload::onTimeOutSendData);
    m_settleTimer->setSingleShot(true);
    m_settleTimer->setTimerType(Qt::PreciseTimer);
    connect(m_settleTimer, &QTimer::timeout, this, &CoreUpload::goOn);
}

void CoreUpload::setTransports(CoreCOMQ *serial, CoreTelnet *network)
{
    setLink(serial != nullptr ? static_cast<DeviceLink *>(serial) : network);
}

void CoreUpload::setAddress(mcu::FrameAddress address)
{
    m_address = address;
    m_assembler = FrameAssembler(replyRules(address));
}

bool CoreUpload::uploadFile(uchar mcuType, uchar mcuIndex, const QString &filename)
{
    qCDebug(logUpload) << "filename:" << filename;
    if (!filename.contains(QLatin1String(".bin"))) {
        qCDebug(logUpload) << "file format is error!!";
        return false;
    }
    QFile file(filename);
    if (!file.exists()) {
        qCDebug(logUpload) << "file is not exist!!";
        return false;
    }
    if (file.size() == 0) {
        qCDebug(logUpload) << "file is empty, please select file!!";
        return false;
    }
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray data = file.readAll();
    uploadData(mcuType, mcuIndex, data, data.size());
    return true;
}

void CoreUpload::uploadData(uchar mcuType, uchar mcuIndex, const QByteArray &data, qint32 length)
{
    qCDebug(logUpload) << "fileSize:" << length;
    reset();
    if (!m_packer.start(mcuType, mcuIndex, data, length))
        return;
    m_FWPersent.store(0.0, std::memory_order_relaxed);
    m_retryCount = 0;
    const bool sent = sendBlock();
    // A first block that could not be sent is repeated by its time-out, and its acknowledgement
    // must find the same state as if it had been sent at once.
    m_packer.firstBlockSent();
    prepareNextBlock();
    if (!sent)
        return;
    qCDebug(logUpload) << "sendData:" << m_packer.blockNumber();
    const double percent = m_packer.firstPercent();
    m_FWPersent.store(percent, std::memory_order_relaxed);
    emit progressValueChanged(0.0, wholeProgress);
    emit progressValueChanged(percent, wholeProgress);
}

void CoreUpload::reset()
{
    m_sendTimer->stop();
    m_settleTimer->stop();
    m_assembler.reset();
    m_packer.release();
    m_next = {};
    m_blockIsOut = false;
}

bool CoreUpload::sendCommand(quint16 word, int length, const unsigned char *payload)
{
    if (length > maxPayload) {
        m_sendTimer->stop();
        standardError::write(uploadText::tooMuch);
        return false;
    }
    const QByteArray bytes(reinterpret_cast<const char *>(payload), length);
    return sendFrame(mcu::buildFrame(mcu::hostStart, m_address, word, bytes));
}

/** Writes the frame first, since the device waits for it. */
bool CoreUpload::sendFrame(const QByteArray &frame)
{
    m_assembler.reset();
    const bool sent = transmit(frame);
    m_sendTimer->start(m_packer.lastBlockSent() ? m_timeOuts.lastBlock : m_timeOuts.block);
    qCDebug(logUpload) << "bLastSent:" << m_packer.lastBlockSent();
    standardError::write(sent ? uploadText::sendDone : uploadText::sendFailed);
    return sent;
}

bool CoreUpload::sendRaw(const unsigned char *bytes, int length)
{
    return bytes != nullptr && length != 0 &&
           transmit(QByteArray(reinterpret_cast<const char *>(bytes), length));
}

bool CoreUpload::transmit(const QByteArray &frame)
{
    const bool sent = m_link == nullptr || m_link->send(frame);
    if (m_link != nullptr)
        qCDebug(logUpload).nospace()
            << m_link->label() << (sent ? "send successfully" : "send failed");
    qCDebug(logUploadBytes) << "out" << frame.toHex(' ');
    return sent;
}

/** Acknowledgements have no block number, so bytes after an accepted one in the same chunk can only
 *  be its echo and must not count for the next block. */
void CoreUpload::slotReceiveDatas(QByteArray datas)
{
    for (int i = 0; canRead && i < datas.size(); ++i) {
        if (takeByte(quint8(datas.at(i))))
            break;
    }
    // After sending, since the device waits for the next block.
    qCDebug(logUploadBytes) << "in" << datas.toHex(' ');
}

/** True once an acknowledgement was accepted. */
bool CoreUpload::takeByte(quint8 byte)
{
    if (m_assembler.feed(byte) != FrameAssembler::Result::Complete)
        return false;
    const Reply reply(m_assembler.frame());
    const bool answersBlock =
        m_blockIsOut && currentCommandKey == command::writeBlock && reply.has(mcu::resultOffset) &&
        mcu::wordAt(m_assembler.frame(), mcu::extendedWordOffset) == command::writeBlock;
    if (!answersBlock)
        return false;
    canRead = false;
    takeAcknowledgement(reply.at(mcu::resultOffset));
    return true;
}

void CoreUpload::takeAcknowledgement(quint8 status)
{
    if (status != status::done) {
        repeatOrFail();
        return;
    }
    m_blockIsOut = false;
    const bool wasRepeated = m_retryCount > 0;
    m_retryCount = 0;
    if (!wasRepeated) {
        goOn();
        return;
    }
    m_sendTimer->stop();
    m_settleTimer->start(m_pauses.afterRepeatedBlock);
}

void CoreUpload::goOn()
{
    if (m_packer.moreToSend())
        sendNextBlock();
    else
        finish(uploadText::success);
}

void CoreUpload::sendNextBlock()
{
    if (m_next.frame.isEmpty()) {
        m_sendTimer->stop();
        return;
    }
    m_packer = std::move(m_next.packer);
    m_blockIsOut = sendFrame(m_next.frame);
    qCDebug(logUpload) << "sendin";
    prepareNextBlock();
    if (!m_packer.blockIsFull())
        return;
    const double percent = m_packer.percent();
    m_FWPersent.store(percent, std::memory_order_relaxed);
    if (percent < wholeProgress)
        emit progressValueChanged(percent, wholeProgress);
}

void CoreUpload::prepareNextBlock()
{
    m_next.packer = m_packer;
    m_next.frame.clear();
    if (m_next.packer.packNext())
        m_next.frame = mcu::buildFrame(mcu::hostStart, m_address, command::writeBlock,
                                       m_next.packer.payload());
}

bool CoreUpload::sendBlock()
{
    const QByteArray &payload = m_packer.payload();
    m_blockIsOut = sendCommand(command::writeBlock, payload.size(),
                               reinterpret_cast<const unsigned char *>(payload.constData()));
    return m_blockIsOut;
}

void CoreUpload::onTimeOutSendData()
{
    qCDebug(logUpload) << "timerRepeat:" << timerMark;
    repeatOrFail();
}

void CoreUpload::repeatOrFail()
{
    if (m_retryCount == maxRetries) {
        finish(uploadText::fail);
        return;
    }
    ++m_retryCount;
    emit message({QString::fromLatin1(uploadText::retry).arg(m_retryCount)});
    sendBlock();
}

void CoreUpload::finish(const char *verdict)
{
    reset();
    emit message({QString::fromLatin1(verdict)});
}
