// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/CoreCOMQ.h"
#include "platform/Platform.h"
#include "protocol/McuFrame.h"
#include "support/WaitFor.h"
#include "upload/CoreUpload.h"

#include <QStringList>

#include <chrono>
#include <functional>

/** A serial link that records what is written and fails on request. */
class FakeLink : public CoreCOMQ
{
public:
    /** The number of following writes that fail. */
    int failures = 0;
    QList<QByteArray> sent;
    /** Called before each write. */
    std::function<void()> onWrite;

    void deliver(const QByteArray &bytes) { emit signalReceiveDatas(bytes); }

protected:
    qint64 writeBytes(const char *bytes, qint64 length) override
    {
        if (onWrite)
            onWrite();
        if (failures > 0) {
            --failures;
            return -1;
        }
        sent.append(QByteArray(bytes, int(length)));
        return length;
    }
};

/** The device's answer to a block: accepted (0) or refused. */
inline QByteArray blockReply(quint8 status = 0)
{
    return protocol::mcu::buildStatusFrame(protocol::mcu::replyStart, {}, 0x7901, status);
}

/** An uploader on a fake link, with its recorded signals. */
struct Transfer
{
    FakeLink link;
    CoreUpload upload;
    QStringList lines;
    QStringList progress;

    explicit Transfer(const platform::TimeOuts &timeOuts = neverTimeOuts(),
                      std::chrono::milliseconds settling = std::chrono::milliseconds(0))
        : upload(timeOuts, settlingIn(settling))
    {
        upload.setTransports(&link, nullptr);
        QObject::connect(&link, &CoreCOMQ::signalReceiveDatas, &upload,
                         &CoreUpload::slotReceiveDatas);
        QObject::connect(&upload, &CoreUpload::message, &upload,
                         [this](const QStringList &list) { lines.append(list.join('|')); });
        QObject::connect(&upload, &CoreUpload::progressValueChanged, &upload,
                         [this](double sent, double total) {
                             const QString percent = QString::number(sent, 'f', 2);
                             progress.append(total == 100.0 ? percent : QStringLiteral("total?"));
                         });
    }

    /** For tests without any waiting. */
    static platform::TimeOuts neverTimeOuts()
    {
        platform::TimeOuts timeOuts;
        timeOuts.block = std::chrono::hours(1);
        timeOuts.lastBlock = std::chrono::hours(1);
        return timeOuts;
    }

    static platform::TimeOuts shortTimeOuts()
    {
        platform::TimeOuts timeOuts;
        timeOuts.block = std::chrono::milliseconds(5);
        timeOuts.lastBlock = std::chrono::milliseconds(5);
        return timeOuts;
    }

    static platform::Pauses settlingIn(std::chrono::milliseconds time)
    {
        platform::Pauses pauses;
        pauses.afterRepeatedBlock = time;
        return pauses;
    }

    void start(const QByteArray &image) { upload.uploadData(7, 2, image, image.size()); }

    /** Acknowledges the block in flight and processes the pause of 0 ms after it. */
    void acknowledge()
    {
        link.deliver(blockReply());
        settle();
    }

    /** Acknowledges every block until no more are sent. */
    void acknowledgeAll()
    {
        for (int answered = 0; answered < link.sent.size(); ++answered)
            acknowledge();
    }

    /** "number/flags" of every block sent, in decimal and hexadecimal. */
    QString blocks() const
    {
        QStringList list;
        for (const QByteArray &frame : link.sent) {
            list.append(QStringLiteral("%1/%2")
                            .arg(protocol::mcu::wordAt(frame, 11))
                            .arg(quint8(frame.at(13)), 2, 16, QLatin1Char('0')));
        }
        return list.join(QLatin1Char(' '));
    }
};

/** Image bytes from 1 to 250, so that neither kind of padding can be mistaken for them. */
inline QByteArray imageOf(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = char(1 + i % 250);
    return bytes;
}
