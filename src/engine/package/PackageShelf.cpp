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

#include <utility>

namespace appStatus = protocol::appStatus;
namespace field = package::field;
using bytes::ByteSource;
using bytes::FileSource;
using package::isBareForm;
using package::PackageChecksum;
using package::PackageDescription;
using package::PackageHeader;
using package::parseDescription;
using package::readDescription;
using package::readPackageHeader;
using platform::logEngine;
using protocol::filled;

namespace engine {

PackageShelf::PackageShelf(const EngineOutput &output, std::function<void()> reportUnreadable)
    : m_output(output), m_reportUnreadable(std::move(reportUnreadable))
{
}

PackageCheck PackageShelf::check(const QString &fileName)
{
    const QString path = packagePath(fileName);
    FileSource file(path);
    const PackageCheck check = checkFile(file, path);
    reportUnopened(check);
    return check;
}

QString PackageShelf::list(const QString &fileName, bool quiet)
{
    qCDebug(logEngine) << "getlistfileName:" << fileName;
    const QString path = packagePath(fileName);
    FileSource file(path);
    const PackageCheck check = checkFile(file, path);
    if (!quiet)
        reportUnopened(check);
    return load(file, check, quiet ? Use::TextOnly : Use::List);
}

void PackageShelf::keepForRun(ByteSource &package)
{
    keep({});
    loadHead(package, Use::Plan);
}

/** Opens the file and checks it, unless it is unchanged since its last check. */
PackageCheck PackageShelf::checkFile(FileSource &file, const QString &path)
{
    const PackageCheck opened = openPackage(file, path);
    if (opened != PackageCheck::NotChecked)
        return opened;
    const PackageChecksum checksum = m_checks.check(file.stamp(), file);
    if (checksum.readError != 0)
        warnOfReadError(checksum.readError);
    return packageVerdict(checksum);
}

void PackageShelf::reportUnopened(PackageCheck check) const
{
    if (check == PackageCheck::Missing || check == PackageCheck::Unreadable)
        m_reportUnreadable();
}

QString PackageShelf::load(FileSource &file, PackageCheck check, Use use)
{
    if (use != Use::TextOnly)
        keep({});
    // A package without a checksum never matches; its first bytes identify it.
    const bool bare = check == PackageCheck::Wrong && isBareForm(file.read(0, package::magicSize));
    const char *const problem = bare ? nullptr : checkProblem(check);
    if (problem != nullptr) {
        if (use == Use::List)
            m_output.list({QString::fromLatin1(protocol::key::appStatus),
                           QString::fromLatin1(appStatus::packageFailed)});
        return filled(problem);
    }
    if (check == PackageCheck::Right)
        sayTo(use, filled(text::checksumOk));
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
        keep({description.firmwareList, description.model, description.version, json});
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
    if (use == Use::List)
        m_output.say(line);
}

void PackageShelf::keep(const Contents &contents)
{
    const std::lock_guard lock(m_mutex);
    m_contents = contents;
}

PackageShelf::Contents PackageShelf::contents() const
{
    const std::lock_guard lock(m_mutex);
    return m_contents;
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
