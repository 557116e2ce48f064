// SPDX-License-Identifier: Apache-2.0
#include "engine/ControlCenter.h"
#include "engine/EngineTexts.h"
#include "engine/Say.h"
#include "engine/Steps.h"
#include "links/LinkState.h"
#include "platform/Log.h"
#include "protocol/CommandWords.h"
#include "upload/CoreUpload.h"
#include "upload/UploadTexts.h"

#include <QThread>

#include <utility>

namespace {

constexpr int maxRetries = 2;
constexpr double wholeProgress = 100.0;

/** Where a reply to Enter F/W Update Mode has its status; a reply without one means success. */
quint8 enterStatus(const Reply &reply)
{
    constexpr int bareStatusLength = mcu::emptyLength + 1;
    if (reply.length() >= mcu::extendedLength)
        return reply.at(mcu::resultOffset);
    if (!reply.isExtended() && reply.length() == bareStatusLength)
        return reply.at(mcu::payloadOffset);
    return 0;
}

void pause(std::chrono::milliseconds time)
{
    QThread::msleep(static_cast<unsigned long>(time.count()));
}

} // namespace

/** A run of its own: the uploader says nothing of a file that it cannot take, and only a run's
 *  guard ends the wait then. */
bool ControlCenter::slotWriteMultBoard(uchar mcuType, uchar mcuIndex, QString filename)
{
    if (refusesDuringRun("write of a single file"))
        return true;
    endRun();
    m_run = m_claim.take();
    m_runActive = true;
    m_runGuard->start();
    m_retryCount = 0;
    m_mainMcuFirst = false;
    m_mainFirstRow = -1;
    m_step = step::otherImage;
    m_imageFileName = std::move(filename);
    m_uploadType = UploadType::File;
    startWrite(mcuType, mcuIndex);
    return true;
}

bool ControlCenter::writeMultBoard(quint8 mcuType, quint8 chipIndex, const QByteArray &image)
{
    m_image = image;
    m_uploadType = UploadType::Memory;
    startWrite(mcuType, chipIndex);
    return true;
}

void ControlCenter::startWrite(quint8 mcuType, quint8 chipIndex)
{
    m_mcuType = mcuType;
    m_chipIndex = chipIndex;
    m_writeRetries = 0;
    m_enterRetries = 0;
    {
        const std::lock_guard lock(m_mutex);
        m_erasingShown = false;
    }
    m_uploadTimer->start();
    enterUpdateMode();
}

/** A frame that cannot be sent is not reported: the timer repeats it. */
void ControlCenter::enterUpdateMode()
{
    expectReply(ReceiveMode::Binary);
    const QByteArray frame =
        mcu::buildFrame(mcu::hostStart, m_address, command::enterUpdateMode,
                        QByteArray().append(char(m_mcuType)).append(char(m_chipIndex)));
    if (transmit(frame))
        say(filled(text::enterSent, currentName()));
}

void ControlCenter::takeEnterReply(const Reply &reply)
{
    m_uploadTimer->stop();
    if (enterStatus(reply) == 0) {
        m_enterRetries = 0;
        say(filled(text::enterSuccess, currentName()));
        pause(m_platform.pauses.beforeFirstBlock);
        handOverImage();
        return;
    }
    if (m_enterRetries == maxRetries)
        failEnter();
    else
        retryEnter();
}

void ControlCenter::handOverImage()
{
    keepRunAlive();
    if (m_uploadType == UploadType::File)
        m_upload->uploadFile(m_mcuType, m_chipIndex, m_imageFileName);
    else
        m_upload->uploadData(m_mcuType, m_chipIndex, m_image, m_image.size());
}

void ControlCenter::onTimeOutSendUploadCommand()
{
    m_uploadTimer->stop();
    m_assembler.reset();
    if (m_enterRetries == maxRetries)
        failEnter();
    else
        retryEnter();
}

