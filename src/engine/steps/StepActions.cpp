// SPDX-License-Identifier: Apache-2.0
#include "engine/steps/StepActions.h"

#include "engine/device/CommandChannel.h"
#include "engine/device/ImageWriter.h"
#include "engine/package/PackageShelf.h"
#include "engine/report/EngineOutput.h"
#include "engine/report/RunReporter.h"
#include "engine/report/RunRows.h"
#include "engine/runs/InfoRead.h"
#include "engine/runs/InfoWrite.h"
#include "engine/runs/RunEnd.h"
#include "engine/runs/UpgradeRun.h"
#include "planning/RunRules.h"
#include "planning/VirtualVersion.h"
#include "protocol/CommandWords.h"
#include "protocol/McuFrame.h"
#include "protocol/ProductRecord.h"
#include "protocol/Progress.h"
#include "protocol/Reply.h"
#include "protocol/WireText.h"

namespace appStatus = protocol::appStatus;
namespace command = protocol::command;
namespace field = package::field;
namespace mcu = protocol::mcu;
using planning::goesFirst;
using planning::modelName;
using planning::recordEndsRun;
using planning::silenceEndsRun;
using planning::virtualVersionAfter;
using planning::virtualVersionByte;
using protocol::filled;
using protocol::ProductRecord;
using protocol::Reply;
using protocol::wholeProgress;

