// SPDX-License-Identifier: Apache-2.0
#include "engine/SequencerTable.h"

#include "engine/ControlCenter.h"
#include "engine/Steps.h"
#include "protocol/CommandWords.h"

#include <algorithm>
#include <string_view>

namespace {

constexpr Event answer = Event::Answer;
constexpr Event silence = Event::Silence;
const Events refusal = Event::Refusal | Event::ShortAnswer;
const Events noAnswer = refusal | silence;
/** Where a short answer has a line of its own. */
const Events refused = Event::Refusal | silence;
const Events anyReply = refusal | answer;
constexpr int any = Transition::anyCount;

struct Awaited
{
    int step;
    quint16 word;
};

const Awaited awaitedWords[] = {
    {step::writeInfo, command::writeProductInformation},
    {step::writeInfoRetry1, command::writeProductInformation},
    {step::writeInfoRetry2, command::writeProductInformation},
    {step::virtualVersion, command::readVirtualVersion},
    {step::virtualVersionGivenUp, command::readBootcode},
    {step::modelName, command::readModelName},
    {step::bootcode, command::readBootcode},
    {step::bootcodeRetry1, command::readBootcode},
    {step::bootcodeRetry2, command::readBootcode},
    {step::productInfo, command::readProductInformation},
    {step::productInfoRetry1, command::readProductInformation},
    {step::productInfoRetry2, command::readProductInformation},
    {step::version, command::readVersion},
    {step::versionRetry1, command::readVersion},
    {step::versionRetry2, command::readVersion},
    {step::mainMcuRestarts, command::readProductId},
    {step::setVirtualVersion, command::setVirtualVersion},
    {step::reboot, command::reboot},
    {step::rebootRetry1, command::reboot},
    {step::rebootRetry2, command::reboot},
    {step::systemRestarts, command::readProductId},
};

} // namespace

struct SequencerActions
{
    using Engine = ControlCenter;
    static const std::vector<Transition> lines;
};

