// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/FileSource.h"
#include "fwm/Options.h"
#include "fwm/PackageContents.h"

#include <memory>

/** A package on disk and what is in it. */
struct OpenPackage
{
    std::unique_ptr<bytes::FileSource> source;
    PackageContents contents;
    /** When it could not be opened; what is wrong inside is for the command to ask. */
    std::optional<Problem> problem;
};

enum class Depth { Head, Images };

OpenPackage openPackage(const QString &path, Depth depth, const Options &options);

/** The same with every problem inside taken for one: for commands that need a sound package. */
OpenPackage openSoundPackage(const QString &path, const Options &options);
