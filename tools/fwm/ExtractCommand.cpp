// SPDX-License-Identifier: Apache-2.0
#include "fwm/Commands.h"
#include "fwm/ImageJson.h"
#include "fwm/OpenPackage.h"
#include "fwm/RequestOf.h"
#include "fwm/Words.h"
#include "fwm/WriteOutput.h"

#include <QDir>
#include <QJsonArray>
#include <QRegularExpression>
#include <QTemporaryDir>

#include <cstdio>
#include <sys/stat.h>

using bytes::AtomicFile;
using bytes::ByteSource;
using bytes::BytesSource;
using bytes::PartSource;
using package::ImageRecord;

namespace {

constexpr int longestName = 64;
constexpr mode_t allPermissions = 0777;

/** A file name from the name of an image: without folders, not hidden. */
QString fileName(const PackageContents &contents, int index)
{
    static const QRegularExpression unwanted(QStringLiteral("[^A-Za-z0-9._-]+"));
    QString name = imageName(contents, contents.images.at(index));
    name = name.replace(unwanted, QStringLiteral("_")).left(longestName);
    if (name.isEmpty())
        name = QStringLiteral("image");
    return QStringLiteral("%1-%2.bin").arg(index + 1, 2, 10, QLatin1Char('0')).arg(name);
}

std::optional<CommandOutcome> writeFile(const QString &path, ByteSource &bytes,
                                        const QString &shown, const QString &input)
{
    AtomicFile file(path);
    if (!file.open())
        return cannotWrite(file, shown);
    switch (copyBytes(bytes, file)) {
    case Copied::SourceChanged:
        return CommandOutcome::failed(ProblemId::ImageChanged, input);
    case Copied::WriteFailed:
        return cannotWrite(file, shown);
    case Copied::All:
        break;
    }
    return file.commit() ? std::nullopt : std::optional<CommandOutcome>(cannotWrite(file, shown));
}

/** All parts of the package, into a new folder that no other program uses. */
std::optional<CommandOutcome> writeAll(const OpenPackage &package, const Options &options,
                                       const QDir &folder, QJsonArray &written)
{
    QStringList names;
    for (int index = 0; index < package.contents.images.size(); ++index) {
        const ImageRecord &record = package.contents.images.at(index).record;
        PartSource image(*package.source, record.imageOffset, record.length);
        names.append(fileName(package.contents, index));
        const QString shown = options.output + QLatin1Char('/') + names.last();
        if (auto failure = writeFile(folder.filePath(names.last()), image, shown, options.file))
            return failure;
        QJsonObject json = imageJson(package.contents, index + 1);
        json.insert(QStringLiteral("file"), shown);
        written.append(json);
    }
    BytesSource description(package.contents.description.json);
    const QString descriptionName = QStringLiteral("description.json");
    if (auto failure = writeFile(folder.filePath(descriptionName), description,
                                 options.output + QLatin1Char('/') + descriptionName, options.file))
        return failure;
    const QByteArray request = requestOf(package.contents, names);
    if (request.isEmpty())
        return std::nullopt;
    BytesSource requestSource(request);
    const QString requestName = QStringLiteral("request.json");
    return writeFile(folder.filePath(requestName), requestSource,
                     options.output + QLatin1Char('/') + requestName, options.file);
}

bool isFree(const QString &folder)
{
    const QFileInfo info(folder);
    return !info.exists() ||
           (info.isDir() && QDir(folder).isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System |
                                                 QDir::NoDotAndDotDot));
}

/** A temporary folder is private; sets the default permissions of new folders. */
void openToOthers(const QString &folder)
{
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::chmod(QFile::encodeName(folder).constData(), allPermissions & ~mask);
}

} // namespace

CommandOutcome runExtract(const Options &options)
{
    const OpenPackage package = openSoundPackage(options.file, options);
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    const QString target = QDir::cleanPath(options.output);
    const QFileInfo old(target);
    if (old.exists() && !old.isDir())
        return CommandOutcome::failed(ProblemId::CannotWrite,
                                      options.output + QStringLiteral(": Not a folder"));
    if (!isFree(target))
        return CommandOutcome::failed(ProblemId::FolderNotEmpty, options.output);

    // In the folder of the target, and renamed when it is complete.
    QTemporaryDir folder(QFileInfo(target).absolutePath() + QStringLiteral("/.fwm-XXXXXX"));
    if (!folder.isValid())
        return CommandOutcome::failed(ProblemId::CannotWrite,
                                      options.output + QStringLiteral(": ") + folder.errorString());
    QJsonArray written;
    if (const auto failure = writeAll(package, options, QDir(folder.path()), written))
        return *failure;
    openToOthers(folder.path());
    if (std::rename(QFile::encodeName(folder.path()).constData(),
                    QFile::encodeName(target).constData()) != 0)
        return CommandOutcome::failed(ProblemId::CannotWrite, options.output);
    folder.setAutoRemove(false);

    CommandOutcome outcome;
    outcome.json = {{QStringLiteral("output"), options.output},
                    {QStringLiteral("images"), written}};
    for (const QJsonValue &image : qAsConst(written))
        outcome.text += printable(image.toObject().value(QStringLiteral("file")).toString()) +
                        QLatin1Char('\n');
    return outcome;
}
