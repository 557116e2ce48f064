// SPDX-License-Identifier: Apache-2.0
// The replies of Service that only read its state, and the login.
#include "client/PackageListing.h"
#include "client/UpgradeRows.h"
#include "edid-report/DumpReader.h"
#include "edid-report/ReportPrinter.h"
#include "planning/UpgradeMode.h"
#include "upgrade-web/PageAdvice.h"
#include "upgrade-web/Password.h"
#include "upgrade-web/Service.h"

#include <QJsonDocument>

namespace web {

namespace upgradeMode = planning::upgradeMode;
using client::McuState;
using client::TimeEstimate;
using client::UpgradeModel;
using client::UpgradeRows;
using client::WantedMcu;

namespace {

/** Longer than any password that people remember, in bytes. */
constexpr int longestPassword = 1024;
constexpr int mostRows = 256;

double secondsOf(std::chrono::milliseconds time)
{
    return std::chrono::duration<double>(time).count();
}

/** The JSON object of a body; none when it is not one. */
std::optional<QJsonObject> objectOf(const QByteArray &body)
{
    const QJsonDocument document = QJsonDocument::fromJson(body);
    return document.isObject() ? std::optional<QJsonObject>(document.object()) : std::nullopt;
}

std::optional<int> modeOf(const QJsonValue &value)
{
    const int mode = value.toInt(value.isUndefined() ? upgradeMode::newerOnly : -1);
    const bool isMode = mode == upgradeMode::newerOnly || mode == upgradeMode::forced;
    return isMode ? std::optional<int>(mode) : std::nullopt;
}

/** The rows of a package for a mode, with the sizes of their images. */
UpgradeRows wantedRows(const PackageFacts &package, const QStringList &rows, int mode)
{
    UpgradeRows wanted = rows.isEmpty() ? client::packageRows(package.description)
                                        : client::chosenRows(rows, package.description);
    for (WantedMcu &mcu : wanted.mcus) {
        mcu.isForced = mode == upgradeMode::forced;
        mcu.imageSize = package.sizes.value(mcu.chipType, -1);
    }
    return wanted;
}

Response usage(const Route &route, const QString &detail)
{
    return refusal(QString::fromLatin1(route.name), ProblemId::Usage, detail);
}

QByteArray bodyOf(const QString &command, const CommandOutcome &outcome)
{
    return documentBytes(withPageAdvice(resultDocument(command, outcome)), OutputForm::Json);
}

} // namespace

int httpStatus(const CommandOutcome &outcome)
{
    static const QMap<ProblemId, int> byProblem{
        {ProblemId::LoginNeeded, 401},    {ProblemId::LoginFailed, 401},
        {ProblemId::LoginLocked, 429},    {ProblemId::RequestRefused, 403},
        {ProblemId::NotFound, 404},       {ProblemId::MethodRefused, 405},
        {ProblemId::UploadTooLarge, 413}, {ProblemId::NoSpace, 507},
        {ProblemId::NotAnEdid, 422},      {ProblemId::TooManyViewers, 503},
    };
    static const QMap<ExitCode, int> byExit{
        {ExitCode::Done, 200},           {ExitCode::NothingToDo, 200},
        {ExitCode::Usage, 400},          {ExitCode::DeviceBusy, 409},
        {ExitCode::NoRun, 409},          {ExitCode::CannotConnect, 502},
        {ExitCode::ConnectionLost, 502}, {ExitCode::PackageRefused, 422},
        {ExitCode::NotTrusted, 422},
    };
    const int ofProblem = outcome.problem ? byProblem.value(outcome.problem->id, 0) : 0;
    return ofProblem != 0 ? ofProblem : byExit.value(outcome.exit, 500);
}

Response pageRefusal(ProblemId problem)
{
    const auto &row = problemRow(problem);
    return {httpStatus(CommandOutcome::failed(problem, {})),
            "text/plain; charset=utf-8",
            {},
            QByteArrayLiteral("Error: ") + row.text + ".\n" + pageAdvice(problem).toUtf8() + '\n'};
}

Response refusal(const QString &command, ProblemId problem, const QString &detail)
{
    const CommandOutcome outcome = CommandOutcome::failed(problem, detail);
    return {httpStatus(outcome), "application/json", {}, bodyOf(command, outcome)};
}

Response Service::document(const Route &route, const CommandOutcome &outcome) const
{
    return {httpStatus(outcome),
            "application/json",
            {},
            bodyOf(QString::fromLatin1(route.name), outcome)};
}

Response Service::sessionDocument(const Route &route, const Gate::Access &access) const
{
    CommandOutcome outcome;
    outcome.json = {{"password_needed", m_settings.gate.hasPassword},
                    {"logged_in", access.isGranted},
                    {"csrf_token", QString::fromLatin1(access.csrfToken)},
                    {"version", QStringLiteral(PROJECT_VERSION)}};
    return document(route, outcome);
}

Reply Service::logIn(const Request &request, const Route &route)
{
    const QString address = m_gate.addressOf(request);
    const auto locked = m_gate.limit().lockedFor(address, now());
    if (locked.count() > 0) {
        Response response = refusal(QString::fromLatin1(route.name), ProblemId::LoginLocked);
        response.headers.append(
            {"Retry-After",
             QByteArray::number(qint64(std::chrono::ceil<std::chrono::seconds>(locked).count()))});
        return response;
    }
    const auto body = objectOf(request.body);
    const QByteArray password = body ? (*body)["password"].toString().toUtf8() : QByteArray();
    if (!body || password.size() > longestPassword)
        return usage(route, QStringLiteral("an object with the member password is needed"));
    if (!m_settings.gate.hasPassword)
        return sessionDocument(route, m_gate.accessOf(request, now()));
    // Counted before the check, so that attempts at the same time count, too.
    m_gate.limit().addFailure(address, now());
    return Work([this, hash = m_settings.passwordHash, password, address, route] {
        return Finish([this, isRight = isPassword(hash, password), address, route] {
            return loginDocument(route, address, isRight);
        });
    });
}

Response Service::loginDocument(const Route &route, const QString &address, bool isRight)
{
    if (!isRight)
        return refusal(QString::fromLatin1(route.name), ProblemId::LoginFailed);
    m_gate.limit().clear(address);
    Gate::Access access;
    const QByteArray cookie = m_gate.logIn(now(), access);
    Response response = sessionDocument(route, access);
    response.headers.append({"Set-Cookie", cookie});
    return response;
}

Response Service::logOut(const Request &request, const Route &route)
{
    const QByteArray cookie = m_gate.logOut(request);
    Response response = sessionDocument(route, {});
    response.headers.append({"Set-Cookie", cookie});
    return response;
}

/** The signature and the keys are small files that may change while the package does not. */
CommandOutcome Service::packageOutcome() const
{
    CommandOutcome outcome = m_package.outcome;
    if (m_package.isPresent)
        addSignature(outcome, SignatureReport({m_settings.package, m_settings.keys}),
                     m_package.checksum);
    return outcome;
}

Response Service::packageDocument(const Route &route) const
{
    CommandOutcome outcome = packageOutcome();
    outcome.json["upload_limit"] = m_settings.uploadLimit;
    outcome.json["free"] = freeBeside(m_settings.package);
    Response response = document(route, outcome);
    // The question was answered, whatever the package is.
    response.status = 200;
    return response;
}

Response Service::plan(const Request &request, const Route &route) const
{
    const QByteArray modeText = fieldOf(request.query, "mode");
    const auto mode = modeOf(modeText.isEmpty() ? QJsonValue(QJsonValue::Undefined)
                                                : QJsonValue(modeText.toInt()));
    if (!mode)
        return usage(route, QStringLiteral("mode must be 2 or 5"));
    if (!m_package.isPresent)
        return refusal(QString::fromLatin1(route.name), ProblemId::PackageMissing);
    if (const auto problem = packageOutcome().problem)
        return document(route, CommandOutcome::failed(*problem));
    QStringList chosen;
    const QVector<QByteArray> given = fieldsOf(request.query, "row");
    for (const QByteArray &row : given)
        chosen += QString::fromUtf8(row);
    const UpgradeRows rows = wantedRows(m_package, chosen, *mode);
    if (!rows.error.isEmpty())
        return refusal(QString::fromLatin1(route.name), rows.cause, rows.error);
    const UpgradeModel model(rows.mcus);
    const TimeEstimate estimate;
    QJsonArray chips;
    for (int row = 0; row < model.mcus().size(); ++row) {
        const McuState &mcu = model.mcus().at(row);
        QJsonObject chip{
            {"row", row},
            {"name", mcu.name},
            {"label", mcu.label},
            {"chip_type", mcu.chipType},
            {"chip_index", mcu.chipIndex},
            {"new_version", mcu.newVersion},
            {"seconds", secondsOf(estimate.ofImage(mcu).time)},
            {"request",
             QStringLiteral("%1,%2,%3").arg(mcu.name).arg(mcu.chipType).arg(mcu.chipIndex)}};
        if (mcu.imageSize >= 0)
            chip["image_size"] = mcu.imageSize;
        chips.append(chip);
    }
    const client::TimeLeft total = estimate.ofRun(model, {});
    CommandOutcome outcome;
    outcome.json = {{"mode", *mode},
                    {"package", client::packageJson(m_package.description)},
                    {"chips", chips},
                    {"seconds", secondsOf(total.time)},
                    {"seconds_is_whole", total.isWhole}};
    return document(route, outcome);
}

Response Service::startRun(const Request &request, const Route &route)
{
    const auto body = objectOf(request.body);
    const auto mode = body ? modeOf((*body)["mode"]) : std::nullopt;
    if (!mode)
        return usage(route, QStringLiteral("an object with the member mode is needed, 2 or 5"));
    RunWish wish{*mode, {}};
    const QJsonArray rows = (*body)["rows"].toArray();
    for (const QJsonValue row : rows) {
        const QString problem = client::rowProblem(row.toString());
        if (!problem.isEmpty() || wish.rows.size() == mostRows)
            return usage(route, problem.isEmpty() ? QStringLiteral("too many rows") : problem);
        wish.rows += row.toString();
    }
    const bool hasRows = (*body).contains("rows");
    if (hasRows && wish.rows.isEmpty())
        return usage(route, QStringLiteral("rows is empty"));
    if (wish.mode == upgradeMode::forced && !(*body)["confirmed"].toBool())
        return refusal(QString::fromLatin1(route.name), ProblemId::NotConfirmed);
    if (m_run.isActive() || m_isUploading)
        return refusal(QString::fromLatin1(route.name), ProblemId::Busy);
    // The questions for the status would redirect the lines of the run.
    m_query.reset();
    m_run.start(wish);
    // Other viewers see that a run is prepared.
    addStatus();
    CommandOutcome outcome;
    outcome.json = {{"id", m_run.id()}};
    Response response = document(route, outcome);
    response.status = 202;
    return response;
}

Response Service::edid(const Request &request, const Route &route) const
{
    const DumpReading reading = readDump(request.body);
    if (!reading.error.isEmpty())
        return refusal(QString::fromLatin1(route.name), ProblemId::NotAnEdid, reading.error);
    CommandOutcome outcome;
    outcome.json = reportJson(reportDump(reading.bytes));
    if (reading.extensionMissing)
        outcome.warnings = {{QStringLiteral("extension-missing"),
                             QStringLiteral("the extension block is missing and read as zeros"),
                             {}}};
    return document(route, outcome);
}

Response Service::report(const Request &request, const Route &route) const
{
    const QByteArray form = fieldOf(request.query, "form");
    if (form != "text" && form != "json")
        return usage(route, QStringLiteral("form must be text or json"));
    QJsonObject run = runJson();
    run.remove(QStringLiteral("messages"));
    CommandOutcome outcome;
    outcome.json = {
        {"made", QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs)},
        {"server_version", QStringLiteral(PROJECT_VERSION)},
        {"status", statusJson()},
        {"package", packageOutcome().json},
        {"run", run},
        {"transcript", m_run.transcript()},
    };
    Response response = document(route, outcome);
    const QByteArray stem = "upgrade-report-" + QByteArray::number(m_run.id());
    if (form == "text") {
        response.body = reportText(withPageAdvice(outcome.json));
        response.type = "text/plain; charset=utf-8";
    }
    response.headers.append({"Content-Disposition", "attachment; filename=\"" + stem +
                                                        (form == "text" ? ".txt\"" : ".json\"")});
    return response;
}

Response Service::metrics(const Request &request) const
{
    Metrics metrics = m_metrics;
    metrics.isReachable = statusJson()["reachable"].toBool();
    metrics.model = m_package.description.model;
    metrics.release = m_package.description.version;
    const bool isOpen = request.header("Accept").contains("application/openmetrics-text");
    return {200,
            isOpen ? "application/openmetrics-text; version=1.0.0; charset=utf-8"
                   : "text/plain; version=0.0.4; charset=utf-8",
            {},
            metricsText(metrics, isOpen ? MetricsForm::Open : MetricsForm::Prometheus)};
}

} // namespace web
