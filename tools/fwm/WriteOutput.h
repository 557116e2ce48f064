// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/AtomicFile.h"
#include "common/CommandOutcome.h"
#include "fwm/Options.h"
#include "fwm/PackageContents.h"
#include "package/PackageWriter.h"

/** Whether both names lead to the same existing file. */
bool isSameFile(const QString &a, const QString &b);

/** Whether a file written under this name would be in the folder, or in one below it. */
bool isInFolder(const QString &file, const QString &folder);

/** Copies a source to a sink. */
enum class Copied { All, SourceChanged, WriteFailed };
Copied copyBytes(bytes::ByteSource &source, bytes::ByteSink &sink);

/** Why a package could not be written; `input` is the file that was being read. */
CommandOutcome writeFailure(package::PackageWriter::Error error, const bytes::AtomicFile &file,
                            const QString &output, const QString &input);

CommandOutcome cannotWrite(const bytes::AtomicFile &file, const QString &output);

/** What to say of a package that was just written. */
CommandOutcome describePackage(const QString &output, const PackageContents &contents);

/** The same of a package on disk, with a warning for what is odd. */
CommandOutcome describeOutput(const QString &output, const Options &options);
