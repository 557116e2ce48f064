// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "links/CoreCOMQ.h"
#include "links/LinkState.h"
#include "protocol/McuFrame.h"
#include "support/VirtualTime.h"
#include "upload/CoreUpload.h"

#include <QHash>
#include <QStringList>

#include <functional>
#include <utility>

/** A serial link that records what is written and fails on request. */
class FakeLink : public CoreCOMQ
{
public:
    /** The number of following writes that fail. */
    int failures = 0;
    QList<QByteArray> sent;
    std::function<void(const QByteArray &frame)> onSent;

    void deliver(const QByteArray &bytes) { emit signalReceiveDatas(bytes); }

protected:
    qint64 writeBytes(const char *bytes, qint64 length) override
    {
        if (failures > 0) {
            --failures;
            return -1;
        }
        sent.append(QByteArray(bytes, int(length)));
        if (onSent)
            onSent(sent.last());
        return length;
    }
};

/** The device's answer to a block: accepted (0) or refused. */
inline QByteArray blockReply(quint8 status = 0)
{
    return protocol::mcu::buildStatusFrame(protocol::mcu::replyStart, {}, 0x7901, status);
}

/** Image bytes from 1 to 250, so that neither kind of padding can be mistaken for them. */
inline QByteArray imageOf(int size)
{
    QByteArray bytes(size, '\0');
    for (int i = 0; i < size; ++i)
        bytes[i] = char(1 + i % 250);
    return bytes;
}

/** An uploader on a fake link, with the module's own times on a clock that the test controls. */
struct Transfer
{
    Transfer()
    {
        canRead = false;
        currentCommandKey = 0;
        upload.setTransports(&link, nullptr);
        link.onSent = [this](const QByteArray &frame) { events.append(described(frame)); };
        QObject::connect(&link, &CoreCOMQ::signalReceiveDatas, &upload,
                         &CoreUpload::slotReceiveDatas);
        QObject::connect(&upload, &CoreUpload::message, &upload, [this](const QStringList &list) {
            static const QHash<QString, QString> verdicts{
                {"F/W update timeout, retry 1.", "retry1"},
                {"F/W update timeout, retry 2.", "retry2"},
                {"SingleUploadFail", "failed"},
                {"SingleUploadSuccess", "success"}};
            events.append(verdicts.value(list.join('|'), list.join('|')));
        });
        QObject::connect(&upload, &CoreUpload::progressValueChanged, &upload,
                         [this](double sent, double total) {
                             const QString percent = QString::number(sent, 'f', 2) + '%';
                             events.append(total == 100.0 ? percent : "total?");
                         });
    }

    void start(int size)
    {
        image = imageOf(size);
        upload.uploadData(7, 2, image, size);
    }

    /**
     * Carries out the steps of "STEP: EVENTS; STEP: EVENTS" and returns them with the events that
     * occurred. Steps: "start SIZE" of the image, "wait MILLISECONDS", "lose WRITES" that fail,
     * "reset", "flag" (canRead is set, as by another command), "accept" and "refuse" (the device's
     * answers to a block), "error" (a refusal with another status), "twice" (two acceptances in one
     * chunk), "head" and "tail" of an acceptance. Events: "NUMBER/FLAGS" of a sent block, progress,
     * retries and the verdict.
     */
    QString converse(const QString &conversation)
    {
        QStringList done;
        for (const QString &part : conversation.split("; ")) {
            const QString step = part.section(':', 0, 0);
            perform(step.section(' ', 0, 0), step.section(' ', 1).toInt());
            done.append((QStringList(step + ':') + std::exchange(events, {})).join(' '));
        }
        return done.join("; ");
    }

    VirtualTime &clock = VirtualTime::instance();
    FakeLink link;
    CoreUpload upload{platform::TimeOuts(), platform::Pauses()};
    QByteArray image;
    /** Since the last step of a conversation. */
    QStringList events;

private:
    void perform(const QString &step, int number)
    {
        static const QHash<QString, QByteArray> answers{
            {"accept", blockReply()},       {"refuse", blockReply(3)},
            {"error", blockReply(1)},       {"twice", blockReply() + blockReply()},
            {"head", blockReply().left(6)}, {"tail", blockReply().mid(6)}};
        if (step == "start")
            start(number);
        else if (step == "wait")
            clock.advance(std::chrono::milliseconds(number));
        else if (step == "lose")
            link.failures = number;
        else if (step == "reset")
            upload.reset();
        else if (step == "flag")
            canRead = true;
        else if (answers.contains(step))
            link.deliver(answers.value(step));
        else
            qFatal("no step %s", qPrintable(step));
    }

    /** A block gets the mark "!" if its data is not its part of the image, padded. */
    QString described(const QByteArray &frame) const
    {
        if (frame.size() != 271)
            return QString("%1 bytes").arg(frame.size());
        const int number = protocol::mcu::wordAt(frame, 11);
        const QByteArray data =
            image.mid(256 * number, 256).leftJustified(256, number == 0 ? '\0' : '\xFF');
        return QString("%1/%2%3")
            .arg(number)
            .arg(quint8(frame.at(13)), 2, 16, QLatin1Char('0'))
            .arg(frame.mid(14, 256) == data ? "" : "!");
    }
};
