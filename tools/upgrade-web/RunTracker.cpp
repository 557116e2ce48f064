// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/RunTracker.h"

#include "client/Messages.h"
#include "client/PackageListing.h"
#include "client/RunDocument.h"
#include "client/UpgradeOutcome.h"
#include "client/UpgradeRows.h"
#include "planning/UpgradeMode.h"
#include "upgrade-web/PageAdvice.h"

#include <utility>

namespace web {

using client::McuState;
using client::RunConversation;
using client::RunPicture;
using client::RunRequest;
using client::TimeEstimate;
using client::UpgradeModel;
using client::UpgradeRows;
using client::WantedMcu;

namespace {

/** Of a transcript; a run of 60 chips with every retry has fewer. */
constexpr int mostLines = 5000;
/** Of the document of a run. */
constexpr int mostMessages = 500;

QJsonObject now(QJsonObject event)
{
    event["time"] = QDateTime::currentDateTimeUtc().toString(Qt::ISODateWithMs);
    return event;
}

QJsonObject chipJson(const McuState &mcu, int row, std::chrono::milliseconds now)
{
    QJsonObject chip = client::chipEvent(mcu, row, now);
    chip.remove(QStringLiteral("event"));
    chip["label"] = mcu.label;
    if (mcu.imageSize >= 0)
        chip["image_size"] = mcu.imageSize;
    chip["percent"] = mcu.isPercentKnown ? QJsonValue(mcu.percent) : QJsonValue::Null;
    return chip;
}

QJsonArray lastOf(const QJsonArray &all, int count)
{
    QJsonArray last;
    for (int i = std::max(0, int(all.size()) - count); i < all.size(); ++i)
        last.append(all.at(i));
    return last;
}

} // namespace

QString explanationOf(const QString &line)
{
    const client::MessageRow *row = client::meaningOf(line).row;
    if (row == nullptr)
        return {};
    return row->cause == ProblemId::None ? client::adviceOf(*row) : pageAdvice(row->cause);
}

RunTracker::RunTracker(const AgentAddress &agent, SizesOf sizesOf, QObject *parent)
    : QObject(parent), m_agent(agent), m_sizesOf(std::move(sizesOf))
{
}

QString RunTracker::stateName() const
{
    static const char *const names[] = {"none", "preparing", "running", "restarting", "ended"};
    return QString::fromLatin1(names[int(m_state)]);
}

void RunTracker::start(const RunWish &wish)
{
    m_wish = wish;
    open();
    reset(false, wish.mode);
    m_conversation->prepare();
}

/** Until there is a run to follow, viewers see the one before it. */
void RunTracker::attach()
{
    open();
    m_isJoining = true;
    m_conversation->attach();
}

void RunTracker::open()
{
    m_conversation = std::make_unique<RunConversation>(
        RunConversation::Peer{m_agent.host, m_agent.port, m_agent.timeOut, true});
    RunConversation *talk = m_conversation.get();
    connect(talk, &RunConversation::listed, this, &RunTracker::onListed);
    connect(talk, &RunConversation::begun, this, &RunTracker::onBegun);
    connect(talk, &RunConversation::lineReceived, this, &RunTracker::onLine);
    connect(talk, &RunConversation::changed, this, &RunTracker::onChanged);
    connect(talk, &RunConversation::moduleRestarts, this, [this] {
        m_state = State::Restarting;
        emit event({{"event", "restarting"}});
    });
    connect(talk, &RunConversation::notStarted, this, &RunTracker::onNotStarted);
    connect(talk, &RunConversation::ended, this, &RunTracker::onEnded);
}

void RunTracker::reset(bool isForeign, std::optional<int> mode)
{
    m_events = {};
    ++m_id;
    m_state = State::Preparing;
    m_isForeign = isForeign;
    m_mode = mode;
    m_package = QJsonValue::Null;
    m_started = QDateTime::currentDateTimeUtc();
    m_progress = {};
    m_chips = {};
    m_transcript = {};
    m_document = QJsonValue::Null;
}

void RunTracker::onListed(const package::PackageDescription &package)
{
    m_package = client::packageJson(package);
    if (m_isForeign)
        return;
    UpgradeRows rows = m_wish.rows.isEmpty() ? client::packageRows(package)
                                             : client::chosenRows(m_wish.rows, package);
    if (!rows.error.isEmpty()) {
        close(CommandOutcome::failed(rows.cause, rows.error));
        return;
    }
    const QMap<int, qint64> sizes = m_sizesOf(package);
    for (WantedMcu &mcu : rows.mcus) {
        mcu.isForced = m_wish.mode == planning::upgradeMode::forced;
        mcu.imageSize = sizes.value(mcu.chipType, -1);
    }
    if (rows.mcus.isEmpty()) {
        close(client::runDocument(UpgradeModel(rows.mcus),
                                  {ExitCode::NothingToDo, ProblemId::NothingToDo,
                                   QStringLiteral("Nothing to do: the package is empty.")},
                                  {}));
        return;
    }
    m_conversation->start(
        {client::upgradeRequest(rows.rows), m_wish.mode, UpgradeModel(rows.mcus), TimeEstimate()});
}

void RunTracker::onBegun()
{
    if (std::exchange(m_isJoining, false))
        reset(true, std::nullopt);
    m_state = State::Running;
    m_started = QDateTime::currentDateTimeUtc();
    takePicture();
    QJsonObject begin = client::runEvent(m_conversation->model());
    // With the labels, so that the event is enough to show the run.
    begin["chips"] = m_chips;
    const QJsonObject known = identity();
    for (auto it = known.begin(); it != known.end(); ++it)
        begin[it.key()] = it.value();
    emit event(begin);
}

/** Which run it is. */
QJsonObject RunTracker::identity() const
{
    return {{"id", m_id},           {"foreign", m_isForeign},
            {"host", m_agent.host}, {"mode", m_mode ? QJsonValue(*m_mode) : QJsonValue::Null},
            {"package", m_package}, {"started", m_started.toString(Qt::ISODateWithMs)}};
}

void RunTracker::onLine(const QString &line)
{
    QJsonObject message = client::messageEvent(m_conversation->model(), line);
    message["explanation"] = explanationOf(line);
    if (m_transcript.size() < mostLines)
        m_transcript.append(now(message));
    emit event(message);
}

void RunTracker::onChanged()
{
    takePicture();
    const auto events = m_events.changes(m_conversation->picture());
    for (const QJsonObject &one : events)
        emit event(one);
}

void RunTracker::takePicture()
{
    const RunPicture picture = m_conversation->picture();
    m_chips = {};
    for (int row = 0; row < picture.model.mcus().size(); ++row)
        m_chips.append(chipJson(picture.model.mcus().at(row), row, picture.now));
    m_progress = client::progressEvent(picture);
    m_progress["phase"] = client::phaseWord(picture.model.phase());
    m_progress["wait"] =
        picture.wait ? QJsonValue(client::waitEvent(*picture.wait)) : QJsonValue::Null;
}

void RunTracker::onNotStarted(ProblemId cause, const QString &detail)
{
    if (std::exchange(m_isJoining, false)) {
        m_conversation.release()->deleteLater();
        emit ended(false);
        return;
    }
    close(CommandOutcome::failed(cause, detail));
}

void RunTracker::onEnded(CommandOutcome result)
{
    takePicture();
    result.json["seconds"] = double(m_conversation->followed().count()) / 1000.0;
    if (m_isForeign)
        result.json["saw_beginning"] = m_conversation->model().sawBeginning();
    close(result);
}

void RunTracker::close(const CommandOutcome &result)
{
    CommandOutcome whole = result;
    whole.json["host"] = m_agent.host;
    if (m_isForeign)
        whole.json["attached"] = true;
    else
        whole.json["mode"] = *m_mode;
    if (!m_package.isNull())
        whole.json["package"] = m_package;
    whole.json["started"] = m_started.toString(Qt::ISODateWithMs);
    m_document =
        resultDocument(m_isForeign ? QStringLiteral("attach") : QStringLiteral("upgrade"), whole);
    m_state = State::Ended;
    // It may be in the middle of a signal.
    m_conversation->close();
    m_conversation.release()->deleteLater();
    emit ended(true);
}

QJsonObject RunTracker::json() const
{
    QJsonObject json = identity();
    json.remove(QStringLiteral("host"));
    json["state"] = stateName();
    if (m_id == 0)
        json["started"] = QJsonValue::Null;
    json["phase"] = m_progress.value(QStringLiteral("phase"));
    for (const char *name : {"percent", "seconds", "seconds_left"})
        json[QLatin1String(name)] = m_progress.value(QLatin1String(name)).toDouble();
    json["seconds_left_is_whole"] =
        m_progress.value(QStringLiteral("seconds_left_is_whole")).toBool();
    if (!json["phase"].isString())
        json["phase"] = QJsonValue::Null;
    json["wait"] = m_progress.value(QStringLiteral("wait")).toObject().isEmpty()
                       ? QJsonValue::Null
                       : m_progress.value(QStringLiteral("wait"));
    json["chips"] = m_chips;
    json["messages"] = lastOf(m_transcript, mostMessages);
    json["document"] = m_document;
    return json;
}

} // namespace web
