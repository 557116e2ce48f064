// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/AgentConnection.h"
#include "client/AnswerWatch.h"
#include "client/RunPicture.h"
#include "client/WaitBack.h"
#include "common/CommandOutcome.h"
#include "package/PackageDescription.h"

#include <QStringList>

namespace client {

/** A run as it is requested from an agent. */
struct RunRequest
{
    /** The request, without the end of its line. */
    QByteArray line;
    /** 2: only newer images; 5: every image. */
    int mode = 2;
    /** The chips that the run is expected to have, and how long they take. */
    UpgradeModel model;
    TimeEstimate estimate;
};

/** The request line for these rows (UpgradeRows::rows). */
QByteArray upgradeRequest(const QStringList &rows);

/**
 * The conversation with an agent about one run, from the first question to the result, over one
 * connection: the agent sends the lines of a run to the client with the last request.
 *
 * Call prepare(), and start() after listed(), or call attach() to follow a run that another client
 * started. Each conversation ends with one of the signals notStarted() and ended(), or with
 * close(), and every wait in it has a limit. For a next run make a next object; in a handler of a
 * signal, delete it with deleteLater(). It lives in the thread of an event loop.
 */
class RunConversation : public QObject
{
    Q_OBJECT

public:
    using ms = std::chrono::milliseconds;

    struct Peer
    {
        /** A name or an address. */
        QString host;
        quint16 port = 0;
        /** The longest wait for a reply. */
        ms timeOut{0};
        /** After a connection that is lost while the device reboots, wait for the agent. */
        bool waitsBack = false;
    };

    explicit RunConversation(const Peer &peer, QObject *parent = nullptr);

    /** Asks whether the device is busy, and for the package. */
    void prepare();
    /** Sets the mode and requests the run. */
    void start(const RunRequest &request);
    /** Follows the run that is active. Lines that were sent before are not sent again. */
    void attach();
    /** The user ends the conversation; the agent finishes the run. */
    void interrupt();
    /** Ends the conversation without a signal. */
    void close();

    /** Valid until the next call or event. */
    RunPicture picture() const;
    const UpgradeModel &model() const { return m_model; }
    /** Time since the request, or since the run was joined. */
    ms followed() const { return now() - m_startedAt; }

signals:
    /** The package of the module, after prepare(), or during a run that was joined. */
    void listed(const package::PackageDescription &package);
    /** The request for the run is sent next, or the run was joined. */
    void begun();
    /** A line of the run's log, as the agent sent it; the model has it already. */
    void lineReceived(const QString &line);
    /** There may be something new to show: after each reply of the run, and twice a second. */
    void changed();
    /** The connection ended with the reboot of the device; the agent is waited for. */
    void moduleRestarts();
    /** No run was followed, and nothing was sent to the device. */
    void notStarted(ProblemId cause, const QString &detail);
    /** The run's result as the document of a command, see runDocument(). */
    void ended(const CommandOutcome &result);

private:
    enum class Stage { Asking, Listing, Ready, SettingMode, Running, WaitingBack, Over };

    ms now() const { return ms(m_clock.elapsed()); }
    void connectToAgent();
    void askWhetherBusy();
    void await();
    void onReply(const AgentReply &reply);
    void onAsked(const AgentReply &reply);
    void onListed(const AgentReply &reply);
    void onModeSet(const AgentReply &reply);
    void onRunning(const AgentReply &reply);
    void onPackage(const QString &text);
    bool refuses(const AgentReply &reply);
    void follow();
    void join();
    void onQuiet();
    void onQuietAnswered(const AgentReply &reply);
    void onLost(ProblemId cause, const QString &detail);
    void onBack(const QString &version);
    void loseContact(ProblemId cause, const QString &detail);
    void end(const CommandOutcome &result);
    void refuse(ProblemId cause, const QString &detail = {});

    const Peer m_peer;
    AgentConnection m_agent;
    WaitBack m_waitBack;
    QElapsedTimer m_clock;
    Stage m_stage = Stage::Asking;
    bool m_isJoining = false;
    RunRequest m_request;
    UpgradeModel m_model;
    TimeEstimate m_estimate;
    AnswerWatch m_answers;
    ms m_startedAt{0};
    ProblemId m_listProblem = ProblemId::None;
    /** A reply before the run is late. */
    QTimer m_deadline;
    QTimer m_redraw;
    /** The agent answers, but sends nothing about the run. */
    QTimer m_quiet;
    bool m_isAskingAgain = false;
    bool m_isBusySeen = false;
    /** The run is known to be active. */
    bool m_hasSeenRun = false;
};

} // namespace client
