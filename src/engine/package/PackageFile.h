// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/FileSource.h"
#include "package/PackageChecksum.h"

namespace engine {

/** The result of the check of a package file. The numbers are part of the engine's interface. */
enum class PackageCheck { NotChecked = 0, Missing = 1, Unreadable = 2, Right = 3, Wrong = 4 };

/** A package's path; the scheme "file:///" is removed. */
QString packagePath(const QString &fileName);

/** Opens the file: NotChecked on success, Missing or Unreadable otherwise. */
PackageCheck openPackage(bytes::FileSource &file, const QString &path);

/** Right or Wrong. Logs both checksums. */
PackageCheck packageVerdict(const package::PackageChecksum &checksum);

/** The warning about a package that cannot be read; `error` is a value of errno or 0. */
void warnOfReadError(int error);

/** Why a run cannot use a package with this check; null when it can. */
const char *checkProblem(PackageCheck check);

/** The error text for a package whose form or version a run does not accept; null if it does. */
const char *versionProblem(bytes::ByteSource &package);

} // namespace engine