// One line for each (step, event); the columns are worth more than the line length here.
// clang-format off
const std::vector<Transition> SequencerActions::lines = {
// step                        event     count text                                                                      next                           action
// Product-information read: the virtual version
{step::virtualVersion,         answer,   any, "Read virtual version success.",                                           step::bootcode,                &Engine::startBootcodeReads},
{step::virtualVersion,         Event::ShortAnswer, any, "Read virtual version error.",                                   step::virtualVersionMalformed, &Engine::giveUpVirtualVersion},
{step::virtualVersion,         refused,  0,   "Read virtual version fail, retry 1.",                                     step::virtualVersion,          &Engine::sendVirtualVersionRead},
{step::virtualVersion,         refused,  1,   "Read virtual version fail, retry 2.",                                     step::virtualVersion,          &Engine::sendVirtualVersionRead},
{step::virtualVersion,         refused,  2,   "Read virtual version fail.",                                              step::virtualVersionGivenUp,   &Engine::giveUpVirtualVersion},
{step::virtualVersionGivenUp,  answer,   any, "Read the bootcode information of '%1' success.",                          step::bootcode,                &Engine::takeBootcode},
{step::virtualVersionGivenUp,  noAnswer, 0,   "Read the bootcode information of '%1'. fail, retry 1.",                   step::virtualVersionGivenUp,   &Engine::readBootCodeInfo},
{step::virtualVersionGivenUp,  noAnswer, 1,   "Read the bootcode information of '%1'. fail, retry 2.",                   step::virtualVersionGivenUp,   &Engine::readBootCodeInfo},
{step::virtualVersionGivenUp,  noAnswer, 2,   "Read the bootcode information of '%1' fail, check the next mcu.",         step::bootcodeGivenUp,         &Engine::giveUpBootcode},
// The model name
{step::modelName,              answer,   any, "",                                                                        step::modelName,               &Engine::takeModelName},
{step::modelName,              noAnswer, 0,   "Read model name fail, retry 1.",                                          step::modelName,               &Engine::sendModelNameRead},
{step::modelName,              noAnswer, 1,   "Read model name fail, retry 2.",                                          step::modelName,               &Engine::sendModelNameRead},
{step::modelName,              silence,  2,   "Read model name fail, upgrade fail, exit.",                               step::modelName,               &Engine::failStep},
{step::modelName,              refusal,  2,   "Read model name error, upgrade fail. ForcedUpgrade mode is required.",    step::modelName,               &Engine::failStep},
// Bootcode information of each row
{step::bootcode,               answer,   any, "Read the bootcode information of '%1' success.",                          step::bootcode,                &Engine::takeBootcode},
{step::bootcodeRetry1,         answer,   any, "Read the bootcode information of '%1' success.",                          step::bootcode,                &Engine::takeBootcode},
{step::bootcodeRetry2,         answer,   any, "Read the bootcode information of '%1' success.",                          step::bootcode,                &Engine::takeBootcode},
{step::bootcode,               noAnswer, any, "Read the bootcode information of '%1' fail, retry 1.",                    step::bootcodeRetry1,          &Engine::readBootCodeInfo},
{step::bootcodeRetry1,         noAnswer, any, "Read the bootcode information of '%1' fail, retry 2.",                    step::bootcodeRetry2,          &Engine::readBootCodeInfo},
{step::bootcodeRetry2,         noAnswer, any, "Read the bootcode information of '%1' fail, check the next mcu.",         step::bootcodeGivenUp,         &Engine::giveUpBootcode},
// Product information of each row
{step::productInfo,            answer,   any, "Read the product information of '%1'  success.",                          step::productInfo,             &Engine::takeProductInfo},
{step::productInfoRetry1,      answer,   any, "Read the product information of '%1'  success.",                          step::productInfo,             &Engine::takeProductInfo},
{step::productInfoRetry2,      answer,   any, "Read the product information of '%1'  success.",                          step::productInfo,             &Engine::takeProductInfo},
{step::productInfo,            noAnswer, any, "Read the product information of '%1' fail, retry 1.",                     step::productInfoRetry1,       &Engine::readProductInfo},
{step::productInfoRetry1,      noAnswer, any, "Read the product information of '%1' fail, retry 2.",                     step::productInfoRetry2,       &Engine::readProductInfo},
{step::productInfoRetry2,      noAnswer, any, "Read the product information of '%1' fail, check the next mcu.",          step::productInfoGivenUp,      &Engine::giveUpProductInfo},
// Firmware version of each row
{step::version,                answer,   any, "",                                                                        step::version,                 &Engine::takeVersion},
{step::versionRetry1,          answer,   any, "",                                                                        step::version,                 &Engine::takeVersion},
{step::versionRetry2,          answer,   any, "",                                                                        step::version,                 &Engine::takeVersion},
{step::version,                noAnswer, any, "Read the version information of '%1' fail, retry 1.",                     step::versionRetry1,           &Engine::readVersionInfo},
{step::versionRetry1,          noAnswer, any, "Read the version information of '%1' fail, retry 2.",                     step::versionRetry2,           &Engine::readVersionInfo},
{step::versionRetry2,          noAnswer, any, "Read the version information of '%1' fail, check the next mcu.",          step::versionGivenUp,          &Engine::giveUpVersion},
// The main MCU restarts with its new image. A refusal is the word of an MCU that is still starting.
{step::mainMcuRestarts,        answer,   any, "Upgrade Main MCU success.",                                               step::mainMcuIsBack,           &Engine::mainMcuIsBack},
{step::mainMcuRestarts,        refusal,  any, "",                                                                        step::mainMcuRestarts,         &Engine::waitOn},
{step::mainMcuRestarts,        silence,  0,   "Read product ID.",                                                        step::mainMcuRestarts,         &Engine::pollProductId},
{step::mainMcuRestarts,        silence,  1,   "Read product ID fail, retry 1.",                                          step::mainMcuRestarts,         &Engine::pollProductId},
{step::mainMcuRestarts,        silence,  2,   "Read product ID fail, retry 2.",                                          step::mainMcuRestarts,         &Engine::pollProductId},
{step::mainMcuRestarts,        silence,  3,   "Main MCU run fail.",                                                      step::mainMcuIsLost,           &Engine::failLost},
// The product-information record of each row
{step::writeInfo,              answer,   any, "Write '%1' product information success.",                                 step::writeInfo,               &Engine::takeInfoWritten},
{step::writeInfoRetry1,        answer,   any, "Write '%1' product information success.",                                 step::writeInfo,               &Engine::takeInfoWritten},
{step::writeInfoRetry2,        answer,   any, "Write '%1' product information success.",                                 step::writeInfo,               &Engine::takeInfoWritten},
{step::writeInfo,              noAnswer, any, "Write '%1' product information fail, retry 1.",                           step::writeInfoRetry1,         &Engine::writeProductInformation},
{step::writeInfoRetry1,        noAnswer, any, "Write '%1' product information fail, retry 2.",                           step::writeInfoRetry2,         &Engine::writeProductInformation},
{step::writeInfoRetry2,        noAnswer, any, "Write '%1' product information fail, write the next mcu.",                step::writeInfoGivenUp,        &Engine::giveUpInfoWrite},
// The device reboots with everything it got
{step::reboot,                 anyReply, any, "Start to reboot, please wait.",                                           step::systemRestarts,          &Engine::awaitSystem},
{step::rebootRetry1,           anyReply, any, "Start to reboot, please wait.",                                           step::systemRestarts,          &Engine::awaitSystem},
{step::rebootRetry2,           anyReply, any, "Start to reboot, please wait.",                                           step::systemRestarts,          &Engine::awaitSystem},
{step::reboot,                 silence,  any, "Reboot fail, retry 1.",                                                   step::rebootRetry1,            &Engine::sendReboot},
{step::rebootRetry1,           silence,  any, "Reboot fail, retry 2.",                                                   step::rebootRetry2,            &Engine::sendReboot},
{step::rebootRetry2,           silence,  any, "Reboot systerm fail.",                                                    step::rebootFailed,            &Engine::failLost},
{step::systemRestarts,         answer,   any, "",                                                                        step::systemRestarts,          &Engine::systemIsBack},
{step::systemRestarts,         refusal,  any, "",                                                                        step::systemRestarts,          &Engine::waitOn},
{step::systemRestarts,         silence,  0,   "Read product ID.",                                                        step::systemRestarts,          &Engine::pollProductId},
{step::systemRestarts,         silence,  1,   "Read product ID fail, retry 1.",                                          step::systemRestarts,          &Engine::pollProductId},
{step::systemRestarts,         silence,  2,   "Read product ID fail, retry 2.",                                          step::systemRestarts,          &Engine::pollProductId},
{step::systemRestarts,         silence,  3,   "Systerm run fail.",                                                       step::systemIsLost,            &Engine::failLost},
// The virtual version, the last word of an upgrade
{step::setVirtualVersion,      answer,   any, "",                                                                        step::setVirtualVersion,       &Engine::takeVirtualVersionSet},
{step::setVirtualVersion,      noAnswer, 0,   "Set virtual version fail, retry 1.",                                      step::setVirtualVersion,       &Engine::setVirtualVersion},
{step::setVirtualVersion,      noAnswer, 1,   "Set virtual version fail, retry 2.",                                      step::setVirtualVersion,       &Engine::setVirtualVersion},
{step::setVirtualVersion,      noAnswer, 2,   "Set virtual version fail, upgrade fail.",                                 step::setVirtualVersion,       &Engine::failStep},
};
// clang-format on

const std::vector<Transition> &sequencerTable()
{
    return SequencerActions::lines;
}

const Transition *findTransition(int step, Event event, int count)
{
    const auto &lines = SequencerActions::lines;
    const auto found = std::find_if(lines.begin(), lines.end(), [&](const Transition &line) {
        return line.step == step && line.events.testFlag(event) &&
               (line.count == Transition::anyCount || line.count == count);
    });
    return found == lines.end() ? nullptr : &*found;
}

int retryOf(const Transition &line)
{
    const std::string_view text(line.text);
    constexpr std::string_view word = "retry ";
    const size_t found = text.find(word);
    return found == std::string_view::npos ? 0 : text.at(found + word.size()) - '0';
}

bool isTrouble(const Transition &line)
{
    const std::string_view text(line.text);
    return text.find("fail") != std::string_view::npos ||
           text.find("error") != std::string_view::npos;
}

int awaitedWord(int step)
{
    const auto *found = std::find_if(std::begin(awaitedWords), std::end(awaitedWords),
                                     [step](const Awaited &entry) { return entry.step == step; });
    return found == std::end(awaitedWords) ? -1 : found->word;
}
