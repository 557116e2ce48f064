// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/UpgradeCommand.h"

#include "package/PackageDescription.h"
#include "planning/UpgradeMode.h"
#include "platform/Platform.h"
#include "protocol/ConsoleTexts.h"
#include "upgrade-console/Bars.h"
#include "upgrade-console/PackageCopy.h"
#include "upgrade-console/SimpleCommands.h"
#include "upgrade-console/UpgradeOutcome.h"
#include "upgrade-console/UpgradeRows.h"

#include <QHostAddress>

#include <unistd.h>

namespace consoletext = protocol::consoletext;
namespace upgradeMode = planning::upgradeMode;
using package::PackageDescription;
using package::parseDescription;

namespace {

using namespace std::chrono_literals;
using Kind = AgentReply::Kind;

constexpr auto redrawEvery = 500ms;
/** Of the user's answer, in bytes. */
constexpr int longestConfirmation = 64;
/** The row that the agent upgrades over the network. */
const QString networkRow = QStringLiteral("MAIN,0,0");

LineEvent eventOf(const AgentReply &reply)
{
    return reply.kind == Kind::Log ? meaningOf(reply.text).event : LineEvent::Unknown;
}

/** Lines that people should see while the run goes on. */
bool isNotable(const QString &line)
{
    return meaningOf(line).cause != Cause::None || line.contains(QLatin1String(" fail"));
}

} // namespace

UpgradeCommand::UpgradeCommand(const Options &options)
    : Command(options), m_display(!options.noProgress), m_waitBack(options.host, options.port)
{
    m_quiet.setSingleShot(true);
    m_quiet.setInterval(options.timeOut);
    m_redraw.setInterval(redrawEvery);
    connect(&m_quiet, &QTimer::timeout, this, &UpgradeCommand::onQuiet);
    connect(&m_redraw, &QTimer::timeout, this, &UpgradeCommand::showProgress);
    connect(&m_waitBack, &WaitBack::back, this, &UpgradeCommand::onBack);
    connect(&m_waitBack, &WaitBack::missing, this,
            [this] { loseContact(Cause::NoSignOfLife, QStringLiteral("the module is not back")); });
}

/** Mode 5 takes away what protects from the wrong package, so it is only done on a clear word. */
bool UpgradeCommand::prepare(CommandResult &result)
{
    const bool isAsked = options().mode == upgradeMode::forced && !options().yes;
    if (!isAsked || (::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1))
        return true;
    result.exit = causeRow(Cause::NotConfirmed).exit;
    result.cause = Cause::NotConfirmed;
    return false;
}

void UpgradeCommand::onConnected()
{
    m_stage = Stage::Asking;
    askWhetherBusy();
}

/**
 * A request without rows starts nothing, but is refused while a run is going on; the heartbeat's
 * answer tells that no refusal came. Asking first matters: "UPGRADEALL" is passed over in silence
 * by a busy agent, which then sends the other run's lines here.
 */
void UpgradeCommand::askWhetherBusy()
{
    m_isBusySeen = false;
    agent().request(bytesOf(consoletext::upgrade));
    request(consoletext::heartbeat);
    awaitReply();
}

void UpgradeCommand::onReply(const AgentReply &reply)
{
    switch (m_stage) {
    case Stage::Asking:
        onAsked(reply);
        break;
    case Stage::Listing:
        onListed(reply);
        break;
    case Stage::Confirming:
        break;
    case Stage::SettingMode:
        onModeSet(reply);
        break;
    case Stage::Running:
        onRunning(reply);
        break;
    case Stage::WaitingBack:
        break;
    }
}

void UpgradeCommand::onAsked(const AgentReply &reply)
{
    if (eventOf(reply) == LineEvent::Busy) {
        fail(Cause::Busy);
    } else if (reply.kind == Kind::Heartbeat) {
        m_stage = Stage::Listing;
        request(consoletext::getFirmwareList);
        awaitReply();
    }
}

void UpgradeCommand::onListed(const AgentReply &reply)
{
    if (reply.kind == Kind::FirmwareList)
        takeList(reply.text);
    else if (reply.kind == Kind::Log && meaningOf(reply.text).cause != Cause::None)
        m_listProblem = meaningOf(reply.text).cause;
}

