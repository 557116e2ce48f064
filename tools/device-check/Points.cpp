// SPDX-License-Identifier: Apache-2.0
#include "device-check/Points.h"

#include "device-check/PointSteps.h"

namespace devicecheck {

const QVector<Point> &points()
{
    constexpr Level required = Level::Required;
    constexpr Level recommended = Level::Recommended;
    constexpr bool reads = false;
    constexpr bool writes = true;
    // clang-format off
    static const QVector<Point> table{
        {"answers", required, reads, "the-line", "",
         "the device answers a command", anyAnswer},
        {"read-product-id", required, reads, "commands", "answers",
         "F802 is answered in the ordinary form", productIdSteps},
        {"read-model", required, reads, "commands", "answers",
         "F903 is answered with the model in UTF-8", modelNameSteps},
        {"read-version", required, reads, "commands", "answers",
         "F902 is answered with type, index and 2 or 3 numbers", versionSteps},
        {"read-bootcode", required, reads, "commands", "answers",
         "F900 is answered with type, index and 5 bytes", bootcodeSteps},
        {"read-information", required, reads, "commands", "answers",
         "F901 is answered with a record", recordSteps},
        {"information-layout", recommended, reads, "the-product-information-record", "read-information",
         "the record has the layout in which it is written", recordLayoutSteps},
        {"read-virtual-version", recommended, reads, "commands", "answers",
         "F905 is answered with 1 byte", virtualVersionSteps},
        {"chip-echo", required, reads, "frames", "answers",
         "the answer about a chip begins with the type and index of the command", echoSteps},
        {"wrong-chip", required, reads, "index-and-quantity", "answers",
         "a chip that does not exist gives no answer", wrongChipSteps},
        {"fpga-reads", recommended, reads, "commands", "answers",
         "an FPGA has neither bootcode nor product information", fpgaSteps,
         nullptr, "no FPGA is known; --chip names one"},
        {"numbering", required, reads, "index-and-quantity", "read-version",
         "the chips of each type are numbered from zero or by quantity", numberingSteps},
        {"numbering-from-zero", recommended, reads, "index-and-quantity", "numbering",
         "the first chip of each type has index 0", numberingFromZeroSteps},

        {"wrong-checksum", required, reads, "damaged-commands", "read-model",
         "a command with a wrong checksum is not executed", wrongChecksumSteps},
        {"wrong-checksum-status", recommended, reads, "damaged-commands", "read-model",
         "a command with a wrong checksum is answered with status 1", wrongChecksumStatusSteps},
        {"wrong-address", recommended, reads, "damaged-commands", "read-model",
         "a frame with another address is not executed", wrongAddressSteps},
        {"wrong-start", recommended, reads, "damaged-commands", "read-model",
         "a frame with the start byte of a device is not executed", wrongStartSteps},
        {"unknown-command", recommended, reads, "damaged-commands", "read-model",
         "an unknown command is refused or not answered", unknownCommandSteps},
        {"frame-in-pieces", required, reads, "damaged-commands", "read-model",
         "a frame may arrive in pieces", piecesSteps},
        {"merged-frames", recommended, reads, "damaged-commands", "read-model",
         "two commands that arrive at once are answered in their order", mergedSteps},
        {"noise", recommended, reads, "damaged-commands", "read-model",
         "a command right after noise is answered", noiseSteps},
        {"aborted-frame", required, reads, "damaged-commands", "read-model",
         "an incomplete frame is dropped after 5 s at most", abortedSteps},
        {"wrong-length", required, reads, "damaged-commands", "read-model",
         "a header with an impossible length is dropped after 5 s at most", wrongLengthSteps},
        {"back-to-back", required, reads, "the-line", "read-model",
         "the next command may follow an answer at once", backToBackSteps},

        {"reboot", required, writes, "restart", "answers",
         "7902 restarts the device, which answers F802 again in time", rebootSteps},
        {"enter-wrong-chip", required, writes, "index-and-quantity", "reboot",
         "a chip that does not exist does not enter the update mode", enterWrongChipSteps},
        {"block-outside", required, writes, "writing-an-image", "reboot",
         "a block without update mode is refused", blockOutsideSteps},
        {"enter", required, writes, "commands", "reboot",
         "7900 is answered with status 0 in the extended form", enterSteps},
        {"enter-erases-nothing", required, writes, "state-of-the-flash", "enter",
         "7900 changes neither bootcode flag nor version", enterKeepsSteps},
        {"block-order", required, writes, "writing-an-image", "enter",
         "a block other than number 0 is refused after 7900, and erases nothing", blockOrderSteps},
        {"first-block", required, writes, "state-of-the-flash", "enter",
         "block 0 erases the flash and is accepted within 15 s", firstBlockSteps},
        {"half-written", required, writes, "state-of-the-flash", "first-block",
         "a chip with an incomplete image sets its bootcode flag and has version 0", halfWrittenSteps},
        {"repeated-block", required, writes, "writing-an-image", "first-block",
         "a repeated block is accepted, and both answers come without a gap", repeatedBlockSteps},
        {"skipped-block", required, writes, "writing-an-image", "first-block",
         "another block than the next one is refused", skippedBlockSteps},
        {"block-length", required, writes, "damaged-commands", "first-block",
         "a block of a wrong length is not written", blockLengthSteps},
        {"block-checksum", required, writes, "damaged-commands", "first-block",
         "a block with a wrong checksum is not written", blockChecksumSteps},
        {"enter-again", required, writes, "state-of-the-flash", "first-block",
         "7900 starts an incomplete image again", enterAgainSteps},
        {"reboot-half-written", required, writes, "state-of-the-flash", "half-written",
         "an incomplete image stays incomplete after a reboot", rebootHalfWrittenSteps},
        {"power-off", required, writes, "state-of-the-flash", "half-written",
         "an incomplete image stays incomplete when the power was off, and can be written again", powerOffSteps},
        {"image", required, writes, "writing-an-image", "first-block",
         "every block of an image is accepted in time", imageSteps},
        {"back-after-image", required, writes, "restart", "image",
         "after its last block a chip answers again in time", backAfterImageSteps},
        {"new-version", required, writes, "state-of-the-flash", "back-after-image",
         "after the last block the bootcode flag is 0 and the version is that of the image", newVersionSteps},
        {"set-virtual-version", required, writes, "commands", "reboot",
         "7905 is answered with status 0 in the extended form", setVirtualVersionSteps},
        {"virtual-version-kept", recommended, writes, "commands", "set-virtual-version",
         "F905 reads what 7905 has set", virtualVersionKeptSteps,
         nullptr, "the device does not answer F905"},
        {"write-information", recommended, writes, "the-product-information-record", "reboot",
         "7903 writes a record, which F901 reads", writeRecordSteps,
         nullptr, "the chip has no record that could be read"},

        {"one-answer", required, reads, "the-line", "answers",
         "each command has one answer", nullptr, problemOfExtraFrames},
        {"only-answers", recommended, reads, "the-line", "answers",
         "the device sends nothing but answers", nullptr, problemOfStrayBytes},
        {"answer-time", recommended, reads, "time-outs-and-retries", "answers",
         "a read command is answered within 1 s", nullptr, problemOfAnswerTimes},
        {"answer-gaps", recommended, reads, "the-line", "answers",
         "the bytes of an answer follow each other without long gaps", nullptr, problemOfGaps},
    };
    // clang-format on
    return table;
}

const char *levelName(Level level)
{
    return level == Level::Required ? "required" : "recommended";
}

const char *stateName(State state)
{
    switch (state) {
    case State::Passed:
        return "passed";
    case State::Failed:
        return "failed";
    case State::NotTested:
        return "not-tested";
    case State::NotApplicable:
        break;
    }
    return "not-applicable";
}

} // namespace devicecheck
