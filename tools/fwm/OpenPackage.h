// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/FileSource.h"
#include "fwm/Options.h"
#include "fwm/PackageContents.h"

#include <memory>

/** A package on disk and its content. */
struct OpenPackage
{
    std::unique_ptr<bytes::FileSource> source;
    PackageContents contents;
    /** Set if it could not be opened; the command checks the content. */
    std::optional<Problem> problem;
};

enum class Depth { Head, Images };

OpenPackage openPackage(const QString &path, Depth depth, const Options &options);

/** The same for commands that need a valid package: its problems count, too. */
OpenPackage openSoundPackage(const QString &path, const Options &options);
