// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/FileSource.h"
#include "package/PackageChecksum.h"

namespace engine {

/** What the check of a package file found. The numbers are part of the engine's interface. */
enum class PackageCheck { NotChecked = 0, Missing = 1, Unreadable = 2, Right = 3, Wrong = 4 };

/** A package's path; a name may have the scheme "file:///" in front. */
QString packagePath(const QString &fileName);

/** NotChecked when the file is open now, Missing or Unreadable otherwise. */
PackageCheck openPackage(bytes::FileSource &file, const QString &path);

/** Right or Wrong. Logs both checksums. */
PackageCheck packageVerdict(const package::PackageChecksum &checksum);

/** The warning about a package that cannot be read; `error` is a value of errno or 0. */
void warnOfReadError(int error);

/** Why a run cannot use a package with this check; null when it can. */
const char *checkProblem(PackageCheck check);

/** The words for a package whose form or version a run does not take; null when it does. */
const char *versionProblem(bytes::ByteSource &package);

} // namespace engine