UpgradeRows UpgradeCommand::rowsFor(const PackageDescription &package) const
{
    if (options().command == Options::Command::NetUpgrade)
        return chosenRows({networkRow}, package);
    if (options().requestAll)
        return requestedRows(package);
    return options().rows.isEmpty() ? packageRows(package) : chosenRows(options().rows, package);
}

void UpgradeCommand::takeList(const QString &text)
{
    const Cause problem = listProblem(text, m_listProblem);
    if (problem != Cause::None) {
        fail(problem, text.startsWith('{') ? QString() : text);
        return;
    }
    const PackageDescription package = parseDescription(text.toUtf8());
    m_package = {{"model", package.model}, {"version", package.version}};
    UpgradeRows rows = rowsFor(package);
    if (!rows.error.isEmpty()) {
        fail(rows.cause, rows.error);
        return;
    }
    if (!takeSizes(rows, package))
        return;
    m_rows = rows.rows;
    const bool isNetwork = options().command == Options::Command::NetUpgrade;
    m_estimate = TimeEstimate(isNetwork ? TimeEstimate::Link::Network : TimeEstimate::Link::Serial);
    m_model = UpgradeModel(rows.mcus);
    if (rows.mcus.isEmpty()) {
        finish(resultOf({ExitCode::NothingToDo, Cause::NothingToDo,
                         QStringLiteral("Nothing to do: the package is empty.")}));
        return;
    }
    announce();
    if (options().mode == upgradeMode::forced && !options().yes)
        confirm();
    else
        setMode();
}

/** The sizes of the images from a copy of the package; false when it is another package. */
bool UpgradeCommand::takeSizes(UpgradeRows &rows, const PackageDescription &package)
{
    for (WantedMcu &mcu : rows.mcus)
        mcu.isForced = options().mode == upgradeMode::forced;
    const bool isGiven = !options().package.isEmpty();
    const PackageCopy copy = PackageCopy::read(isGiven ? options().package : Paths().package);
    if (isGiven && !copy.error.isEmpty()) {
        fail(Cause::FileUnreadable, copy.error);
        return false;
    }
    if (isGiven && !copy.describes(package)) {
        fail(Cause::PackageDiffers, options().package);
        return false;
    }
    // On the module itself the file of the device is at hand.
    const bool isHere =
        options().host == QLatin1String("localhost") || QHostAddress(options().host).isLoopback();
    if (!copy.describes(package) || !(isGiven || isHere))
        return true;
    for (WantedMcu &mcu : rows.mcus)
        mcu.imageSize = copy.sizes.value(mcu.chipType, -1);
    return true;
}

void UpgradeCommand::confirm()
{
    m_stage = Stage::Confirming;
    stopAwaiting();
    m_display.note(QStringLiteral("Mode 5 writes every image that fits: neither the device's model "
                                  "nor any version is compared."));
    m_display.ask(QStringLiteral("Write the package to the device? [yes/no] "));
    m_answer = std::make_unique<QSocketNotifier>(STDIN_FILENO, QSocketNotifier::Read);
    connect(m_answer.get(), &QSocketNotifier::activated, this, &UpgradeCommand::onAnswer);
}

void UpgradeCommand::onAnswer()
{
    m_answer->setEnabled(false);
    QByteArray line(longestConfirmation, '\0');
    const auto count = ::read(STDIN_FILENO, line.data(), size_t(line.size()));
    const QByteArray answer = line.left(int(std::max<ssize_t>(count, 0))).trimmed().toLower();
    if (answer == "yes" || answer == "y")
        setMode();
    else
        fail(Cause::NotConfirmed);
}

void UpgradeCommand::setMode()
{
    m_stage = Stage::SettingMode;
    agent().request(bytesOf(consoletext::upgradeMode) + QByteArray::number(options().mode));
    awaitReply();
}

void UpgradeCommand::onModeSet(const AgentReply &reply)
{
    if (eventOf(reply) == LineEvent::ModeSet)
        startRun();
    else if (reply.kind == Kind::Log && meaningOf(reply.text).cause == Cause::ModeRefused)
        fail(Cause::ModeRefused, reply.text);
}

