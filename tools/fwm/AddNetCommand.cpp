// SPDX-License-Identifier: Apache-2.0
#include "bytes/FileSource.h"
#include "fwm/Commands.h"
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

Failure failureOf(const NetMergePlan &plan, ByteSource &package)
{
    switch (plan.error) {
    case Error::BadChecksum:
        return isBareForm(package.read(0, net::versionSize)) ? Failure::NoChecksum
                                                             : Failure::ChecksumWrong;
    case Error::BadHead:
        return plan.header.error == PackageHeader::Error::NotAPackage ? Failure::NotAPackage
                                                                      : Failure::UnknownVersion;
    case Error::NotJson:
    case Error::NotAnObject:
    case Error::ChipsNotAnArray:
        return Failure::DescriptionUnreadable;
    case Error::BadRecords:
        return Failure::RecordsDamaged;
    case Error::DescriptionTooLong:
        return Failure::DescriptionTooLong;
    case Error::None:
        break;
    }
    return Failure::ImageChanged;
}

Outcome cannotRead(const QString &path, const FileSource &file)
{
    return Outcome::failed(Failure::FileUnreadable,
                           path + QStringLiteral(": ") + file.errorString());
}

Outcome writeMerged(const Options &options, const NetMergePlan &plan, FileSource &package,
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

    Outcome outcome = describeOutput(options.output, options);
    outcome.json.insert(QStringLiteral("replaced"), plan.oldRecord.has_value());
    return outcome;
}

} // namespace

Outcome runAddNet(const Options &options)
{
    FileSource package(options.file);
    if (!package.open())
        return cannotRead(options.file, package);
    FileSource net(options.other);
    if (!net.open())
        return cannotRead(options.other, net);
    // The package itself may be replaced: it is read to its end before that.
    if (isSameFile(options.other, options.output))
        return Outcome::failed(Failure::OutputIsInput, options.output);

    if (net.size() > std::numeric_limits<quint32>::max())
        return Outcome::failed(Failure::ImageTooLarge, options.other);

    const NetCheck check = checkNetImage(net);
    if (!check.matches())
        return Outcome::failed(Failure::NetImageDamaged, options.other);
    const NetMergePlan plan = planNetMerge(package, check.image, options.other, options.release);
    if (plan.error != Error::None)
        return Outcome::failed(failureOf(plan, package), options.file);
    return writeMerged(options, plan, package, net);
}
