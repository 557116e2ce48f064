// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/UpgradeCommand.h"

#include "bytes/FileSource.h"
#include "client/PackageCopy.h"
#include "client/PackageListing.h"
#include "client/TimeText.h"
#include "client/UpgradeRows.h"
#include "common/Printable.h"
#include "package/PackageDescription.h"
#include "planning/UpgradeMode.h"
#include "platform/Platform.h"
#include "protocol/ConsoleTexts.h"

#include <QHostAddress>

namespace consoletext = protocol::consoletext;
namespace upgradeMode = planning::upgradeMode;
using bytes::FileSource;
using client::AgentReply;
using client::bytesOf;
using client::chosenRows;
using client::clockText;
using client::eventOf;
using client::LineEvent;
using client::listProblem;
using client::meaningOf;
using client::PackageCopy;
using client::packageJson;
using client::packageRows;
using client::requestedRows;
using client::runEvent;
using client::TimeEstimate;
using client::TimeLeft;
using client::UpgradeModel;
using client::UpgradeRows;
using client::WantedMcu;
using package::PackageDescription;
using package::parseDescription;
using platform::Paths;

namespace {

using Kind = AgentReply::Kind;

/** The row that the agent upgrades over the network. */
const QString networkRow = QStringLiteral("MAIN,0,0");

} // namespace

bool needsConfirmation(const Options &options)
{
    return options.mode == upgradeMode::forced && !options.yes;
}

bool UpgradeCommand::prepare(CommandOutcome &result)
{
    if (!needsConfirmation(options()) || Confirmation::canAsk())
        return true;
    result = CommandOutcome::failed(ProblemId::NotConfirmed, {});
    return false;
}

void UpgradeCommand::onConnected()
{
    m_stage = Stage::Asking;
    askWhetherBusy();
}

void UpgradeCommand::onReplyBefore(const AgentReply &reply)
{
    if (m_stage == Stage::Asking)
        onAsked(reply);
    else if (m_stage == Stage::Listing)
        onListed(reply);
    else if (m_stage == Stage::SettingMode)
        onModeSet(reply);
}

void UpgradeCommand::onAsked(const AgentReply &reply)
{
    if (eventOf(reply) == LineEvent::Busy) {
        fail(ProblemId::Busy);
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
    else if (reply.kind == Kind::Log && meaningOf(reply.text).cause != ProblemId::None)
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
    const ProblemId problem = listProblem(text, m_listProblem);
    if (problem != ProblemId::None) {
        fail(problem, text.startsWith('{') ? QString() : text);
        return;
    }
    const PackageDescription package = parseDescription(text.toUtf8());
    m_package = packageJson(package);
    UpgradeRows rows = rowsFor(package);
    if (!rows.error.isEmpty()) {
        fail(rows.cause, rows.error);
        return;
    }
    if (!takeSizes(rows, package))
        return;
    m_rows = rows.rows;
    const bool isNetwork = options().command == Options::Command::NetUpgrade;
    expect(UpgradeModel(rows.mcus),
           TimeEstimate(isNetwork ? TimeEstimate::Link::Network : TimeEstimate::Link::Serial));
    if (rows.mcus.isEmpty()) {
        finish(resultOf({ExitCode::NothingToDo, ProblemId::NothingToDo,
                         QStringLiteral("Nothing to do: the package is empty.")}));
        return;
    }
    announce();
    if (needsConfirmation(options()))
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
    const QString path = isGiven ? options().package : Paths().package;
    FileSource source(path);
    const PackageCopy copy = source.open() ? PackageCopy::read(source) : PackageCopy();
    if (isGiven && !copy.isPackage) {
        const QString error = source.errorString().isEmpty()
                                  ? QStringLiteral("not a firmware package")
                                  : source.errorString();
        fail(ProblemId::FileUnreadable, path + QStringLiteral(": ") + error);
        return false;
    }
    if (isGiven && !copy.describes(package)) {
        fail(ProblemId::PackageDiffers, options().package);
        return false;
    }
    // On the module itself the device's file can be read.
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
    m_confirmation = std::make_unique<Confirmation>(display());
    connect(m_confirmation.get(), &Confirmation::answered, this, [this](bool isConfirmed) {
        if (isConfirmed)
            setMode();
        else
            fail(ProblemId::NotConfirmed);
    });
    m_confirmation->ask();
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
    else if (reply.kind == Kind::Log && meaningOf(reply.text).cause == ProblemId::ModeRefused)
        fail(ProblemId::ModeRefused, reply.text);
}

QByteArray UpgradeCommand::runRequest() const
{
    if (options().command == Options::Command::NetUpgrade)
        return bytesOf(consoletext::netUpgrade) + "||" + options().address.toLatin1();
    if (options().requestAll)
        return bytesOf(consoletext::upgradeAll);
    return bytesOf(consoletext::upgrade) + m_rows.join(consoletext::separator).toLatin1();
}

/** The notes before anything is sent to the device. */
void UpgradeCommand::announce()
{
    const TimeLeft total = estimate().ofRun(model(), now());
    const QString time = clockText(std::chrono::duration_cast<std::chrono::seconds>(total.time));
    // Only 'upgrade' has a copy of the package.
    const QString how = options().command == Options::Command::Upgrade
                            ? QStringLiteral("; with --package and a copy of the package the "
                                             "images count, too")
                            : QString();
    if (!total.isWhole)
        display().note(
            QStringLiteral("Time: at least %1 for restarts and pauses%2.").arg(time, how));
    else if (options().mode == upgradeMode::forced)
        display().note(QStringLiteral("Time: about %1.").arg(time));
    else
        display().note(
            QStringLiteral("Time: about %1 if every image is written, otherwise less.").arg(time));
    if (options().requestAll)
        display().note(QStringLiteral("The agent makes the rows (UPGRADEALL): it addresses each "
                                      "chip with its quantity as the index."));
    display().note(
        QStringLiteral("The device reboots at the end, also when nothing was to be written."));
}

void UpgradeCommand::startRun()
{
    QJsonObject begin = runEvent(model());
    begin["host"] = options().host;
    begin["package"] = m_package;
    begin["mode"] = options().mode;
    writeEvent(begin);
    m_started = QDateTime::currentDateTimeUtc();
    agent().request(runRequest());
    follow();
}

/** The agent's answer to the request; during the run such lines answer other requests. */
bool UpgradeCommand::refuses(const AgentReply &reply)
{
    if (reply.kind != Kind::Log || hasSeenRun())
        return false;
    const ProblemId cause = meaningOf(reply.text).cause;
    const bool isRefusal = cause == ProblemId::Busy || cause == ProblemId::UnknownRequest ||
                           cause == ProblemId::RowsRefused || cause == ProblemId::PackageMissing;
    if (isRefusal)
        failRun(cause, reply.text);
    return isRefusal;
}

/** The identity of the run: device, package, start and duration. */
void UpgradeCommand::addRun(CommandOutcome &result)
{
    result.json["host"] = options().host;
    result.json["mode"] = options().mode;
    result.json["package"] = m_package;
    if (!m_started.isValid())
        return;
    const auto duration = followed();
    result.json["started"] = m_started.toString(Qt::ISODate);
    result.json["seconds"] = double(duration.count()) / 1000.0;
    result.text +=
        textOf({QStringLiteral("Host %1, package %2 %3, started %4, took %5.")
                    .arg(options().host, printable(m_package["model"].toString()),
                         printable(m_package["version"].toString()),
                         m_started.toLocalTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                         clockText(std::chrono::duration_cast<std::chrono::seconds>(duration)))});
}
