// SPDX-License-Identifier: Apache-2.0
#include "bytes/FileSource.h"
#include "fwm/Commands.h"
#include "fwm/Words.h"
#include "fwm/WriteOutput.h"
#include "package/NetMerge.h"

#include <limits>

namespace net = package::net;
using bytes::AtomicFile;
using bytes::ByteSource;
using bytes::FileSource;
using package::checkNetImage;
using package::isBareForm;
using package::NetCheck;
using package::NetMergePlan;
using package::PackageHeader;
using package::PackageWriter;
using package::planNetMerge;
using package::writeNetMerge;

namespace {

using Error = NetMergePlan::Error;

ProblemId failureOf(const NetMergePlan &plan, ByteSource &package)
{
    switch (plan.error) {
    case Error::BadChecksum:
        return isBareForm(package.read(0, net::versionSize)) ? ProblemId::NoChecksum
                                                             : ProblemId::ChecksumWrong;
    case Error::BadHead:
        return plan.header.error == PackageHeader::Error::NotAPackage ? ProblemId::NotAPackage
                                                                      : ProblemId::UnknownVersion;
    case Error::NotJson:
    case Error::NotAnObject:
    case Error::ChipsNotAnArray:
        return ProblemId::DescriptionUnreadable;
    case Error::BadRecords:
        return ProblemId::RecordsDamaged;
    case Error::DescriptionTooLong:
        return ProblemId::DescriptionTooLong;
    case Error::None:
        break;
    }
    return ProblemId::ImageChanged;
}

/** Whether a rejected file is a damaged image, and not another file. */
bool looksLikeNetImage(const package::NetImage &image)
{
    return image.archiveLength > 0 && isNetVersion(QString::fromLatin1(image.version));
}

CommandOutcome cannotRead(const QString &path, const FileSource &file)
{
    return CommandOutcome::failed(ProblemId::FileUnreadable,
                                  path + QStringLiteral(": ") + file.errorString());
}

CommandOutcome writeMerged(const Options &options, const NetMergePlan &plan, FileSource &package,
                           FileSource &net)
{
    AtomicFile output(options.output);
    if (!output.open())
        return cannotWrite(output, options.output);
    PackageWriter writer(output);
    const qint64 netSize = net.size();
    if (!writeNetMerge(writer, plan, package, net))
        return writeFailure(writer.error(), output, options.output,
                            net.size() == netSize ? options.file : options.other);
    if (!output.commit())
        return cannotWrite(output, options.output);

    CommandOutcome outcome = describeOutput(options.output, options);
    outcome.json.insert(QStringLiteral("replaced"), plan.oldRecord.has_value());
    return outcome;
}

} // namespace

CommandOutcome runAddNet(const Options &options)
{
    FileSource package(options.file);
    if (!package.open())
        return cannotRead(options.file, package);
    FileSource net(options.other);
    if (!net.open())
        return cannotRead(options.other, net);
    // The package itself may be replaced: it is read to its end before that.
    if (isSameFile(options.other, options.output))
        return CommandOutcome::failed(ProblemId::OutputIsInput, options.output);

    if (net.size() > std::numeric_limits<quint32>::max())
        return CommandOutcome::failed(ProblemId::ImageTooLarge, options.other);

    const NetCheck check = checkNetImage(net);
    if (!check.matches())
        return CommandOutcome::failed(looksLikeNetImage(check.image) ? ProblemId::NetImageDamaged
                                                                     : ProblemId::NetImageInvalid,
                                      options.other);
    const NetMergePlan plan = planNetMerge(package, check.image, options.other, options.release);
    if (plan.error != Error::None)
        return CommandOutcome::failed(failureOf(plan, package), options.file);
    return writeMerged(options, plan, package, net);
}
