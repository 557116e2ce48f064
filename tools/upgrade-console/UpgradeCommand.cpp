// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/UpgradeCommand.h"

#include "bytes/FileSource.h"
#include "client/PackageCopy.h"
#include "client/PackageListing.h"
#include "client/RunDocument.h"
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
using client::bytesOf;
using client::chosenRows;
using client::clockText;
using client::PackageCopy;
using client::packageJson;
using client::packageRows;
using client::requestedRows;
using client::runDocument;
using client::runEvent;
using client::TimeEstimate;
using client::TimeLeft;
using client::UpgradeModel;
using client::upgradeRequest;
using client::UpgradeRows;
using client::WantedMcu;
using package::PackageDescription;
using platform::Paths;

namespace {

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

UpgradeRows UpgradeCommand::rowsFor(const PackageDescription &package) const
{
    if (options().command == Options::Command::NetUpgrade)
        return chosenRows({networkRow}, package);
    if (options().requestAll)
        return requestedRows(package);
    return options().rows.isEmpty() ? packageRows(package) : chosenRows(options().rows, package);
}

void UpgradeCommand::onListed(const PackageDescription &package)
{
    m_package = packageJson(package);
    UpgradeRows rows = rowsFor(package);
    if (!rows.error.isEmpty()) {
        giveUp(rows.cause, rows.error);
        return;
    }
    if (!takeSizes(rows, package))
        return;
    const bool isNetwork = options().command == Options::Command::NetUpgrade;
    m_request = {
        requestLine(rows.rows), options().mode, UpgradeModel(rows.mcus),
        TimeEstimate(isNetwork ? TimeEstimate::Link::Network : TimeEstimate::Link::Serial)};
    if (rows.mcus.isEmpty()) {
        conversation().close();
        finishRun(runDocument(m_request.model,
                              {ExitCode::NothingToDo, ProblemId::NothingToDo,
                               QStringLiteral("Nothing to do: the package is empty.")},
                              {}));
        return;
    }
    announce();
    if (needsConfirmation(options()))
        confirm();
    else
        conversation().start(m_request);
}

void UpgradeCommand::giveUp(ProblemId cause, const QString &detail)
{
    conversation().close();
    fail(cause, detail);
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
        giveUp(ProblemId::FileUnreadable, path + QStringLiteral(": ") + error);
        return false;
    }
    if (isGiven && !copy.describes(package)) {
        giveUp(ProblemId::PackageDiffers, options().package);
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
    m_confirmation = std::make_unique<Confirmation>(display());
    connect(m_confirmation.get(), &Confirmation::answered, this, [this](bool isConfirmed) {
        if (isConfirmed)
            conversation().start(m_request);
        else
            giveUp(ProblemId::NotConfirmed);
    });
    m_confirmation->ask();
}

QByteArray UpgradeCommand::requestLine(const QStringList &rows) const
{
    if (options().command == Options::Command::NetUpgrade)
        return bytesOf(consoletext::netUpgrade) + "||" + options().address.toLatin1();
    if (options().requestAll)
        return bytesOf(consoletext::upgradeAll);
    return upgradeRequest(rows);
}

/** The notes before anything is sent to the device. */
void UpgradeCommand::announce()
{
    const TimeLeft total = m_request.estimate.ofRun(m_request.model, {});
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

void UpgradeCommand::onBegun()
{
    QJsonObject begin = runEvent(conversation().model());
    begin["host"] = options().host;
    begin["package"] = m_package;
    begin["mode"] = options().mode;
    writeEvent(begin);
    m_started = QDateTime::currentDateTimeUtc();
}

/** The identity of the run: device, package, start and duration. */
void UpgradeCommand::addRun(CommandOutcome &result)
{
    result.json["host"] = options().host;
    result.json["mode"] = options().mode;
    result.json["package"] = m_package;
    if (!m_started.isValid())
        return;
    const auto duration = conversation().followed();
    result.json["started"] = m_started.toString(Qt::ISODate);
    result.json["seconds"] = double(duration.count()) / 1000.0;
    result.text +=
        textOf({QStringLiteral("Host %1, package %2 %3, started %4, took %5.")
                    .arg(options().host, printable(m_package["model"].toString()),
                         printable(m_package["version"].toString()),
                         m_started.toLocalTime().toString(QStringLiteral("yyyy-MM-dd hh:mm:ss")),
                         clockText(std::chrono::duration_cast<std::chrono::seconds>(duration)))});
}
