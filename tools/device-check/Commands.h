// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "device-check/Facts.h"
#include "device-check/Step.h"

#include <initializer_list>

/** The commands of the host as steps, with the answers that the protocol asks for. */
namespace devicecheck {

/** Type and index, with which the data of an answer about a chip begin. */
constexpr int echoSize = 2;

/** A frame of the host. */
QByteArray hostFrame(quint16 word, const QByteArray &data = {});
/** The same frame with another last byte, so that its checksum is wrong. */
QByteArray withWrongChecksum(QByteArray frame);

// The answers.
/** The ordinary form with this many data bytes. */
Expected data(quint16 word, int least, int most);
Expected data(quint16 word, int size);
Expected status(quint16 word, quint8 status = 0);
Expected refusal(quint16 word);
Expected any(quint16 word);

// What is read. The answers about a chip are checked for their size, and not for type and index.
Expected productId();
Expected modelName();
Expected virtualVersion();
Expected bootcode();
Expected record();
Expected version();

/** A command that is answered like this. */
Step ask(const QString &text, const QByteArray &frame, const Expected &expected);
/** A command that must not be answered. */
Step askNothing(const QString &text, const QByteArray &frame);
/** A command that may be answered like this, or not at all. */
Step mayAsk(const QString &text, const QByteArray &frame, const Expected &expected);

Step readProductId();
Step readModelName();
Step readVirtualVersion();
Step readBootcode(Chip chip);
Step readRecord(Chip chip);
Step readVersion(Chip chip);

QByteArray chipData(Chip chip);
QString chipText(Chip chip);
/** The numbers in the data of an answer to F902: "1.0.0". */
QString versionText(const QByteArray &version);

// What is written.
Step enterUpdateMode(Chip chip);
/** The frame of a block of the image, the last one padded; `flags` 0 for one that is not last. */
QByteArray blockFrame(const Facts &facts, int number, quint8 flags = 0);
int blockCount(const Facts &facts);
/** A block that is accepted; the last one of the image has the last-block flag. */
Step writeBlock(const Facts &facts, int number);
/** A block that must be refused. */
Step refusedBlock(const QString &text, const QByteArray &frame);
/** 7902, and then the wait until the device answers again. */
QVector<Step> reboot();
/** F802 until the device answers, as the agent asks a device that restarts. */
Step waitUntilBack();
Step switchPowerOffAndOn();

} // namespace devicecheck
