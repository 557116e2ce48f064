// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"
#include "protocol/FrameAssembler.h"
#include "upload/BlockPacker.h"

#include <QObject>
#include <QStringList>
#include <QTimer>

#include <atomic>

namespace links {
class DeviceLink;
} // namespace links

class CoreCOMQ;
class CoreTelnet;

/**
 * Writes one image into one MCU that is in its update mode: a block, its acknowledgement, the next
 * block. A block that is refused or unanswered is sent up to three times. Acknowledgements have no
 * block number: after that of a repeated block, bytes that arrive within a pause are dropped before
 * the transfer continues. Ends with exactly one "SingleUploadSuccess" or "SingleUploadFail" through
 * message(), except for an image of fewer than 256 bytes, which has no last block and so ends
 * without a result.
 */
class CoreUpload : public QObject
{
    Q_OBJECT

public:
    explicit CoreUpload(const platform::TimeOuts &timeOuts = platform::TimeOuts(),
                        const platform::Pauses &pauses = platform::Pauses(),
                        QObject *parent = nullptr);

    /** The link that blocks are sent on, which is not owned; without one they are dropped. */
    void setLink(links::DeviceLink *link) { m_link = link; }
    /** As setLink(), with one of the two set. */
    void setTransports(CoreCOMQ *serial, CoreTelnet *network);
    void setAddress(protocol::mcu::FrameAddress address);

    /** Sends the file's content. False, and nothing sent, when the name does not contain ".bin" or
     *  the file is missing, empty or unreadable. */
    bool uploadFile(uchar mcuType, uchar mcuIndex, const QString &filename);
    void uploadData(uchar mcuType, uchar mcuIndex, const QByteArray &data, qint32 length);

    /** Gives up the current image without a message. */
    void reset();
    /** A block was sent and may be acknowledged now. */
    bool awaitsAcknowledgement() const { return m_blockIsOut; }

    /** How many times the block in flight was repeated. */
    int retries() const { return m_retryCount; }

    /** Sends one write frame and starts its time-out. At most 290 payload bytes. */
    bool sendCommand(quint16 word, int length, const unsigned char *payload);
    bool sendRaw(const unsigned char *bytes, int length);

    /** Percent of the image in flight; read by other threads. */
    static std::atomic<double> m_FWPersent;

signals:
    void progressValueChanged(double bytesSent, double bytesTotal);
    void message(QStringList message);

public slots:
    void slotReceiveDatas(QByteArray datas);

private slots:
    void onTimeOutSendData();

private:
    bool takeByte(quint8 byte);
    void takeAcknowledgement(quint8 status);
    void goOn();
    void sendNextBlock();
    bool sendBlock();
    void prepareNextBlock();
    bool sendFrame(const QByteArray &frame);
    bool transmit(const QByteArray &frame);
    void repeatOrFail();
    void finish(const char *verdict);

    platform::TimeOuts m_timeOuts;
    platform::Pauses m_pauses;
    links::DeviceLink *m_link = nullptr;
    protocol::mcu::FrameAddress m_address;
    upload::BlockPacker m_packer;
    /** The block after the one in flight, prepared so that it only needs to be written. */
    struct
    {
        /** As m_packer will be then. */
        upload::BlockPacker packer;
        /** Empty when no image byte is left. */
        QByteArray frame;
    } m_next;
    protocol::FrameAssembler m_assembler;
    QTimer *m_sendTimer;
    /** Runs while acknowledgements of a repeated block are dropped. */
    QTimer *m_settleTimer;
    int m_retryCount = 0;
    /** The block in flight was sent; otherwise no byte can acknowledge it. */
    bool m_blockIsOut = false;
};
