// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Service.h"

#include "client/PackageListing.h"
#include "upgrade-web/Page.h"
#include "upgrade-web/Password.h"

namespace web {

using client::AgentStatus;
using client::StatusQuery;

namespace {

using namespace std::chrono_literals;

/** Each question redirects the lines of a run that another client started. */
constexpr std::chrono::milliseconds betweenQuestions = 15s;

/** Of an upload, in bytes: 0 without a signature, none when it cannot be one. */
std::optional<qint64> signatureSizeOf(const Request &head)
{
    if (fieldsOf(head.query, "signature").isEmpty())
        return 0;
    bool isNumber = false;
    const qint64 size = fieldOf(head.query, "signature").toLongLong(&isNumber);
    if (!isNumber || size < 1 || size > signing::signatureFileLimit)
        return std::nullopt;
    return size;
}

QJsonObject unknownStatus(const AgentAddress &agent)
{
    return {{"host", agent.host},
            {"port", agent.port},
            {"reachable", QJsonValue::Null},
            {"agent_version", QString()},
            {"busy", false},
            {"problem", QJsonValue::Null},
            {"package", QJsonValue::Null},
            {"package_problem", QJsonValue::Null},
            {"checked", QJsonValue::Null}};
}

} // namespace

Service::Service(const ServiceSettings &settings, QObject *parent)
    : QObject(parent),
      m_settings(settings),
      m_gate(settings.gate, randomSecret),
      m_events(randomSecret().left(8)),
      m_run(settings.agent,
            [this](const package::PackageDescription &listed) {
                const bool isSame = m_package.description.model == listed.model &&
                                    m_package.description.version == listed.version;
                return isSame ? m_package.sizes : QMap<int, qint64>();
            }),
      m_history(settings.history),
      m_status(unknownStatus(settings.agent))
{
    m_clock.start();
    m_askAgain.setInterval(betweenQuestions);
    connect(&m_askAgain, &QTimer::timeout, this, [this] {
        if (m_viewers > 0)
            ask();
    });
    connect(&m_run, &RunTracker::event, this, &Service::add);
    connect(&m_run, &RunTracker::ended, this, &Service::onRunEnded);
}

void Service::start()
{
    m_askAgain.start();
    ask();
}

void Service::add(const QJsonObject &event)
{
    m_events.append(event);
    emit eventAdded();
}

void Service::addStatus()
{
    add({{"event", "status"}, {"status", statusJson()}});
}

void Service::setViewers(int count)
{
    const bool isFirst = m_viewers == 0 && count > 0;
    m_viewers = count;
    if (isFirst && now() - m_askedAt >= betweenQuestions)
        ask();
}

/** While a run is followed, its conversation is the only one. */
void Service::ask()
{
    if (m_query || m_run.isActive())
        return;
    m_askedAt = now();
    m_query = std::make_unique<StatusQuery>(m_settings.agent.host, m_settings.agent.port,
                                            m_settings.agent.timeOut);
    connect(m_query.get(), &StatusQuery::answered, this, &Service::onStatus);
    connect(m_query.get(), &StatusQuery::failed, this, &Service::onStatusFailed);
    m_query->start();
}

void Service::onStatus(const AgentStatus &status)
{
    m_query.release()->deleteLater();
    QJsonObject next = client::statusJson(status);
    next["host"] = m_settings.agent.host;
    next["port"] = m_settings.agent.port;
    next["reachable"] = true;
    next["problem"] = QJsonValue::Null;
    next["checked"] = m_status["checked"];
    const bool isNews = next != m_status;
    m_status = next;
    m_status["checked"] = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    const bool isForeign = status.isBusy && !m_run.isActive();
    if (isForeign)
        m_run.attach();
    if (isNews || isForeign)
        addStatus();
}

void Service::onStatusFailed(ProblemId cause, const QString &detail)
{
    m_query.release()->deleteLater();
    QJsonObject next = unknownStatus(m_settings.agent);
    next["reachable"] = false;
    next["problem"] = problemJson(Problem{cause, detail});
    next["checked"] = m_status["checked"];
    if (next == m_status)
        return;
    m_status = next;
    addStatus();
}

void Service::onRunEnded(bool hasResult)
{
    if (hasResult) {
        const QJsonObject run = runJson();
        const QJsonObject document = run["document"].toObject();
        const QString result = document["result"].toString();
        ++m_metrics.runs[result];
        if (document.contains("seconds")) {
            m_metrics.seconds = document["seconds"].toDouble();
            m_metrics.bytes = bytesWritten(run);
        }
        if (!m_history.add(historyEntry(run)))
            qWarning("%s: the history cannot be written", qUtf8Printable(m_settings.history));
        add({{"event", "result"}, {"run", run}});
    }
    addStatus();
    // The run may have replaced the agent, and the device has restarted.
    ask();
}

QJsonObject Service::statusJson() const
{
    QJsonObject status = m_status;
    if (m_run.isActive()) {
        status["reachable"] = m_run.stateName() != QLatin1String("restarting");
        status["busy"] = true;
    }
    status["run"] = QJsonObject{{"id", m_run.id()}, {"state", m_run.stateName()}};
    return status;
}

QJsonObject Service::runJson() const
{
    QJsonObject run = m_run.json();
    run["last_event"] = QString::fromLatin1(m_events.idOf(m_events.newest()));
    return run;
}

QByteArray Service::snapshotFrame() const
{
    return eventFrame(m_events.idOf(m_events.newest()),
                      {{"event", "snapshot"}, {"status", statusJson()}, {"run", runJson()}});
}

bool Service::mayWatch(const Request &request)
{
    return m_gate.accessOf(request, now()).isGranted;
}

Service::Admission Service::admit(const Request &head)
{
    const RouteResult found = routeOf(head.method, head.path);
    // Before anything else: a foreign page learns nothing of the server.
    const Route *route = found.route;
    static constexpr Route unknown{Resource::Session, "GET", "", "", false};
    const ProblemId problem = m_gate.check(head, route ? *route : unknown, now());
    const QString command = route ? QString::fromLatin1(route->name) : QString();
    if (problem != ProblemId::None && route && route->resource == Resource::Page)
        return {route, pageRefusal(problem), {}};
    if (problem != ProblemId::None)
        return {route, refusal(command, problem), {}};
    if (!route)
        return {nullptr, refusal({}, found.problem), {}};
    if (route->resource == Resource::Upload)
        return admitUpload(head, *route);
    bool isNumber = true;
    const QByteArray length = head.header("Content-Length");
    const qint64 size = length.isEmpty() ? 0 : length.toLongLong(&isNumber);
    if (!isNumber || size > route->bodyLimit)
        return {route, refusal(command, ProblemId::UploadTooLarge), {}};
    return {route, std::nullopt, {}};
}

Service::Admission Service::admitUpload(const Request &head, const Route &route)
{
    const QString command = QString::fromLatin1(route.name);
    const auto refused = [&](ProblemId problem, const QString &detail = {}) {
        return Admission{&route, refusal(command, problem, detail), {}};
    };
    if (m_run.isActive() || m_status["busy"].toBool())
        return refused(ProblemId::Busy);
    if (m_isUploading)
        return refused(ProblemId::Busy, QStringLiteral("another upload is written"));
    bool isNumber = false;
    const qint64 size = head.header("Content-Length").toLongLong(&isNumber);
    if (!isNumber || size < 0)
        return refused(ProblemId::Usage, QStringLiteral("Content-Length is missing"));
    const auto signatureSize = signatureSizeOf(head);
    if (!signatureSize || *signatureSize > size)
        return refused(ProblemId::Usage,
                       QStringLiteral("signature must be the size of the signature file"));
    if (size - *signatureSize > m_settings.uploadLimit)
        return refused(ProblemId::UploadTooLarge,
                       QStringLiteral("at most %1 bytes").arg(m_settings.uploadLimit));
    auto upload = std::make_shared<PackageUpload>(
        SignatureFiles{m_settings.package, m_settings.keys}, size, *signatureSize);
    const ProblemId problem = upload->open();
    if (problem != ProblemId::None)
        return refused(problem, m_settings.package);
    m_isUploading = true;
    return {&route, std::nullopt, upload};
}

Reply Service::handle(const Request &request, const Route &route)
{
    const auto ofOutcome = [&](const QJsonObject &json) {
        CommandOutcome outcome;
        outcome.json = json;
        return document(route, outcome);
    };
    switch (route.resource) {
    case Resource::Session:
        return sessionDocument(route, m_gate.accessOf(request, now()));
    case Resource::Login:
        return logIn(request, route);
    case Resource::Logout:
        return logOut(request, route);
    case Resource::Status:
        if (now() - m_askedAt >= betweenQuestions)
            ask();
        return ofOutcome(statusJson());
    case Resource::Package:
        return withPackage([this, route] { return packageDocument(route); });
    case Resource::Plan:
        return withPackage([this, request, route] { return plan(request, route); });
    case Resource::StartRun:
        // For the sizes of its images.
        return withPackage([this, request, route] { return startRun(request, route); });
    case Resource::Run:
        return ofOutcome(runJson());
    case Resource::Events:
        return StreamStart{m_events.numberOf(request.header("Last-Event-ID"))};
    case Resource::History:
        return ofOutcome({{"runs", m_history.runs()}});
    case Resource::Report:
        return withPackage([this, request, route] { return report(request, route); });
    case Resource::Edid:
        return edid(request, route);
    case Resource::Metrics:
        return withPackage([this, request] { return metrics(request); });
    case Resource::Page:
        return pageResponse(request);
    case Resource::Upload:
        break; // finishUpload()
    }
    return refusal({}, ProblemId::NotFound);
}

/** Reads the package first, in another thread, if it has changed since it was read last. */
Reply Service::withPackage(std::function<Response()> reply)
{
    const auto stamp = stampOf(m_settings.package);
    const bool isKnown = stamp ? m_package.isPresent && m_package.stamp == *stamp
                               : !m_package.isPresent && m_package.outcome.json.contains("present");
    if (isKnown)
        return reply();
    return Work([this, path = m_settings.package, reply = std::move(reply)] {
        return Finish([this, facts = readPackage(path), reply] {
            m_package = facts;
            return reply();
        });
    });
}

Reply Service::finishUpload(const std::shared_ptr<PackageUpload> &upload)
{
    return Work([this, upload] {
        return Finish([this, outcome = upload->finish()] { return uploadDocument(outcome); });
    });
}

Response Service::uploadDocument(CommandOutcome outcome)
{
    static constexpr Route route{Resource::Upload, "POST", "", "package"};
    m_isUploading = false;
    if (outcome.problem)
        return document(route, outcome);
    add({{"event", "package"}});
    ask();
    outcome.json["present"] = true;
    outcome.json["upload_limit"] = m_settings.uploadLimit;
    outcome.json["free"] = freeBeside(m_settings.package);
    return document(route, outcome);
}

} // namespace web
