// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Facts.h"
#include "device-check/Points.h"
#include "device-check/Step.h"

/** The exchanges of each point; Points.cpp has the table. */
namespace devicecheck {

using Steps = QVector<Step>;

// What is read.
Steps anyAnswer(const Facts &);
Steps productIdSteps(const Facts &);
Steps modelNameSteps(const Facts &);
Steps versionSteps(const Facts &facts);
Steps bootcodeSteps(const Facts &facts);
Steps recordSteps(const Facts &facts);
Steps recordLayoutSteps(const Facts &facts);
Steps virtualVersionSteps(const Facts &);
Steps echoSteps(const Facts &facts);
Steps wrongChipSteps(const Facts &facts);
Steps fpgaSteps(const Facts &facts);
Steps numberingSteps(const Facts &facts);
Steps numberingFromZeroSteps(const Facts &facts);

// Commands that are damaged or arrive in an unusual way.
Steps wrongChecksumSteps(const Facts &);
Steps wrongChecksumStatusSteps(const Facts &);
Steps wrongAddressSteps(const Facts &);
Steps wrongStartSteps(const Facts &);
Steps unknownCommandSteps(const Facts &);
Steps piecesSteps(const Facts &);
Steps mergedSteps(const Facts &);
Steps noiseSteps(const Facts &);
Steps abortedSteps(const Facts &);
Steps wrongLengthSteps(const Facts &);
Steps backToBackSteps(const Facts &);

// What is written, in an order that ends with a complete image.
Steps rebootSteps(const Facts &facts);
Steps enterWrongChipSteps(const Facts &facts);
Steps blockOutsideSteps(const Facts &facts);
Steps enterSteps(const Facts &facts);
Steps enterKeepsSteps(const Facts &facts);
Steps blockOrderSteps(const Facts &facts);
Steps firstBlockSteps(const Facts &facts);
Steps halfWrittenSteps(const Facts &facts);
Steps repeatedBlockSteps(const Facts &facts);
Steps skippedBlockSteps(const Facts &facts);
Steps blockLengthSteps(const Facts &facts);
Steps blockChecksumSteps(const Facts &facts);
Steps enterAgainSteps(const Facts &facts);
Steps rebootHalfWrittenSteps(const Facts &facts);
Steps powerOffSteps(const Facts &facts);
Steps imageSteps(const Facts &facts);
Steps backAfterImageSteps(const Facts &facts);
Steps newVersionSteps(const Facts &facts);
Steps setVirtualVersionSteps(const Facts &facts);
Steps virtualVersionKeptSteps(const Facts &facts);
Steps writeRecordSteps(const Facts &facts);

// What all exchanges show together.
QString problemOfExtraFrames(const QVector<Result> &results);
QString problemOfStrayBytes(const QVector<Result> &results);
QString problemOfAnswerTimes(const QVector<Result> &results);
QString problemOfGaps(const QVector<Result> &results);

/** A chip of no device: neither one of these chips nor of a kind that the record names. */
Chip missingChip(const Facts &facts);

} // namespace devicecheck
