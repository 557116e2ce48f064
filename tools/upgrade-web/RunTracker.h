// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/ProgressEvents.h"
#include "client/RunConversation.h"

#include <QDateTime>
#include <QJsonArray>
#include <QJsonObject>
#include <QMap>

#include <memory>
#include <optional>

namespace web {

/** Which agent, and how long a reply may take. */
struct AgentAddress
{
    QString host;
    quint16 port = 0;
    std::chrono::milliseconds timeOut{0};
};

/** A run that a viewer asks for. */
struct RunWish
{
    int mode = 2;
    /** NAME,CHIP-TYPE,CHIP-INDEX each; all chips of the package when empty. */
    QStringList rows;
};

/** Sizes of the images in bytes, by chip type, if the package is the one that the agent lists. */
using SizesOf = std::function<QMap<int, qint64>(const package::PackageDescription &listed)>;

/**
 * The active run, or the last one, and the conversation about it. It outlives its viewers; what
 * they see is in json() and in the events.
 */
class RunTracker : public QObject
{
    Q_OBJECT

public:
    enum class State { None, Preparing, Running, Restarting, Ended };

    RunTracker(const AgentAddress &agent, SizesOf sizesOf, QObject *parent = nullptr);

    bool isActive() const { return m_conversation != nullptr; }
    int id() const { return m_id; }
    QString stateName() const;
    /** Starts a run; there must not be an active one. */
    void start(const RunWish &wish);
    /** Follows the run that another client started. */
    void attach();
    /** The document of GET /api/run, without the id of the newest event. */
    QJsonObject json() const;
    /** Every line of the run with its time, as events. */
    const QJsonArray &transcript() const { return m_transcript; }

signals:
    /** An event for the viewers. */
    void event(const QJsonObject &event);
    /** The run has ended, or was not started; json() has its result. A run that was to be joined
     *  and had ended already has no result, and json() has the run before it. */
    void ended(bool hasResult);

private:
    void open();
    void reset(bool isForeign, std::optional<int> mode);
    void onListed(const package::PackageDescription &package);
    void onBegun();
    void onLine(const QString &line);
    void onChanged();
    void onNotStarted(ProblemId cause, const QString &detail);
    void onEnded(CommandOutcome result);
    void takePicture();
    void close(const CommandOutcome &result);
    QJsonObject identity() const;

    const AgentAddress m_agent;
    const SizesOf m_sizesOf;
    std::unique_ptr<client::RunConversation> m_conversation;
    client::ProgressEvents m_events;
    RunWish m_wish;
    /** It is not known yet whether there is a run to follow. */
    bool m_isJoining = false;

    // The run as viewers see it.
    int m_id = 0;
    State m_state = State::None;
    bool m_isForeign = false;
    std::optional<int> m_mode;
    QJsonValue m_package = QJsonValue::Null;
    QDateTime m_started;
    QJsonObject m_progress;
    QJsonArray m_chips;
    QJsonArray m_transcript;
    QJsonValue m_document = QJsonValue::Null;
};

/** The explanation of a log line, for people: what to do about it. Empty where there is none. */
QString explanationOf(const QString &line);

} // namespace web
