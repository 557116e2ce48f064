// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "client/StatusQuery.h"
#include "upgrade-web/EventLog.h"
#include "upgrade-web/Gate.h"
#include "upgrade-web/History.h"
#include "upgrade-web/PackageFacts.h"
#include "upgrade-web/RunTracker.h"

#include <QElapsedTimer>
#include <QTimer>

#include <functional>
#include <variant>

namespace web {

struct ServiceSettings
{
    AgentAddress agent;
    /** The package on the module. */
    QString package;
    /** The folder of the keys whose packages the agent takes. */
    QString keys;
    QString history;
    /** The largest package, in bytes. */
    qint64 uploadLimit = 0;
    GateSettings gate;
    QByteArray passwordHash;
};

/** The rest of a reply, in the thread of the service. */
using Finish = std::function<Response()>;

/** A part of a reply that takes long and uses nothing of the service, for another thread. */
using Work = std::function<Finish()>;

/** A stream of events. */
struct StreamStart
{
    /** The number of the last event that the viewer has; none for a snapshot. */
    std::optional<qint64> after;
};

using Reply = std::variant<Response, Work, StreamStart>;

/**
 * The server without its sockets: the only owner of all state. Requests come in and replies go out
 * as values; everything happens in the thread of one event loop.
 */
class Service : public QObject
{
    Q_OBJECT

public:
    explicit Service(const ServiceSettings &settings, QObject *parent = nullptr);

    /** A request whose headers have arrived: its route, or the reply that refuses it. */
    struct Admission
    {
        const Route *route = nullptr;
        std::optional<Response> refusal;
        /** Only for an upload: where its body goes. */
        std::shared_ptr<PackageUpload> upload;
    };
    Admission admit(const Request &head);
    /** The whole request. */
    Reply handle(const Request &request, const Route &route);
    /** An upload whose body has arrived. */
    Reply finishUpload(const std::shared_ptr<PackageUpload> &upload);
    /** The connection of an upload has ended before its body. */
    void abandonUpload() { m_isUploading = false; }

    const EventLog &events() const { return m_events; }
    /** The state at this moment, as the first event of a stream. */
    QByteArray snapshotFrame() const;
    /** Whether the viewer of this request may go on watching. */
    bool mayWatch(const Request &request);
    /** The number of streams; while there are any, the agent is asked for its status. */
    void setViewers(int count);
    void start();
    void setPort(quint16 port) { m_gate.setPort(port); }

signals:
    /** There is a new event in the log. */
    void eventAdded();

private:
    std::chrono::milliseconds now() const { return std::chrono::milliseconds(m_clock.elapsed()); }
    Response document(const Route &route, const CommandOutcome &outcome) const;
    Response sessionDocument(const Route &route, const Gate::Access &access) const;
    Reply logIn(const Request &request, const Route &route);
    Response loginDocument(const Route &route, const QString &address, bool isRight);
    Response uploadDocument(CommandOutcome outcome);
    Response logOut(const Request &request, const Route &route);
    Reply withPackage(std::function<Response()> reply);
    CommandOutcome packageOutcome() const;
    Response packageDocument(const Route &route) const;
    Response plan(const Request &request, const Route &route) const;
    Response startRun(const Request &request, const Route &route);
    Response edid(const Request &request, const Route &route) const;
    Response report(const Request &request, const Route &route) const;
    Response metrics(const Request &request) const;
    Admission admitUpload(const Request &head, const Route &route);

    QJsonObject statusJson() const;
    QJsonObject runJson() const;
    void ask();
    void onStatus(const client::AgentStatus &status);
    void onStatusFailed(ProblemId cause, const QString &detail);
    void onRunEnded(bool hasResult);
    void add(const QJsonObject &event);
    void addStatus();

    const ServiceSettings m_settings;
    QElapsedTimer m_clock;
    Gate m_gate;
    EventLog m_events;
    RunTracker m_run;
    History m_history;
    Metrics m_metrics;
    PackageFacts m_package;
    std::unique_ptr<client::StatusQuery> m_query;
    QTimer m_askAgain;
    std::chrono::milliseconds m_askedAt{0};
    QJsonObject m_status;
    int m_viewers = 0;
    bool m_isUploading = false;
};

/** The HTTP status of a document (RFC 9110). */
int httpStatus(const CommandOutcome &outcome);

/** A refusal for a person who opens the page, as text. */
Response pageRefusal(ProblemId problem);

/** A refusal as a document; `command` is null when the resource is not known. */
Response refusal(const QString &command, ProblemId problem, const QString &detail = {});

} // namespace web
