// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/PackageFacts.h"

#include "bytes/FileSource.h"
#include "client/PackageCopy.h"
#include "fwm/Findings.h"
#include "fwm/ImageJson.h"
#include "fwm/PackageContents.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QStorageInfo>

#include <sys/stat.h>

namespace web {

using bytes::AtomicFile;
using bytes::FileSource;
using bytes::FileStamp;
using client::PackageCopy;

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
    facts.outcome = outcomeOf(readContents(source));
    facts.outcome.json["present"] = true;
    const PackageCopy copy = PackageCopy::read(source);
    facts.description = copy.description;
    facts.sizes = copy.sizes;
    return facts;
}

qint64 freeBeside(const QString &path)
{
    return QStorageInfo(QFileInfo(path).absolutePath()).bytesAvailable();
}

PackageUpload::PackageUpload(const QString &path, qint64 size)
    : m_path(path), m_size(size), m_file(path, AtomicFile::Unwritable::Replace)
{
}

ProblemId PackageUpload::open()
{
    if (freeBeside(m_path) < m_size + spaceLeft)
        return ProblemId::NoSpace;
    return m_file.open() ? ProblemId::None : ProblemId::CannotWrite;
}

bool PackageUpload::write(const char *bytes, qint64 size)
{
    if (m_hasFailed)
        return false;
    m_written += size;
    m_hasFailed = m_written > m_size || !m_file.write(bytes, size);
    return !m_hasFailed;
}

CommandOutcome PackageUpload::finish()
{
    if (m_hasFailed || !isComplete())
        return CommandOutcome::failed(ProblemId::CannotWrite, m_file.errorString());
    FileSource source(m_file.temporaryPath());
    if (!source.open())
        return CommandOutcome::failed(ProblemId::CannotWrite, source.errorString());
    CommandOutcome outcome = outcomeOf(readContents(source));
    if (outcome.problem) {
        outcome.exit = ExitCode::PackageRefused;
        return outcome;
    }
    if (!m_file.commit())
        outcome.fail(ProblemId::CannotWrite, m_file.errorString());
    return outcome;
}

} // namespace web
