// SPDX-License-Identifier: Apache-2.0
#include "engine/device/ImageWriter.h"

#include "engine/device/CommandChannel.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "protocol/McuFrame.h"
#include "protocol/WireText.h"
#include "upload/CoreUpload.h"
#include "upload/UploadTexts.h"

#include <QThread>

namespace mcu = protocol::mcu;
namespace uploadText = upload::uploadText;
using platform::Platform;
using protocol::filled;
using protocol::Reply;

namespace engine {

namespace {

constexpr int maxRetries = 2;

/** Where a reply to Enter F/W Update Mode has its status; a reply without one means success. */
quint8 updateModeStatus(const Reply &reply)
{
    constexpr int bareStatusLength = mcu::emptyLength + 1;
    if (reply.length() >= mcu::extendedLength)
        return reply.at(mcu::resultOffset);
    if (!reply.isExtended() && reply.length() == bareStatusLength)
        return reply.at(mcu::payloadOffset);
    return 0;
}

} // namespace

ImageWriter::ImageWriter(CommandChannel &channel, const RunRows &rows, const EngineOutput &output,
                         RunReporter &report, const Platform &platform, QObject *parent)
    : QObject(parent),
      m_channel(channel),
      m_rows(rows),
      m_output(output),
      m_report(report),
      m_pauses(platform.pauses),
      m_upload(new CoreUpload(platform.timeOuts, platform.pauses, this)),
      m_timer(this)
{
    m_timer.setInterval(platform.timeOuts.uploadCommand);
    connect(&m_timer, &QTimer::timeout, this, &ImageWriter::onUpdateModeTimeOut);
}

void ImageWriter::write(quint8 chipType, quint8 chipIndex, const QByteArray &image)
{
    m_image.bytes = image;
    m_image.file.clear();
    start(chipType, chipIndex);
}

void ImageWriter::writeFile(quint8 chipType, quint8 chipIndex, const QString &name)
{
    m_image.bytes.clear();
    m_image.file = name;
    start(chipType, chipIndex);
}

void ImageWriter::start(quint8 chipType, quint8 chipIndex)
{
    m_image.chipType = chipType;
    m_image.chipIndex = chipIndex;
    m_imageRetries = 0;
    m_updateModeRetries = 0;
    emit starting();
    m_timer.start();
    enterUpdateMode();
}

/** A frame that cannot be sent is not reported; the timer repeats it. */
void ImageWriter::enterUpdateMode()
{
    if (m_channel.sendUpdateMode(m_image.chipType, m_image.chipIndex))
        m_output.say(filled(text::enterSent, m_rows.currentName()));
}

void ImageWriter::takeUpdateModeReply(const Reply &reply)
{
    m_timer.stop();
    if (updateModeStatus(reply) != 0) {
        retryUpdateMode();
        return;
    }
    m_updateModeRetries = 0;
    m_output.say(filled(text::enterSuccess, m_rows.currentName()));
    QThread::msleep(static_cast<unsigned long>(m_pauses.beforeFirstBlock.count()));
    handOver();
}

void ImageWriter::handOver()
{
    if (m_image.file.isEmpty())
        m_upload->uploadData(m_image.chipType, m_image.chipIndex, m_image.bytes,
                             m_image.bytes.size());
    else
        m_upload->uploadFile(m_image.chipType, m_image.chipIndex, m_image.file);
}

void ImageWriter::onUpdateModeTimeOut()
{
    m_timer.stop();
    m_channel.dropPartialFrame();
    retryUpdateMode();
}

void ImageWriter::retryUpdateMode()
{
    if (m_updateModeRetries < maxRetries) {
        enterAgain(text::enterRetry, ++m_updateModeRetries);
        return;
    }
    const QString name = m_rows.currentName();
    const QString line = filled(text::enterFail, name);
    m_output.say(line);
    m_report.giveUp(name, line);
    repeat();
}

void ImageWriter::enterAgain(const char *words, int attempt)
{
    const QString name = m_rows.currentName();
    const QString line = filled(words, name, QString::number(attempt));
    m_output.say(line);
    m_report.retry(name, attempt, line);
    m_timer.start();
    enterUpdateMode();
}

/** Restarts the image from the Enter frame, at most twice. */
void ImageWriter::repeat()
{
    m_upload->reset();
    if (m_imageRetries == maxRetries) {
        end(false);
        return;
    }
    m_updateModeRetries = 0;
    enterAgain(text::writeRetry, ++m_imageRetries);
}

void ImageWriter::takeMessage(const QStringList &message)
{
    const QString verdict = message.value(message.size() - 1);
    if (verdict == QLatin1String(uploadText::fail)) {
        repeat();
    } else if (verdict == QLatin1String(uploadText::success)) {
        end(true);
    } else {
        m_output.list(message);
        m_report.retry(m_rows.currentName(), m_upload->retries(), message.join(QLatin1Char(' ')));
    }
}

void ImageWriter::end(bool written)
{
    m_timer.stop();
    m_image.bytes.clear();
    emit ended(written);
}

void ImageWriter::cancel()
{
    m_timer.stop();
    m_upload->reset();
    m_image.bytes.clear();
}

} // namespace engine
