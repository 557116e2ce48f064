// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QJsonDocument>
#include <QStringList>

/** The product-information record for one row, from a package's description. */
namespace planning::productCommand {

enum class Error {
    None,
    /** The description is JSON, but not an object. */
    NotAnObject,
    /** The description has no such chip, MCU model or PCB. */
    NoMatchingChip,
};

struct Command
{
    /** The record as ProductRecord encodes it; empty with an error. */
    QByteArray payload;
    Error error = Error::None;
};

struct Description
{
    /** Null when the text is not JSON. */
    QJsonDocument document;
    /** The parse error; empty with a document. */
    QString error;
};

Description parse(const QByteArray &text);

/**
 * The record for the row with these fields. The main MCU's record names the model and every
 * auxiliary chip of the description; any other row must be found by chip type, MCU model, PCB
 * version and speciality. A main chip listed after auxiliary ones starts the record again, so the
 * main chip must come first.
 */
Command build(const QStringList &row, const QJsonDocument &description);

} // namespace planning::productCommand
