// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/PackageFacts.h"

#include "bytes/FileSource.h"
#include "client/PackageCopy.h"
#include "fwm/Findings.h"
#include "fwm/ImageJson.h"
#include "fwm/PackageContents.h"

#include <QFile>
#include <QFileInfo>
#include <QJsonArray>
#include <QStorageInfo>

#include <sys/stat.h>

namespace web {

using bytes::AtomicFile;
using bytes::FileSource;
using bytes::FileStamp;
using bytes::readSmallFile;
using bytes::SmallFile;
using bytes::SumKind;
using client::PackageCopy;
using signing::signatureFileLimit;
using signing::signaturePath;

namespace {

/** That stays free for logs and other programs, in bytes. */
constexpr qint64 spaceLeft = qint64{1024} * 1024;

QJsonArray findingsJson(const QVector<Finding> &findings)
{
    QJsonArray list;
    for (const Finding &finding : findings) {
        const bool isError = finding.severity == Finding::Severity::Error;
        list.append(QJsonObject{{"severity", isError ? "error" : "warning"},
                                {"id", finding.name},
                                {"offset", finding.offset},
                                {"text", finding.text}});
    }
    return list;
}

/** The members of `fwm info` and the findings; the problem of a package with errors. */
CommandOutcome outcomeOf(const PackageContents &contents)
{
    const QVector<Finding> findings = findingsIn(contents);
    CommandOutcome outcome;
    outcome.json = infoJson(contents);
    outcome.json["findings"] = findingsJson(findings);
    if (const auto problem = packageProblem(contents))
        outcome.fail(problem->id, problem->detail);
    else if (hasErrors(findings))
        outcome.fail(ProblemId::FindingsFound, {});
    return outcome;
}

} // namespace

std::optional<FileStamp> stampOf(const QString &path)
{
    constexpr qint64 nanoseconds = 1'000'000'000;
    struct stat info = {};
    if (::stat(QFile::encodeName(path).constData(), &info) != 0)
        return std::nullopt;
    FileStamp stamp;
    stamp.device = info.st_dev;
    stamp.inode = info.st_ino;
    stamp.size = info.st_size;
    stamp.modified = info.st_mtim.tv_sec * nanoseconds + info.st_mtim.tv_nsec;
    stamp.changed = info.st_ctim.tv_sec * nanoseconds + info.st_ctim.tv_nsec;
    return stamp;
}

PackageFacts readPackage(const QString &path)
{
    PackageFacts facts;
    const auto stamp = stampOf(path);
    facts.outcome.json["present"] = stamp.has_value();
    if (!stamp)
        return facts;
    facts.isPresent = true;
    facts.stamp = *stamp;
    FileSource source(path);
    if (!source.open()) {
        facts.outcome.fail(ProblemId::FileUnreadable, source.errorString());
        return facts;
    }
    const PackageContents contents = readContents(source, SumKind::Blake2b);
    facts.outcome = outcomeOf(contents);
    facts.outcome.json["present"] = true;
    facts.checksum = contents.checksum;
    facts.checksum.chunks = bytes::ChunkSums();
    const PackageCopy copy = PackageCopy::read(source);
    facts.description = copy.description;
    facts.sizes = copy.sizes;
    return facts;
}

void addSignature(CommandOutcome &outcome, SignatureReport report,
                  const package::PackageChecksum &checksum)
{
    report.check(checksum);
    QJsonObject signature = report.json();
    // The names of the module's files are of no use to a viewer.
    signature.remove(QStringLiteral("file"));
    outcome.json["signature"] = signature;
    const auto problem = report.problem();
    if (problem && !outcome.problem)
        outcome.fail(problem->id, problem->detail);
}

qint64 freeBeside(const QString &path)
{
    return QStorageInfo(QFileInfo(path).absolutePath()).bytesAvailable();
}

PackageUpload::PackageUpload(const SignatureFiles &files, qint64 size, qint64 signatureSize)
    : m_files(files),
      m_size(size),
      m_signatureSize(signatureSize),
      m_file(files.package, AtomicFile::Unwritable::Replace)
{
    if (signatureSize > 0)
        m_signature.state = SmallFile::State::Complete;
}

ProblemId PackageUpload::open()
{
    if (freeBeside(m_files.package) < m_size + spaceLeft)
        return ProblemId::NoSpace;
    return m_file.open() ? ProblemId::None : ProblemId::CannotWrite;
}

bool PackageUpload::write(const char *bytes, qint64 size)
{
    if (m_hasFailed)
        return false;
    m_written += size;
    const qint64 ofSignature = std::min(m_signatureSize - m_signature.bytes.size(), size);
    m_signature.bytes.append(bytes, int(ofSignature));
    m_hasFailed = m_written > m_size || !m_file.write(bytes + ofSignature, size - ofSignature);
    return !m_hasFailed;
}

CommandOutcome PackageUpload::finish()
{
    if (m_hasFailed || !isComplete())
        return CommandOutcome::failed(ProblemId::CannotWrite, m_file.errorString());
    FileSource source(m_file.temporaryPath());
    if (!source.open())
        return CommandOutcome::failed(ProblemId::CannotWrite, source.errorString());
    const PackageContents contents = readContents(source, SumKind::Blake2b);
    CommandOutcome outcome = outcomeOf(contents);
    addSignature(outcome, SignatureReport(m_files, m_signature), contents.checksum);
    if (outcome.problem) {
        if (outcome.exit != ExitCode::NotTrusted)
            outcome.exit = ExitCode::PackageRefused;
        return outcome;
    }
    if (!publish())
        outcome.fail(ProblemId::CannotWrite, m_error);
    return outcome;
}

/**
 * The signature gets its name first, so that there is never a new package with an old signature;
 * that of an older package is removed afterwards. An old package keeps its own one.
 */
bool PackageUpload::publish()
{
    const QString path = signaturePath(m_files.package);
    const bool isSigned = m_signature.state == SmallFile::State::Complete;
    const SmallFile old = readSmallFile(path, signatureFileLimit);
    if (isSigned && !storeSignature(m_signature))
        return false;
    if (!m_file.commit()) {
        m_error = m_file.errorString();
        if (isSigned)
            storeSignature(old);
        return false;
    }
    if (!isSigned)
        QFile::remove(path);
    return true;
}

bool PackageUpload::storeSignature(const SmallFile &signature)
{
    const QString path = signaturePath(m_files.package);
    if (signature.state != SmallFile::State::Complete)
        return QFile::remove(path);
    AtomicFile file(path, AtomicFile::Unwritable::Replace);
    const QByteArray &content = signature.bytes;
    if (file.open() && file.write(content.constData(), content.size()) && file.commit())
        return true;
    m_error = file.errorString();
    return false;
}

} // namespace web