void ControlCenter::retryEnter()
{
    ++m_enterRetries;
    const QString words = filled(text::enterRetry, currentName(), QString::number(m_enterRetries));
    say(words);
    m_report.retry(currentName(), m_enterRetries, words);
    m_uploadTimer->start();
    enterUpdateMode();
}

void ControlCenter::failEnter()
{
    say(filled(text::enterFail, currentName()));
    gaveUp(filled(text::enterFail, currentName()));
    failWrite();
}

/** The whole image starts again from the Enter frame, twice at most. */
void ControlCenter::failWrite()
{
    m_upload->reset();
    if (m_writeRetries == maxRetries) {
        giveUpImage();
        return;
    }
    ++m_writeRetries;
    m_enterRetries = 0;
    const QString words = filled(text::writeRetry, currentName(), QString::number(m_writeRetries));
    say(words);
    m_report.retry(currentName(), m_writeRetries, words);
    m_uploadTimer->start();
    enterUpdateMode();
}

/** One image given up never ends the run. */
void ControlCenter::giveUpImage()
{
    m_uploadTimer->stop();
    slotProgressValueChanged(wholeProgress, wholeProgress);
    if (hasCurrentRow()) {
        setCurrent(field::result, QString::fromLatin1(result::failed));
        reportRowResult(QString::fromLatin1(result::failed));
    }
    say(filled(text::writeFail, currentName()));
    gaveUp(filled(text::writeFail, currentName()));
    m_report.written(false);
    skipItem();
}

void ControlCenter::slotMessage(QStringList messageIn)
{
    const QString verdict = messageIn.value(messageIn.size() - 1);
    if (verdict == QLatin1String(uploadText::fail))
        failWrite();
    else if (verdict == QLatin1String(uploadText::success))
        finishImage();
    else
        repeatsBlock(messageIn);
}

/** All else that the uploader tells is that it sends a block once more. */
void ControlCenter::repeatsBlock(const QStringList &words)
{
    emit message(words);
    m_report.retry(currentName(), m_upload->retries(), words.join(QLatin1Char(' ')));
}

void ControlCenter::finishImage()
{
    const QString name = currentName();
    if (hasCurrentRow()) {
        setCurrent(field::result, QString::fromLatin1(result::success));
        reportRowResult(QString::fromLatin1(result::success));
    }
    m_imageWritten = true;
    say(filled(text::writeSuccess, name));
    m_report.written(true);
    if (mcuIndex() == rowCount() - 1)
        say(filled(text::allWritten));
    m_writeRetries = 0;
    m_image.clear();
    if (m_step == step::mainImage) {
        m_retryCount = 0;
        m_step = step::mainMcuRestarts;
        restartCommandTimer();
        say(filled(text::mainRestarts));
        return;
    }
    setMcuIndex(mcuIndex() + 1);
    pause(m_platform.pauses.afterImage);
    m_step = step::nextItem;
    checkVersion();
}

void ControlCenter::slotProgressValueChanged(double bytesSent, double bytesTotal)
{
    Q_UNUSED(bytesTotal)
    double overall = 0.0;
    bool erasing = false;
    bool writing = false;
    {
        const std::lock_guard lock(m_mutex);
        overall = (m_mcuIndex * wholeProgress + bytesSent) / m_TypeAndIndexs.count();
        erasing = bytesSent == 0.0 && !m_erasingShown;
        writing = bytesSent > 0.0 && m_erasingShown;
        if (erasing || writing)
            m_erasingShown = erasing;
    }
    if (overall < wholeProgress) {
        qCDebug(logEngine) << "tmpPercent:" << overall;
        emit progressValueChanged(overall, wholeProgress);
        if (QThread::currentThread() == thread()) // a listing may fail on another one
            m_report.progress(overall);
    }
    if (erasing)
        say(filled(text::erasing));
    else if (writing)
        say(filled(text::writing));
}
