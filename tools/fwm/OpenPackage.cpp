// SPDX-License-Identifier: Apache-2.0
#include "fwm/OpenPackage.h"

#include "common/Progress.h"

using bytes::FileSource;
using bytes::SumKind;

OpenPackage openPackage(const QString &path, Depth depth, const Options &options)
{
    OpenPackage package;
    package.source = std::make_unique<FileSource>(path);
    if (!package.source->open()) {
        package.problem = Problem{ProblemId::FileUnreadable,
                                  path + QStringLiteral(": ") + package.source->errorString()};
        return package;
    }
    const int readings = depth == Depth::Images ? 2 : 1;
    Progress progress(path, package.source->size() * readings, options.progress);
    ProgressSource source(*package.source, progress);
    const SumKind kind = options.keys.isEmpty() ? SumKind::Crc32 : SumKind::Blake2b;
    package.contents = depth == Depth::Images ? readContents(source, kind) : readHead(source, kind);
    return package;
}

OpenPackage openSoundPackage(const QString &path, const Options &options)
{
    OpenPackage package = openPackage(path, Depth::Images, options);
    if (package.problem)
        return package;
    package.problem = packageProblem(package.contents);
    if (package.problem)
        package.problem->detail = path;
    return package;
}