QByteArray UpgradeCommand::runRequest() const
{
    if (options().command == Options::Command::NetUpgrade)
        return bytesOf(consoletext::netUpgrade) + "||" + options().address.toLatin1();
    if (options().requestAll)
        return bytesOf(consoletext::upgradeAll);
    return bytesOf(consoletext::upgrade) + m_rows.join(consoletext::separator).toLatin1();
}

/** What one should know before anything is sent to the device. */
void UpgradeCommand::announce()
{
    const TimeLeft total = m_estimate.ofRun(m_model, now());
    const QString time = bars::clock(std::chrono::duration_cast<std::chrono::seconds>(total.time));
    // Only 'upgrade' takes a copy of the package.
    const QString how = options().command == Options::Command::Upgrade
                            ? QStringLiteral("; with --package and a copy of the package the "
                                             "images count, too")
                            : QString();
    if (!total.isWhole)
        m_display.note(
            QStringLiteral("Time: at least %1 for restarts and pauses%2.").arg(time, how));
    else if (options().mode == upgradeMode::forced)
        m_display.note(QStringLiteral("Time: about %1.").arg(time));
    else
        m_display.note(
            QStringLiteral("Time: about %1 if every image is written, otherwise less.").arg(time));
    if (options().requestAll)
        m_display.note(QStringLiteral("The agent makes the rows (UPGRADEALL): it addresses each "
                                      "chip with its quantity as the index."));
    m_display.note(
        QStringLiteral("The device reboots at the end, also when nothing was to be written."));
}

void UpgradeCommand::startRun()
{
    stopAwaiting();
    m_stage = Stage::Running;
    m_started = QDateTime::currentDateTimeUtc();
    m_startedAt = now();
    agent().request(runRequest());
    agent().watchLife(true, m_answers.heartbeatAfter());
    m_quiet.start();
    m_redraw.start();
    showProgress();
}

/** The agent's answer to the request itself; once the run has begun such lines are about others. */
bool UpgradeCommand::refuses(const AgentReply &reply)
{
    if (reply.kind != Kind::Log || m_heardOfRun)
        return false;
    const Cause cause = meaningOf(reply.text).cause;
    const bool isRefusal = cause == Cause::Busy || cause == Cause::UnknownRequest ||
                           cause == Cause::RowsRefused || cause == Cause::PackageMissing;
    if (isRefusal)
        failRun(cause, reply.text);
    return isRefusal;
}

void UpgradeCommand::onRunning(const AgentReply &reply)
{
    if (m_isAskingAgain && (eventOf(reply) == LineEvent::Busy || reply.kind == Kind::Heartbeat)) {
        m_isBusySeen = m_isBusySeen || reply.kind != Kind::Heartbeat;
        if (reply.kind == Kind::Heartbeat)
            onQuietAnswered(m_isBusySeen);
        return;
    }
    if (refuses(reply) || !m_model.take(reply, now()))
        return;
    m_estimate.take(reply, now());
    m_answers.take(reply, now());
    agent().watchLife(true, m_answers.heartbeatAfter());
    // The link's own lines also come from asking whether the device is busy.
    const LineEvent event = eventOf(reply);
    m_heardOfRun = m_heardOfRun || event != LineEvent::Note;
    m_quiet.start();
    if (reply.kind == Kind::Log && isNotable(reply.text))
        m_display.note("agent: " + reply.text);
    showProgress();
    if (m_model.hasEnded())
        endRun();
}

void UpgradeCommand::onPulseAnswered()
{
    m_model.expectGap();
}

void UpgradeCommand::showProgress()
{
    m_display.tell(m_teller.changes(picture()));
    m_display.draw([this](const Terminal &terminal) { return liveLines(picture(), terminal); });
}

/** Times count from the request on. */
RunPicture UpgradeCommand::picture()
{
    return {m_model, m_estimate, m_model.hasEnded() ? std::nullopt : m_answers.at(now()), now(),
            m_startedAt};
}

/** The request came to nothing: there is no run to speak of. */
void UpgradeCommand::failRun(Cause cause, const QString &detail)
{
    m_redraw.stop();
    m_display.close();
    fail(cause, detail);
}

