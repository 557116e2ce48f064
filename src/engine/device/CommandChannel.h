// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "engine/device/ReplyRules.h"
#include "platform/Platform.h"
#include "protocol/FrameAssembler.h"
#include "protocol/Reply.h"

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QTimer>

#include <functional>
#include <optional>

namespace engine {

class DeviceLinks;
class RunGuard;

/**
 * The one command in flight: sends it, assembles the device's bytes and matches the reply with it.
 * A command without a reply within its time-out ends with Silence.
 */
class CommandChannel : public QObject
{
    Q_OBJECT

public:
    /** Whether a reply is the late answer to an earlier command. */
    using LateAnswer = std::function<bool(const protocol::Reply &reply)>;

    CommandChannel(DeviceLinks &links, RunGuard &guard, const LateAnswer &isLate,
                   const platform::Platform &platform, QObject *parent);

    /** Sends a command without waiting for its reply; a link that refuses it is closed. */
    void send(quint16 word, const QByteArray &data = {});
    /** Sends a command and waits for its reply. */
    void request(quint16 word, const QByteArray &data = {});
    /** Waits for the reply once more, or for its time-out alone. */
    void await() { m_timer.start(); }
    bool isWaiting() const { return m_timer.isActive(); }

    /** Enter F/W Update Mode. A link that refuses it stays open: the sender's timer repeats it. */
    bool sendUpdateMode(quint8 chipType, quint8 chipIndex);
    /** Sends bytes unchanged over the active link; false when it refuses. */
    bool transmit(const QByteArray &frame);
    /** Sends over the serial link; after it the device may send its NET image. */
    bool sendStatus(quint16 word, quint8 status);
    /** The next bytes of the device are lines of text. */
    void expectText();

    /** Forgets the command in flight. */
    void forget();
    /** Discards a partly received frame. */
    void dropPartialFrame() { m_assembler.reset(); }
    void receive(const QByteArray &chunk);

public slots:
    void onTimeOut();

signals:
    void replied(CommandResult result, const protocol::Reply &reply);
    /** The reply to Enter F/W Update Mode. */
    void updateModeReplied(const protocol::Reply &reply);
    /** An extended frame that is not a reply. */
    void deviceSent(const protocol::Reply &frame);
    void textReceived(const QString &line);

private:
    enum class Expect { Nothing, Binary, Text, Extended };

    void expect(Expect what);
    void takeBytes(const QByteArray &chunk);
    void takeFrame(const QByteArray &frame);
    void takeText(const QByteArray &chunk);

    DeviceLinks &m_links;
    RunGuard &m_guard;
    const LateAnswer m_isLate;
    const int m_textLimit;
    protocol::FrameAssembler m_assembler;
    QTimer m_timer;
    Expect m_expect = Expect::Nothing;
    QString m_text;
    std::optional<quint16> m_pending;
};

} // namespace engine
