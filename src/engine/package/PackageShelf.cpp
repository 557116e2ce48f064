// SPDX-License-Identifier: Apache-2.0
#include "engine/package/PackageShelf.h"

#include "engine/report/EngineOutput.h"
#include "package/PackageDescription.h"
#include "package/PackageHeader.h"
#include "package/PackageLayout.h"
#include "planning/TypeAndIndexTable.h"
#include "platform/Log.h"
#include "protocol/AppStatus.h"
#include "protocol/WireText.h"
#include "signing/TrustedKeys.h"

#include <utility>

namespace appStatus = protocol::appStatus;
namespace field = package::field;
using bytes::ByteSource;
using bytes::FileSource;
using bytes::SumKind;
using package::isBareForm;
using package::PackageChecksum;
using package::PackageDescription;
using package::PackageHeader;
using package::parseDescription;
using package::readDescription;
using package::readPackageHeader;
using platform::logEngine;
using protocol::filled;
using signing::lineOf;
using signing::readTrustFiles;
using signing::signaturePath;
using signing::TrustFiles;
using signing::Verdict;

namespace engine {

PackageShelf::PackageShelf(const EngineOutput &output, std::function<void()> reportUnreadable,
                           const QString &keyFolder)
    : m_output(output), m_reportUnreadable(std::move(reportUnreadable)), m_keyFolder(keyFolder)
{
}

PackageCheck PackageShelf::check(const QString &fileName)
{
    const QString path = packagePath(fileName);
    FileSource file(path);
    const PackageCheck check = checkFile(file, path, Use::TextOnly).check;
    reportUnopened(check);
    return check;
}

QString PackageShelf::list(const QString &fileName, bool quiet)
{
    return open(fileName, quiet ? Use::TextOnly : Use::List);
}

QString PackageShelf::listForUpgrade(const QString &fileName)
{
    return open(fileName, Use::Upgrade);
}

QString PackageShelf::open(const QString &fileName, Use use)
{
    qCDebug(logEngine) << "getlistfileName:" << fileName;
    const QString path = packagePath(fileName);
    FileSource file(path);
    const Checked checked = checkFile(file, path, use);
    if (use != Use::TextOnly)
        reportUnopened(checked.check);
    return load(file, checked, use);
}

void PackageShelf::keepForRun(ByteSource &package)
{
    m_contents.set({});
    loadHead(package, Use::Plan);
}

/** Opens the file and checks it, unless it is unchanged since its last check. Without a report the
 *  keys do not matter. */
PackageShelf::Checked PackageShelf::checkFile(FileSource &file, const QString &path, Use use)
{
    const PackageCheck opened = openPackage(file, path);
    if (opened != PackageCheck::NotChecked)
        return {opened, {}};
    const TrustFiles files =
        use == Use::TextOnly ? TrustFiles() : readTrustFiles(m_keyFolder, signaturePath(path));
    const PackageChecksum checksum =
        m_checks.check(file.stamp(), file, files.needDigest() ? SumKind::Blake2b : SumKind::Crc32);
    if (checksum.readError != 0)
        warnOfReadError(checksum.readError);
    return {packageVerdict(checksum), files.judge(checksum.digest)};
}

void PackageShelf::reportUnopened(PackageCheck check) const
{
    if (check == PackageCheck::Missing || check == PackageCheck::Unreadable)
        m_reportUnreadable();
}

void PackageShelf::reportFailure() const
{
    m_output.list({QString::fromLatin1(protocol::key::appStatus),
                   QString::fromLatin1(appStatus::packageFailed)});
}

QString PackageShelf::load(FileSource &file, const Checked &checked, Use use)
{
    if (use != Use::TextOnly)
        m_contents.set({});
    // A package without a checksum never matches; its first bytes identify it.
    const bool bare =
        checked.check == PackageCheck::Wrong && isBareForm(file.read(0, package::magicSize));
    const char *const problem = bare ? nullptr : checkProblem(checked.check);
    if (problem != nullptr) {
        if (use != Use::TextOnly)
            reportFailure();
        return filled(problem);
    }
    if (checked.check == PackageCheck::Right)
        sayTo(use, filled(text::checksumOk));
    if (checked.trust.kind != Verdict::Kind::NotRequired)
        sayTo(use, lineOf(checked.trust));
    if (use == Use::Upgrade && !checked.trust.allowsUse()) {
        reportFailure();
        return {};
    }
    return loadHead(file, use);
}

QString PackageShelf::loadHead(ByteSource &source, Use use)
{
    const PackageHeader header = readPackageHeader(source);
    if (header.error == PackageHeader::Error::NotAPackage) {
        sayTo(use, filled(text::notAPackage));
        return filled(text::errorNotAPackage);
    }
    if (header.error == PackageHeader::Error::BadHead) {
        sayTo(use, filled(text::badHead));
        return {};
    }
    qCDebug(logEngine) << "jsonLength:" << header.jsonLength;
    sayTo(use, filled(text::packageVersion, QString::number(header.version)));
    return loadDescription(parseDescription(readDescription(source, header)), use);
}

QString PackageShelf::loadDescription(const PackageDescription &description, Use use)
{
    using Error = PackageDescription::Error;
    if (description.error == Error::NotJson || description.error == Error::NotAnObject) {
        qCDebug(logEngine) << "===> please check the string " << description.parseError;
        sayTo(use, filled(text::badDescription));
        return {};
    }
    qCDebug(logEngine) << "Document is an object";
    const QString json = QString::fromLocal8Bit(description.json);
    if (use != Use::TextOnly)
        m_contents.set({description.firmwareList, description.model, description.version, json});
    sayTo(use, filled(text::modelName, description.model));
    sayTo(use, filled(text::release, description.version));
    if (description.error == Error::ChipsNotAnArray) {
        sayTo(use, filled(text::badChips));
        return {};
    }
    return json;
}

void PackageShelf::sayTo(Use use, const QString &line) const
{
    if (use == Use::List || use == Use::Upgrade)
        m_output.say(line);
}

QStringList PackageShelf::entryOf(int chipType) const
{
    const QStringList entries = firmwareList();
    for (const QString &entry : entries) {
        const QStringList fields = entry.split(QLatin1Char(','));
        if (fields.value(field::chipType) == QString::number(chipType))
            return fields;
    }
    return {};
}

} // namespace engine