/** Either the agent works in silence, or the run has ended and somebody else got its last words. */
void UpgradeCommand::onQuiet()
{
    m_isAskingAgain = true;
    askWhetherBusy();
}

void UpgradeCommand::onQuietAnswered(bool isBusy)
{
    stopAwaiting();
    m_isAskingAgain = false;
    if (isBusy)
        m_quiet.start();
    else if (m_heardOfRun)
        loseContact(Cause::OutcomeUnseen, {});
    else
        failRun(Cause::NotStarted);
}

void UpgradeCommand::endRun()
{
    finish(resultOf(outcomeOf(m_model)));
}

CommandResult UpgradeCommand::resultOf(const UpgradeOutcome &outcome)
{
    m_redraw.stop();
    m_quiet.stop();
    showProgress();
    m_display.close();
    CommandResult result;
    result.exit = outcome.exit;
    result.cause = outcome.cause;
    result.output = resultTable(m_model, now(), Terminal::of(1).style);
    result.output += {QString(), outcome.summary};
    addRun(result);
    result.json["mode"] = options().mode;
    result.json["package"] = m_package;
    result.json["summary"] = outcome.summary;
    result.json["rebooted"] = m_model.hasRebooted();
    result.json["mcus"] = resultJson(m_model, now());
    if (!m_model.netVersion().isEmpty())
        result.json["net_version"] = m_model.netVersion();
    if (outcome.cause != Cause::None && outcome.cause != Cause::NothingToDo)
        result.detail = m_model.problemLine();
    return result;
}

/** Which run it was: device, package, start and duration. */
void UpgradeCommand::addRun(CommandResult &result)
{
    result.json["host"] = options().host;
    if (!m_started.isValid())
        return;
    const auto duration = now() - m_startedAt;
    result.json["started"] = m_started.toString(Qt::ISODate);
    result.json["seconds"] = double(duration.count()) / 1000.0;
    result.output +=
        QStringLiteral("Host %1, package %2 %3, started %4, took %5.")
            .arg(options().host, printable(m_package["model"].toString()),
                 printable(m_package["version"].toString()),
                 m_started.toLocalTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                 bars::clock(std::chrono::duration_cast<std::chrono::seconds>(duration)));
}

void UpgradeCommand::onLost(Cause cause, const QString &detail)
{
    const bool isRestart =
        m_stage == Stage::Running &&
        (m_model.phase() == RunPhase::Rebooting || m_model.phase() == RunPhase::SettingVersion);
    if (!isRestart || !options().waitBack) {
        loseContact(cause, detail);
        return;
    }
    m_stage = Stage::WaitingBack;
    m_quiet.stop();
    stopAwaiting();
    m_display.note(QStringLiteral("the network module restarts"));
    m_waitBack.start();
}

/** The verdict went down with the module; its images were acknowledged before. */
void UpgradeCommand::onBack(const QString &version)
{
    m_model.assumeSuccess(now());
    CommandResult result = resultOf(outcomeOf(m_model));
    result.json["verdict_seen"] = false;
    result.json["agent_version"] = version;
    result.advice +=
        QStringLiteral("The module restarted with the device, before the agent's verdict; "
                       "its agent answers again. Run the upgrade again to be sure.");
    finish(result);
}

void UpgradeCommand::onDeadline()
{
    loseContact(Cause::NoSignOfLife, QStringLiteral("a request was not answered"));
}

void UpgradeCommand::interrupt()
{
    loseContact(Cause::Interrupted, {});
}

void UpgradeCommand::loseContact(Cause cause, const QString &detail)
{
    if (m_stage != Stage::Running && m_stage != Stage::WaitingBack) {
        fail(cause, detail);
        return;
    }
    const QStringList state =
        cause == Cause::OutcomeUnseen ? QStringList() : likelyState(m_model, cause);
    m_model.settleUnseen(now());
    CommandResult result =
        resultOf({causeRow(cause).exit, cause, QStringLiteral("The outcome is not known.")});
    result.detail = detail;
    result.advice = state;
    result.json["likely_state"] = QJsonArray::fromStringList(state);
    finish(result);
}
