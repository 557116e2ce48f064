// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"
#include "protocol/Reply.h"

#include <QByteArray>
#include <QObject>
#include <QStringList>
#include <QTimer>

class CoreUpload;

namespace engine {

class CommandChannel;
class EngineOutput;
class RunReporter;
class RunRows;

/**
 * Writes one image into the chip of the current row: update mode, then the blocks. Update mode and
 * the whole image are each tried three times. Emits one result at the end.
 */
class ImageWriter : public QObject
{
    Q_OBJECT

public:
    ImageWriter(CommandChannel &channel, const RunRows &rows, const EngineOutput &output,
                RunReporter &report, const platform::Platform &platform, QObject *parent);

    void write(quint8 chipType, quint8 chipIndex, const QByteArray &image);
    /** The image is the content of a file, read once the chip is in update mode. */
    void writeFile(quint8 chipType, quint8 chipIndex, const QString &name);
    /** After a failure: restarts the whole image, or gives it up. */
    void repeat();
    /** Gives up the current image without a result. */
    void cancel();

    CoreUpload &uploader() { return *m_upload; }
    bool isWaiting() const { return m_timer.isActive(); }

public slots:
    void takeUpdateModeReply(const protocol::Reply &reply);
    void onUpdateModeTimeOut();
    /** A result of the uploader, or its report that it repeats a block. */
    void takeMessage(const QStringList &message);

signals:
    void starting();
    void ended(bool written);

private:
    void start(quint8 chipType, quint8 chipIndex);
    void enterUpdateMode();
    void retryUpdateMode();
    void enterAgain(const char *words, int attempt);
    void handOver();
    void end(bool written);

    CommandChannel &m_channel;
    const RunRows &m_rows;
    const EngineOutput &m_output;
    RunReporter &m_report;
    const platform::Pauses m_pauses;
    CoreUpload *m_upload;
    QTimer m_timer;
    struct
    {
        quint8 chipType = 0;
        quint8 chipIndex = 0;
        QByteArray bytes;
        /** Empty when `bytes` holds the image. */
        QString file;
    } m_image;
    int m_updateModeRetries = 0;
    int m_imageRetries = 0;
};

} // namespace engine
