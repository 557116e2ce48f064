// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/NetBlocks.h"
#include "client/WaitBack.h"
#include "upgrade-console/Command.h"
#include "upgrade-console/ProgressDisplay.h"

#include <memory>

/**
 * Sends the network module its own new firmware, block by block, one in flight at a time, and
 * follows the installation. A fragment does not select the client that gets the answers, so a
 * request is sent first, and none while a block is in flight: the two could arrive as one.
 */
class SendNetCommand : public Command
{
    Q_OBJECT

public:
    explicit SendNetCommand(const Options &options);

    bool prepare(CommandOutcome &result) override;
    void interrupt() override;

protected:
    void onConnected() override;
    void onReply(const client::AgentReply &reply) override;
    void onLost(ProblemId cause, const QString &detail) override;
    void onDeadline() override;

private:
    enum class Stage { Asking, Entering, Sending, Installing, WaitingBack };

    void onAsked(const client::AgentReply &reply);
    void onStatus(const client::AgentReply &reply);
    void onInstalling(const client::AgentReply &reply);
    void onLastBlockStatus(const client::AgentReply &reply);
    void sendFrame(const QByteArray &frame);
    void sendNextBlock();
    void onRefused(ProblemId cause);
    void onUnanswered();
    void repeatFrame();
    void sendLastBlock();
    void endInstall();
    void loseContact(ProblemId cause, const QString &detail);
    void showProgress();
    void writeProgress(bool isSending);
    CommandOutcome resultWith(ProblemId cause, const QString &summary);

    Stage m_stage = Stage::Asking;
    std::unique_ptr<client::NetBlocks> m_blocks;
    ProgressDisplay m_display;
    client::WaitBack m_waitBack;
    QTimer m_answer;
    QTimer m_install;
    QByteArray m_frame;
    /** The attempts of the frame in flight. */
    int m_attempts = 0;
    int m_retries = 0;
    double m_percent = 0.0;
    int m_percentWritten = -1;
    std::chrono::milliseconds m_begun{0};
    /** The module has said something about its installation. */
    bool m_installBegun = false;
    QString m_version;
    ProblemId m_soft = ProblemId::None;
};
