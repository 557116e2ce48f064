// SPDX-License-Identifier: Apache-2.0
#include "engine/steps/StepTable.h"

#include "engine/report/EngineTexts.h"
#include "engine/steps/StepActions.h"

#include <algorithm>
#include <map>
#include <utility>

namespace engine {

namespace {

using Lines = std::vector<Transition>;
using Events = std::vector<Event>;
using Kind = Transition::Kind;

const Events noAnswer = {Event::Refusal, Event::ShortAnswer, Event::Silence};
const Events refusal = {Event::Refusal, Event::ShortAnswer};
/** For steps with a separate line for a short answer. */
const Events refused = {Event::Refusal, Event::Silence};
const Events anyReply = {Event::Answer, Event::Refusal, Event::ShortAnswer};
constexpr int any = Transition::anyTry;

/** The same line for several events. */
void add(Lines &lines, Step step, const Events &events, const char *text, Step next, Action action,
         Kind kind = Kind::Normal, int attempt = any, int retry = 0)
{
    for (const Event event : events)
        lines.push_back({step, event, attempt, text, next, action, kind, retry});
}

/** A step whose command is sent again twice, and counts its tries. */
struct CountedRetries
{
    Step step;
    Events events;
    const char *texts[2];
    Action again;
};

void add(Lines &lines, const CountedRetries &family)
{
    for (int i = 0; i < 2; ++i) {
        add(lines, family.step, family.events, family.texts[i], family.step, family.again,
            Kind::Retry, i, i + 1);
    }
}

/** A command whose attempts are separate steps. */
struct StepRetries
{
    Step steps[3];
    Step givenUp;
    Events events;
    const char *texts[3];
    Action again;
    Action giveUp;
};

void add(Lines &lines, const StepRetries &family)
{
    for (int i = 0; i < 2; ++i) {
        add(lines, family.steps[i], family.events, family.texts[i], family.steps[i + 1],
            family.again, Kind::Retry, any, i + 1);
    }
    add(lines, family.steps[2], family.events, family.texts[2], family.givenUp, family.giveUp,
        Kind::GivenUp);
}

/** The restart of a device: the product ID is polled three times. */
void addRestart(Lines &lines, Step step, const char *lostText, Step lost)
{
    constexpr const char *texts[] = {text::readProductId, text::productIdRetry1,
                                     text::productIdRetry2};
    // A device that is still starting may refuse.
    add(lines, step, refusal, "", step, action::wait);
    for (int i = 0; i < 3; ++i) {
        add(lines, step, {Event::Silence}, texts[i], step, action::pollProductId,
            i == 0 ? Kind::Normal : Kind::Retry, i, i);
    }
    add(lines, step, {Event::Silence}, lostText, lost, action::failLost, Kind::GivenUp, 3);
}

/** The events that every step accepts. */
void addForAllSteps(Lines &lines)
{
    const struct
    {
        Event event;
        const char *text;
        Step first;
        Action action;
    } starts[] = {
        {Event::StartNewer, text::readModelName, Step::ModelName, action::readModelName},
        {Event::StartForced, "", Step::Bootcode, action::readBootcode},
        {Event::StartImages, "", Step::Bootcode, action::choose},
        {Event::StartFile, "", Step::OtherImage, action::wait},
        {Event::StartInfoRead, text::readVirtualVersion, Step::VirtualVersion,
         action::readVirtualVersion},
        {Event::StartInfoWrites, "", Step::WriteInfo, action::startInfoWrites},
    };
    for (const Step step : allOf<Step>()) {
        for (const auto &start : starts)
            add(lines, step, {start.event}, start.text, start.first, start.action, Kind::Start);
        add(lines, step, {Event::PackageUnusable}, "", step, action::failPackage);
        const bool inImage = step == Step::MainImage || step == Step::OtherImage;
        add(lines, step, {Event::NoSignOfLife}, "", step,
            inImage ? action::repeatImage : action::failStep);
    }
}

// One line for each event of a step; columns are more readable than short lines here.
// clang-format off
void addReads(Lines &lines)
{
    // Product-information read: the virtual version
    add(lines, Step::VirtualVersion, {Event::Answer},      text::virtualVersionRead, Step::Bootcode,                action::readFirstBootcode);
    add(lines, Step::VirtualVersion, {Event::ShortAnswer}, text::virtualVersionError,   Step::VirtualVersionMalformed, action::giveUpVirtualVersion, Kind::GivenUp);
    add(lines, CountedRetries{Step::VirtualVersion, refused, {text::virtualVersionRetry1, text::virtualVersionRetry2}, action::readVirtualVersion});
    add(lines, Step::VirtualVersion, refused,              text::virtualVersionFail,    Step::VirtualVersionGivenUp,   action::readBootcode, Kind::GivenUp, 2);
    add(lines, Step::VirtualVersionMalformed, {Event::VersionGivenUp}, "",                  Step::VirtualVersionGivenUp,   action::readBootcode);
    add(lines, Step::VirtualVersionGivenUp, {Event::Answer}, text::bootcodeRead, Step::Bootcode, action::takeBootcode);
    add(lines, CountedRetries{Step::VirtualVersionGivenUp, noAnswer,
        {text::firstBootcodeRetry1, text::firstBootcodeRetry2}, action::readBootcode});
    add(lines, Step::VirtualVersionGivenUp, noAnswer, text::bootcodeFail, Step::BootcodeGivenUp, action::giveUpRow, Kind::GivenUp, 2);

    // The model name
    add(lines, Step::ModelName, {Event::Answer},       "", Step::ModelName, action::takeModelName);
    add(lines, CountedRetries{Step::ModelName, noAnswer, {text::modelNameRetry1, text::modelNameRetry2}, action::readModelName});
    add(lines, Step::ModelName, {Event::Silence},      text::modelNameFail, Step::ModelName, action::failStep, Kind::GivenUp, 2);
    add(lines, Step::ModelName, refusal,               text::modelNameError, Step::ModelName, action::failStep, Kind::GivenUp, 2);
    add(lines, Step::ModelName, {Event::ModelMatches}, text::modelMatch, Step::Bootcode, action::readFirstBootcode);
    add(lines, Step::ModelName, {Event::ModelDiffers}, "", Step::ModelName, action::failStep);

    // Bootcode information of each row
    for (const Step step : {Step::Bootcode, Step::BootcodeRetry1, Step::BootcodeRetry2})
        add(lines, step, {Event::Answer}, text::bootcodeRead, Step::Bootcode, action::takeBootcode);
    add(lines, StepRetries{{Step::Bootcode, Step::BootcodeRetry1, Step::BootcodeRetry2}, Step::BootcodeGivenUp, noAnswer,
        {text::bootcodeRetry1, text::bootcodeRetry2,
         text::bootcodeFail}, action::readBootcode, action::giveUpRow});
    add(lines, Step::Bootcode, {Event::RecordValid},          "", Step::ProductInfo, action::readProductInfo);
    add(lines, Step::Bootcode, {Event::RecordInvalid},        "", Step::Bootcode, action::refuseInvalidRecord);
    add(lines, Step::Bootcode, {Event::RowsRead}, text::allInfoRead, Step::Version, action::readFirstVersion);
    add(lines, Step::BootcodeGivenUp, {Event::RowGivenUp},    "", Step::Bootcode, action::readNextBootcode);
    add(lines, Step::BootcodeGivenUp, {Event::MainGivenUp},   "", Step::BootcodeGivenUp, action::stopForMainBootcode);

    // Product information of each row
    for (const Step step : {Step::ProductInfo, Step::ProductInfoRetry1, Step::ProductInfoRetry2})
        add(lines, step, {Event::Answer}, text::productInfoRead, Step::ProductInfo, action::takeProductInfo);
    add(lines, StepRetries{{Step::ProductInfo, Step::ProductInfoRetry1, Step::ProductInfoRetry2}, Step::ProductInfoGivenUp, noAnswer,
        {text::productInfoRetry1, text::productInfoRetry2,
         text::productInfoFail}, action::readProductInfo, action::giveUpRow});
    add(lines, Step::ProductInfo, {Event::RowRead},           "", Step::Bootcode, action::readNextBootcode);
    add(lines, Step::ProductInfo, {Event::MainInBootcode}, text::mainMcuFirst, Step::MainMcuFirst, action::chooseMainFirst);
    add(lines, Step::ProductInfoGivenUp, {Event::RowGivenUp}, "", Step::Bootcode, action::readNextBootcode);
    add(lines, Step::ProductInfoGivenUp, {Event::MainGivenUp}, "", Step::ProductInfoGivenUp, action::stopForMainProductInfo);

    // Firmware version of each row
    for (const Step step : {Step::Version, Step::VersionRetry1, Step::VersionRetry2})
        add(lines, step, {Event::Answer}, "", Step::Version, action::takeVersion);
    add(lines, StepRetries{{Step::Version, Step::VersionRetry1, Step::VersionRetry2}, Step::VersionGivenUp, noAnswer,
        {text::versionRetry1, text::versionRetry2,
         text::versionFail}, action::readVersion, action::giveUpVersion});
    add(lines, Step::VersionGivenUp, {Event::RowGivenUp},     "", Step::Version, action::readVersion);
    add(lines, Step::Version, {Event::RowsRead},              "", Step::NextItem, action::chooseFirst);
    add(lines, Step::Version, {Event::InfoComplete},          "", Step::Version, action::finishInfoRead);
}

void addImages(Lines &lines)
{
    add(lines, Step::MainMcuFirst, {Event::MainImageDue},  "", Step::MainImage, action::sendImage);
    add(lines, Step::MainMcuFirst, {Event::MainFirstDone}, "", Step::Bootcode, action::readNextBootcode);
    add(lines, Step::MainImage,    {Event::MainFirstDone}, "", Step::Bootcode, action::readNextBootcode);
    for (const Step step : {Step::Bootcode, Step::NextItem}) {
        add(lines, step, {Event::MainImageDue},  "", Step::MainImage, action::sendImage);
        add(lines, step, {Event::OtherImageDue}, "", Step::OtherImage, action::sendImage);
        add(lines, step, {Event::ItemDone},      "", Step::NextItem, action::chooseNext);
    }
    add(lines, Step::Bootcode, {Event::NoMoreItems}, "", Step::Bootcode, action::finishQuietly);
    add(lines, Step::NextItem, {Event::NoMoreItems}, "", Step::Reboot, action::sendReboot);
    for (const Step step : {Step::MainImage, Step::OtherImage})
        add(lines, step, {Event::ItemDone}, "", Step::NextItem, action::chooseNext);
    add(lines, Step::OtherImage, {Event::ImageWritten}, "", Step::NextItem, action::chooseAfterImage);
    add(lines, Step::MainImage,  {Event::ImageWritten}, text::mainRestarts, Step::MainMcuRestarts, action::awaitRestart);

    // The main MCU restarts with its new image.
    add(lines, Step::MainMcuRestarts, {Event::Answer},      text::mainUpgraded, Step::MainMcuIsBack, action::mainMcuIsBack);
    addRestart(lines, Step::MainMcuRestarts, text::mainRunFail, Step::MainMcuIsLost);
    add(lines, Step::MainMcuIsBack, {Event::ItemDone},      "", Step::NextItem, action::chooseNext);
    add(lines, Step::MainMcuIsBack, {Event::MainFirstDone}, "", Step::Bootcode, action::readNextBootcode);
}

void addEnd(Lines &lines)
{
    // The device reboots with its new images. Any reply accepts the reboot.
    for (const Step step : {Step::Reboot, Step::RebootRetry1, Step::RebootRetry2})
        add(lines, step, anyReply, text::rebootStarted, Step::SystemRestarts, action::awaitRestart);
    add(lines, StepRetries{{Step::Reboot, Step::RebootRetry1, Step::RebootRetry2}, Step::RebootFailed, {Event::Silence},
        {text::rebootRetry1, text::rebootRetry2, text::rebootFail}, action::sendReboot, action::failLost});
    add(lines, Step::SystemRestarts, {Event::Answer},            "", Step::SystemRestarts, action::systemIsBack);
    addRestart(lines, Step::SystemRestarts, text::systemRunFail, Step::SystemIsLost);
    add(lines, Step::SystemRestarts, {Event::InfoWriteDue},      "", Step::WriteInfo, action::writeInfoAfterRun);
    add(lines, Step::SystemRestarts, {Event::NothingToSet},      text::ignoreVirtualVersion, Step::Done, action::finishWithoutImages);

    // The virtual version, at the end of an upgrade
    add(lines, Step::SystemRestarts, {Event::VirtualVersionDue}, text::startVirtualVersion, Step::SetVirtualVersion, action::setVirtualVersion);
    add(lines, Step::SetVirtualVersion, {Event::Answer},         "", Step::SetVirtualVersion, action::takeVirtualVersionSet);
    add(lines, CountedRetries{Step::SetVirtualVersion, noAnswer, {text::setVirtualVersionRetry1, text::setVirtualVersionRetry2}, action::setVirtualVersion});
    add(lines, Step::SetVirtualVersion, noAnswer, text::setVirtualVersionFail, Step::SetVirtualVersion, action::failStep, Kind::GivenUp, 2);
    add(lines, Step::SetVirtualVersion, {Event::VersionSet},     text::virtualVersionSet, Step::Done, action::finishComplete);
    add(lines, Step::SetVirtualVersion, {Event::VersionRefused}, text::virtualVersionNotSet, Step::VirtualVersionRefused, action::finishWithoutVirtualVersion);
}

void addInfoWrites(Lines &lines)
{
    for (const Step step : {Step::WriteInfo, Step::WriteInfoRetry1, Step::WriteInfoRetry2})
        add(lines, step, {Event::Answer}, text::infoWritten, Step::WriteInfo, action::takeInfoWritten);
    add(lines, StepRetries{{Step::WriteInfo, Step::WriteInfoRetry1, Step::WriteInfoRetry2}, Step::WriteInfoGivenUp, noAnswer,
        {text::infoWriteRetry1, text::infoWriteRetry2,
         text::infoWriteFail}, action::writeInfo, action::giveUpInfoWrite});
    add(lines, Step::WriteInfoGivenUp, {Event::RowGivenUp},   "", Step::WriteInfo, action::writeInfo);
    add(lines, Step::WriteInfo, {Event::InfoWritesDone},      "", Step::Idle, action::finishInfoWrites);
}
// clang-format on

Lines makeTable()
{
    Lines lines;
    addForAllSteps(lines);
    addReads(lines);
    addImages(lines);
    addEnd(lines);
    addInfoWrites(lines);
    return lines;
}

} // namespace

const std::vector<Transition> &stepTable()
{
    static const Lines lines = makeTable();
    return lines;
}

const Transition *findTransition(Step step, Event event, int attempt)
{
    using Pair = std::pair<Step, Event>;
    static const auto byPair = [] {
        std::multimap<Pair, const Transition *> lines;
        for (const Transition &line : stepTable())
            lines.emplace(Pair(line.step, line.event), &line);
        return lines;
    }();
    const auto [first, last] = byPair.equal_range({step, event});
    const auto found = std::find_if(first, last, [attempt](const auto &entry) {
        return entry.second->attempt == Transition::anyTry || entry.second->attempt == attempt;
    });
    return found == last ? nullptr : found->second;
}

} // namespace engine
