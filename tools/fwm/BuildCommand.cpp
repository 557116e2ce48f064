// SPDX-License-Identifier: Apache-2.0
#include "bytes/FileSource.h"
#include "common/Progress.h"
#include "fwm/Commands.h"
#include "fwm/Words.h"
#include "fwm/WriteOutput.h"
#include "package/DescriptionKeys.h"
#include "package/MergeRequest.h"
#include "package/PackageLayout.h"

#include <QDir>
#include <QFileInfo>
#include <QMap>

#include <algorithm>

namespace description = package::description;
using bytes::AtomicFile;
using bytes::FileSource;
using package::mergeErrorText;
using package::MergeImage;
using package::MergeRequest;
using package::PackageWriter;
using package::parseMergeRequest;

namespace {

/** The request's text, or why there is none. */
struct RequestText
{
    QByteArray bytes;
    std::optional<CommandOutcome> failure;
};

RequestText readRequest(const QString &path)
{
    FileSource file(path);
    if (!file.open())
        return {{},
                CommandOutcome::failed(ProblemId::FileUnreadable,
                                       path + QStringLiteral(": ") + file.errorString())};
    if (file.size() > package::longestShortJson)
        return {{},
                CommandOutcome::failed(ProblemId::RequestTooLong,
                                       QStringLiteral("%1: %2 bytes").arg(path).arg(file.size()))};
    const QByteArray bytes = file.read(0, file.size());
    const auto foreign = std::find_if(bytes.begin(), bytes.end(), [](char byte) {
        return static_cast<unsigned char>(byte) > 0x7f;
    });
    if (foreign != bytes.end()) {
        const int line = 1 + int(std::count(bytes.begin(), foreign, '\n'));
        return {{},
                CommandOutcome::failed(ProblemId::RequestNotAscii,
                                       QStringLiteral("%1: line %2").arg(path).arg(line))};
    }
    return {bytes, std::nullopt};
}

QString imagePath(const QString &request, const MergeImage &image)
{
    // An empty name would lead to the folder itself, which exists.
    if (image.file.isEmpty())
        return {};
    return QDir(QFileInfo(request).path()).filePath(image.file);
}

QString placeIn(const QString &request, const MergeImage &image)
{
    return QStringLiteral("%1: %2 \"%3\"")
        .arg(request, placeText(image.entry),
             description::text(image.entry.pcb, package::key::name));
}

/** The key of the request that a refused image has wrong, and its value. */
QString wrongValue(const MergeImage &image)
{
    using Error = MergeImage::Error;
    const QString speciality = image.entry.pcb.contains(package::key::inSpeciality)
                                   ? package::key::inSpeciality
                                   : package::key::speciality;
    const QMap<Error, QString> keys{
        {Error::NeedVer3, package::key::ver3},
        {Error::ChipType, package::key::chipType},
        {Error::ChipQuantity, package::key::inChipQuantity},
        {Error::McuType, package::key::inMcuType},
        {Error::PcbVersion, package::key::inPcbVersion},
        {Error::Speciality, speciality},
    };
    const QString key = keys.value(image.error);
    const QJsonObject &object = image.error == Error::ChipType ? image.entry.chip : image.entry.pcb;
    const QJsonValue value = object.value(key);
    if (value.isUndefined())
        return QStringLiteral("\"%1\" is missing").arg(key);
    if (!value.isString())
        return QStringLiteral("\"%1\" is not a string").arg(key);
    return QStringLiteral("\"%1\" is \"%2\"").arg(key, value.toString());
}

/** Everything that can be wrong with one image before a byte of it is read. */
std::optional<CommandOutcome> checkImage(const Options &options, const MergeImage &image)
{
    const QString place = placeIn(options.file, image);
    const auto failed = [&place](ProblemId failure, const QString &detail) {
        return CommandOutcome::failed(failure, place + QStringLiteral(": ") + detail);
    };
    if (image.error != MergeImage::Error::None)
        return failed(ProblemId::RequestValue,
                      mergeErrorText(image.error) + QLatin1Char(' ') + wrongValue(image));
    const QString path = imagePath(options.file, image);
    if (!QFileInfo::exists(path))
        return failed(ProblemId::ImageFileMissing, path);
    if (isSameFile(path, options.output))
        return failed(ProblemId::OutputIsInput, options.output);
    return std::nullopt;
}

std::optional<CommandOutcome> writeImage(PackageWriter &writer, const AtomicFile &output,
                                         const Options &options, const MergeImage &image)
{
    if (std::optional<CommandOutcome> failure = checkImage(options, image))
        return failure;
    const QString path = imagePath(options.file, image);
    FileSource file(path);
    if (!file.open())
        return CommandOutcome::failed(ProblemId::ImageUnreadable,
                                      placeIn(options.file, image) + QStringLiteral(": ") + path +
                                          QStringLiteral(": ") + file.errorString());
    Progress progress(path, file.size(), options.progress);
    ProgressSource source(file, progress);
    if (!writer.writeRecord(image.key, source))
        return writeFailure(writer.error(), output, options.output, path);
    return std::nullopt;
}

} // namespace

CommandOutcome runBuild(const Options &options)
{
    const RequestText text = readRequest(options.file);
    if (text.failure)
        return *text.failure;
    const MergeRequest request = parseMergeRequest(QString::fromLatin1(text.bytes));
    if (request.error != MergeRequest::Error::None)
        return CommandOutcome::failed(
            ProblemId::RequestUnreadable,
            options.file + QStringLiteral(": ") +
                (request.parseError.isEmpty() ? QStringLiteral("no object with a list of \"chips\"")
                                              : request.parseError));
    if (isSameFile(options.file, options.output))
        return CommandOutcome::failed(ProblemId::OutputIsInput, options.output);

    AtomicFile output(options.output);
    if (!output.open())
        return cannotWrite(output, options.output);
    PackageWriter writer(output);
    writer.writeHeader(request.json, request.jsonLength);
    for (const MergeImage &image : request.images) {
        if (const std::optional<CommandOutcome> failure =
                writeImage(writer, output, options, image))
            return *failure;
    }
    if (!writer.finish() || !output.commit())
        return cannotWrite(output, options.output);
    return describeOutput(options.output, options);
}