namespace engine {

namespace {

// The result bytes follow the two that echo chip type and index.
constexpr int first = mcu::resultOffset;
constexpr int second = mcu::resultOffset + 1;
constexpr int third = mcu::resultOffset + 2;
constexpr int fourth = mcu::resultOffset + 3;
constexpr int fifth = mcu::resultOffset + 4;

/** The length field of a version reply with three numbers. */
constexpr int threePartVersionLength = 10;

QString decimal(quint8 byte)
{
    return QString::number(byte);
}

/** A command for the current row's chip. */
void requestOfChip(const StepContext &context, quint16 word)
{
    QByteArray chip;
    chip.append(char(context.rows.currentNumber(field::chipType)));
    chip.append(char(context.rows.currentNumber(field::chipIndex)));
    context.channel.request(word, chip);
}

/** Reports a line about the current row as the reason why something was given up. */
void giveUp(const StepContext &context, const char *words)
{
    const QString name = context.rows.currentName();
    context.output.inChain(filled(words, name));
    context.report.giveUp(name, filled(words, name));
}

} // namespace

namespace action {

Result wait(StepContext & /*context*/, const Reply & /*reply*/)
{
    return {};
}

Result readVirtualVersion(StepContext &context, const Reply & /*reply*/)
{
    context.channel.request(command::readVirtualVersion);
    return {};
}

/** The virtual version is not essential: the read continues without it. */
Result giveUpVirtualVersion(StepContext & /*context*/, const Reply & /*reply*/)
{
    return Event::VersionGivenUp;
}

Result readModelName(StepContext &context, const Reply & /*reply*/)
{
    context.channel.request(command::readModelName);
    return {};
}

Result takeModelName(StepContext &context, const Reply &reply)
{
    const QString device = modelName(reply.payload());
    const QString firmware = context.shelf.model();
    if (device == firmware)
        return Event::ModelMatches;
    const QString line = filled(text::modelMismatch, firmware, device);
    context.output.inChain(line);
    context.report.giveUp(context.rows.currentName(), line);
    return Event::ModelDiffers;
}

Result readFirstBootcode(StepContext &context, const Reply &reply)
{
    context.rows.setIndex(0);
    return readBootcode(context, reply);
}

Result readNextBootcode(StepContext &context, const Reply &reply)
{
    context.rows.advance();
    return readBootcode(context, reply);
}

/** FPGAs have no bootcode, so their rows are skipped. */
Result readBootcode(StepContext &context, const Reply & /*reply*/)
{
    RunRows &rows = context.rows;
    while (rows.hasCurrent() && rows.currentIsFpga()) {
        context.output.inChain(filled(text::bootcodeIgnoresFpga, rows.currentName()));
        rows.advance();
    }
    if (!rows.hasCurrent())
        return Event::RowsRead;
    context.output.inChain(filled(text::readBootcode, rows.currentName()));
    context.report.reading(rows.currentMcu());
    requestOfChip(context, command::readBootcode);
    return {};
}

Result takeBootcode(StepContext &context, const Reply &reply)
{
    const bool runsBootcode = reply.at(fourth) != 0;
    const bool recordIsValid = reply.at(fifth) != 0;
    context.rows.setCurrent(field::mcuType, decimal(reply.at(third)));
    context.rows.setCurrent(field::bootcodeFlag, decimal(reply.at(fourth)));
    context.rows.setCurrent(field::productInfoFlag, decimal(reply.at(fifth)));
    if (context.rows.currentIsMainMcu())
        context.output.inChain(
            filled(runsBootcode ? text::mainInBootcode : text::mainInApplication));
    return recordEndsRun(context.rows.table(), context.rows.index(), recordIsValid)
               ? Event::RecordInvalid
               : Event::RecordValid;
}

Result refuseInvalidRecord(StepContext &context, const Reply & /*reply*/)
{
    const QString name = context.rows.currentName();
    context.output.inChain(filled(context.output.isReading() ? text::invalidInfoStopsRead
                                                             : text::invalidInfoStopsUpgrade,
                                  name));
    context.report.giveUp(name, filled(text::invalidInfoStopsUpgrade, name));
    context.end.finish(RunOutcome::failed(appStatus::invalidProductInfo, 0.0));
    return {};
}

Result readProductInfo(StepContext &context, const Reply & /*reply*/)
{
    context.output.inChain(filled(text::readProductInfo, context.rows.currentName()));
    requestOfChip(context, command::readProductInformation);
    return {};
}

Result takeProductInfo(StepContext &context, const Reply &reply)
{
    RunRows &rows = context.rows;
    rows.setCurrent(field::pcbVersion, decimal(reply.at(first)));
    rows.setCurrent(field::speciality, decimal(reply.at(second)));
    if (!rows.currentIsMainMcu())
        return Event::RowRead;
    context.infoRead.takeMainRecord(ProductRecord::decode(reply.payload()));
    const bool first = goesFirst(rows.table(), rows.index()) && !context.output.isReading() &&
                       context.upgrade.mayWriteMainFirst();
    return first ? Event::MainInBootcode : Event::RowRead;
}

Result giveUpRow(StepContext &context, const Reply & /*reply*/)
{
    return silenceEndsRun(context.rows.table(), context.rows.index()) ? Event::MainGivenUp
                                                                      : Event::RowGivenUp;
}

Result stopForMainBootcode(StepContext &context, const Reply &reply)
{
    giveUp(context,
           context.output.isReading() ? text::bootcodeStopsRead : text::bootcodeStopsUpgrade);
    return failStep(context, reply);
}

Result stopForMainProductInfo(StepContext &context, const Reply &reply)
{
    giveUp(context,
           context.output.isReading() ? text::productInfoStopsRead : text::productInfoStopsUpgrade);
    return failStep(context, reply);
}

Result readFirstVersion(StepContext &context, const Reply &reply)
{
    context.rows.setIndex(0);
    return readVersion(context, reply);
}

Result readVersion(StepContext &context, const Reply & /*reply*/)
{
    RunRows &rows = context.rows;
    if (!rows.hasCurrent())
        return context.output.isReading() ? Event::InfoComplete : Event::RowsRead;
    context.output.inChain(filled(text::readVersion, rows.currentName()));
    context.report.reading(rows.currentMcu());
    requestOfChip(context, command::readVersion);
    return {};
}

Result takeVersion(StepContext &context, const Reply &reply)
{
    RunRows &rows = context.rows;
    const QString name = rows.currentName();
    const QString major = decimal(reply.at(first));
    const QString minor = decimal(reply.at(second));
    rows.setCurrent(field::ver1, major);
    rows.setCurrent(field::ver2, minor);
    if (reply.length() == threePartVersionLength) {
        const QString patch = decimal(reply.at(third));
        rows.setCurrent(field::ver3, patch);
        context.output.inChain(filled(text::version3, name, major, minor, patch));
    } else {
        context.output.inChain(filled(text::version2, name, major, minor));
    }
    rows.advance();
    return readVersion(context, reply);
}

Result giveUpVersion(StepContext &context, const Reply & /*reply*/)
{
    context.rows.advance();
    if (!context.rows.hasCurrent())
        context.output.inChain(filled(text::allVersionsRead));
    return Event::RowGivenUp;
}

Result finishInfoRead(StepContext &context, const Reply & /*reply*/)
{
    context.end.finish(RunOutcome::silent());
    context.infoRead.show();
    return {};
}

Result chooseMainFirst(StepContext &context, const Reply & /*reply*/)
{
    context.upgrade.beginMainFirst();
    return context.upgrade.choose();
}

Result chooseFirst(StepContext &context, const Reply & /*reply*/)
{
    context.rows.setIndex(0);
    return context.upgrade.choose();
}

Result chooseNext(StepContext &context, const Reply & /*reply*/)
{
    context.rows.advance();
    return context.upgrade.choose();
}

Result chooseAfterImage(StepContext &context, const Reply & /*reply*/)
{
    context.rows.advance();
    context.upgrade.pauseAfterImage();
    return context.upgrade.choose();
}

Result choose(StepContext &context, const Reply & /*reply*/)
{
    return context.upgrade.choose();
}

Result sendImage(StepContext &context, const Reply & /*reply*/)
{
    return context.upgrade.sendImage();
}

/** An image without a result counts as failed, so that the wait always ends. */
Result repeatImage(StepContext &context, const Reply & /*reply*/)
{
    context.writer.repeat();
    return {};
}

Result awaitRestart(StepContext &context, const Reply & /*reply*/)
{
    context.channel.await();
    return {};
}

Result pollProductId(StepContext &context, const Reply & /*reply*/)
{
    context.channel.request(command::readProductId);
    return {};
}

Result mainMcuIsBack(StepContext &context, const Reply & /*reply*/)
{
    return context.upgrade.itemDone();
}

Result sendReboot(StepContext &context, const Reply & /*reply*/)
{
    context.output.say(filled(text::sendReboot));
    context.report.restarting();
    context.channel.request(command::reboot);
    return {};
}

Result systemIsBack(StepContext &context, const Reply & /*reply*/)
{
    if (context.upgrade.writesInfoAfterwards())
        return Event::InfoWriteDue;
    const bool due =
        virtualVersionAfter(context.upgrade.hasWritten(), context.shelf.version()).has_value();
    return due ? Event::VirtualVersionDue : Event::NothingToSet;
}

Result setVirtualVersion(StepContext &context, const Reply & /*reply*/)
{
    const QByteArray version(1, char(virtualVersionByte(context.shelf.version())));
    context.channel.request(command::setVirtualVersion, version);
    return {};
}

Result takeVirtualVersionSet(StepContext & /*context*/, const Reply &reply)
{
    return reply.at(mcu::resultOffset) == 0 ? Event::VersionSet : Event::VersionRefused;
}

Result finishComplete(StepContext &context, const Reply & /*reply*/)
{
    context.output.say(filled(text::allSuccess));
    context.end.finish(RunOutcome::succeeded(context.upgrade.resetsProgress()));
    return {};
}

Result finishWithoutVirtualVersion(StepContext &context, const Reply & /*reply*/)
{
    context.output.say(filled(text::allButVirtualVersion));
    context.end.finish(RunOutcome::succeeded(context.upgrade.resetsProgress()));
    return {};
}

Result finishWithoutImages(StepContext &context, const Reply & /*reply*/)
{
    context.output.say(filled(text::nothingUpgraded));
    context.end.finish(RunOutcome::succeeded(context.upgrade.resetsProgress()));
    return {};
}

Result finishQuietly(StepContext &context, const Reply & /*reply*/)
{
    context.end.finish(RunOutcome::silent());
    return {};
}

Result failStep(StepContext &context, const Reply & /*reply*/)
{
    context.end.finish(RunOutcome::failed(appStatus::stepFailed, 0.0));
    return {};
}

Result failLost(StepContext &context, const Reply & /*reply*/)
{
    context.end.finish(RunOutcome::failed(appStatus::deviceLost, 0.0));
    return {};
}

Result failPackage(StepContext &context, const Reply & /*reply*/)
{
    context.upgrade.reportPackageFault();
    context.end.finish(RunOutcome::failed(appStatus::packageFailed, wholeProgress));
    return {};
}

Result writeInfoAfterRun(StepContext &context, const Reply &reply)
{
    context.rows.setIndex(0);
    context.infoWrite.setRows(context.rows.all());
    return startInfoWrites(context, reply);
}

Result startInfoWrites(StepContext &context, const Reply & /*reply*/)
{
    return context.infoWrite.start();
}

Result writeInfo(StepContext &context, const Reply & /*reply*/)
{
    return context.infoWrite.writeCurrent();
}

Result takeInfoWritten(StepContext &context, const Reply & /*reply*/)
{
    context.infoWrite.endCurrent(true);
    return context.infoWrite.writeCurrent();
}

Result giveUpInfoWrite(StepContext &context, const Reply & /*reply*/)
{
    context.infoWrite.endCurrent(false);
    return Event::RowGivenUp;
}

Result finishInfoWrites(StepContext &context, const Reply & /*reply*/)
{
    context.end.finishInfoWrites();
    return {};
}

} // namespace action

} // namespace engine
