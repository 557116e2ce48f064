// SPDX-License-Identifier: Apache-2.0
#include "engine/package/PackageBuilder.h"

#include "bytes/AtomicFile.h"
#include "bytes/FileSource.h"
#include "engine/report/EngineOutput.h"
#include "package/BuildTexts.h"
#include "package/MergeRequest.h"
#include "package/NetMerge.h"
#include "package/PackageWriter.h"
#include "platform/Log.h"
#include "protocol/WireText.h"

namespace buildtext = package::buildtext;
using bytes::AtomicFile;
using bytes::ByteSource;
using bytes::FileSource;
using package::checkNetImage;
using package::mergeErrorText;
using package::MergeImage;
using package::MergeRequest;
using package::NetCheck;
using package::netMajorVersion;
using package::NetMergePlan;
using package::netMinorVersion;
using package::PackageHeader;
using package::PackageWriter;
using package::parseMergeRequest;
using package::planNetMerge;
using package::readNetImage;
using package::writeNetMerge;
using platform::logEngine;
using protocol::filled;

namespace engine {

namespace {

/** The error text for a request that is not a list of images; empty for a valid one. */
QString requestProblem(const MergeRequest &request, const QString &fileName)
{
    switch (request.error) {
    case MergeRequest::Error::None:
        break;
    case MergeRequest::Error::NotJson:
        qCDebug(logEngine) << "===> please check the string " << request.parseError;
        return filled(buildtext::notJson);
    case MergeRequest::Error::NotAnObject:
        return filled(buildtext::notAnObject, fileName);
    case MergeRequest::Error::ChipsNotAnArray:
        return filled(buildtext::chipsNotAnArray, fileName);
    }
    return {};
}

/** Adds one image; returns an error text, or an empty one. */
QString addImage(PackageWriter &writer, const MergeImage &image, const QString &fileName)
{
    if (image.error != MergeImage::Error::None)
        return mergeErrorText(image.error);
    if (!QFile::exists(image.file)) {
        qCDebug(logEngine) << "file not exist!!";
        return filled(buildtext::imageMissing, image.file);
    }
    FileSource source(image.file);
    if (!source.open()) {
        qCDebug(logEngine) << "file open error!!";
        return filled(buildtext::imageUnreadable, image.file);
    }
    qCDebug(logEngine) << "fileLength:" << source.size();
    if (writer.writeRecord(image.key, source))
        return {};
    return writer.error() == PackageWriter::Error::WriteFailed
               ? filled(buildtext::fail, fileName)
               : filled(buildtext::imageUnreadable, image.file);
}

/** The error text for a package that nothing can be merged into; empty for a valid one. */
QString planProblem(const NetMergePlan &plan)
{
    using Error = NetMergePlan::Error;
    switch (plan.error) {
    case Error::BadHead:
        return filled(plan.header.error == PackageHeader::Error::BadHead
                          ? buildtext::packageHeadError
                          : buildtext::packageHeaderError);
    case Error::NotJson:
        return filled(buildtext::structError);
    case Error::NotAnObject:
        return filled(buildtext::noDocument);
    case Error::ChipsNotAnArray:
        return filled(buildtext::chipsError);
    case Error::BadRecords:
        return filled(buildtext::netRecordNotFound);
    case Error::None:
    case Error::BadChecksum:
    case Error::DescriptionTooLong:
        break;
    }
    return {};
}

} // namespace

void PackageBuilder::build(const QString &fileName, const QString &jsonData)
{
    qCDebug(logEngine) << "jsonData:" << jsonData << "jsonDataLength:" << jsonData.size();
    const auto say = [this](const QString &text) {
        m_output.list({QString::fromLatin1(protocol::key::mergeFirmware), text});
    };
    say(filled(buildtext::start));
    const MergeRequest request = parseMergeRequest(jsonData);
    const QString problem = requestProblem(request, fileName);
    if (!problem.isEmpty()) {
        say(problem);
        return;
    }
    AtomicFile file(fileName);
    if (!file.open()) {
        qCDebug(logEngine) << "Failed to create file";
        say(filled(buildtext::cannotCreate));
        return;
    }
    PackageWriter writer(file);
    writer.writeHeader(request.json, request.jsonLength);
    for (const MergeImage &image : request.images) {
        const QString stop = addImage(writer, image, fileName);
        if (!stop.isEmpty()) {
            say(stop);
            return;
        }
    }
    const bool complete = writer.finish() && file.commit();
    say(filled(complete ? buildtext::success : buildtext::fail, fileName));
}

bool PackageBuilder::checkNet(const QString &filePath)
{
    FileSource source(filePath);
    if (!source.open()) {
        sayNet(filled(buildtext::cannotOpenNet));
        return false;
    }
    const NetCheck check = checkNetImage(source);
    qCDebug(logEngine) << "netver:" << netMajorVersion(check.image) << "."
                       << netMinorVersion(check.image);
    return check.matches();
}

void PackageBuilder::addNet(const QString &packagePath, const QString &netPath,
                            const QString &newPath, const QString &newVersion)
{
    const bool merged = mergeNet(packagePath, netPath, newPath, newVersion);
    sayNet(filled(merged ? buildtext::success : buildtext::fail, newPath));
}

bool PackageBuilder::mergeNet(const QString &packagePath, const QString &netPath,
                              const QString &newPath, const QString &newVersion)
{
    FileSource package(packagePath);
    if (!package.open()) {
        qCDebug(logEngine) << "Failed to open file";
        sayNet(filled(buildtext::cannotOpenPackage));
        return false;
    }
    FileSource net(netPath);
    if (!checkNet(netPath) || !net.open())
        return false;
    const NetMergePlan plan = planNetMerge(package, readNetImage(net), netPath, newVersion);
    const QString problem = planProblem(plan);
    if (!problem.isEmpty())
        sayNet(problem);
    if (plan.error != NetMergePlan::Error::None)
        return false;
    sayNet(filled(buildtext::packageChecksumOk));
    qCDebug(logEngine) << (plan.hadNet ? "HAS NET" : "NO NET")
                       << "arrayChipsSize1:" << plan.chipsBefore
                       << "arrayChipsSize2:" << plan.chipsAfter;
    sayNet(filled(plan.hadNet ? buildtext::hasNet : buildtext::hasNoNet));
    return writeNet(plan, package, net, newPath);
}

bool PackageBuilder::writeNet(const NetMergePlan &plan, ByteSource &package, ByteSource &net,
                              const QString &newPath)
{
    AtomicFile file(newPath);
    if (!file.open()) {
        sayNet(filled(buildtext::cannotCreatePackage));
        return false;
    }
    sayNet(filled(buildtext::created));
    PackageWriter writer(file);
    return writeNetMerge(writer, plan, package, net) && file.commit();
}

void PackageBuilder::sayNet(const QString &text)
{
    m_output.list({QString::fromLatin1(protocol::key::mergeNet), text});
}

} // namespace engine
