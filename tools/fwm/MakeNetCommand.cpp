// SPDX-License-Identifier: Apache-2.0
#include "bytes/FileSource.h"
#include "common/ForkedProcess.h"
#include "fwm/Bzip2.h"
#include "fwm/Commands.h"
#include "fwm/Words.h"
#include "fwm/WriteOutput.h"
#include "package/NetImage.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>

namespace net = package::net;
using bytes::AtomicFile;
using bytes::ByteSink;
using bytes::FileSource;

namespace {

constexpr int noTimeOut = -1;

/** Copies the archive to the output and computes its MD5. */
class ArchiveSink : public ByteSink
{
public:
    explicit ArchiveSink(ByteSink &output) : m_output(&output) {}
    using ByteSink::write;

    bool write(const char *bytes, qint64 size) override
    {
        m_md5.addData(QByteArray::fromRawData(bytes, int(size)));
        m_size += size;
        return m_output->write(bytes, size);
    }
    bool overwrite(qint64, const QByteArray &) override { return false; }

    QByteArray md5Text() const { return m_md5.result().toHex(); }
    qint64 size() const { return m_size; }

private:
    ByteSink *m_output;
    QCryptographicHash m_md5{QCryptographicHash::Md5};
    qint64 m_size = 0;
};

/** The archiver's error about the source. */
QString errorsOf(QProcess &archiver, const Options &options)
{
    const QString text = QString::fromLocal8Bit(archiver.readAllStandardError()).trimmed();
    return options.file + QStringLiteral(": ") + (text.isEmpty() ? archiver.errorString() : text);
}

bool endedWell(QProcess &archiver)
{
    archiver.waitForFinished(noTimeOut);
    return archiver.exitStatus() == QProcess::NormalExit && archiver.exitCode() == 0;
}

/**
 * The folder itself is not an entry of the archive: unpacked over the root of a module's file
 * system, such an entry would give the root the permissions of the build folder.
 */
QStringList archiverArguments(const QString &folder)
{
    QStringList arguments{QStringLiteral("--sort=name"), QStringLiteral("--owner=0"),
                          QStringLiteral("--group=0"),   QStringLiteral("--numeric-owner"),
                          QStringLiteral("-C"),          folder,
                          QStringLiteral("-cjf"),        QStringLiteral("-"),
                          QStringLiteral("--")};
    const QStringList names = QDir(folder).entryList(
        QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot, QDir::Name);
    for (const QString &name : names)
        arguments.append(QStringLiteral("./") + name);
    return arguments;
}

std::optional<CommandOutcome> packFolder(const Options &options, ArchiveSink &sink,
                                         const AtomicFile &output)
{
    if (QDir(options.file)
            .isEmpty(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot))
        return CommandOutcome::failed(ProblemId::NotAnArchive, options.file);
    ForkedProcess archiver;
    archiver.start(QStringLiteral("tar"), archiverArguments(options.file), QIODevice::ReadOnly);
    if (!archiver.waitForStarted())
        return CommandOutcome::failed(ProblemId::ArchiverFailed, errorsOf(archiver, options));
    while (archiver.waitForReadyRead(noTimeOut)) {
        if (sink.write(archiver.readAllStandardOutput()))
            continue;
        archiver.kill();
        archiver.waitForFinished(noTimeOut);
        return cannotWrite(output, options.output);
    }
    const QByteArray rest = archiver.readAllStandardOutput();
    if (!endedWell(archiver))
        return CommandOutcome::failed(ProblemId::ArchiverFailed, errorsOf(archiver, options));
    if (!sink.write(rest + archiver.readAllStandardOutput()))
        return cannotWrite(output, options.output);
    return std::nullopt;
}

/**
 * The permissions of a line of the archiver's list, "drwx------ 0/0 0 2026-01-31 12:00 ./", if it
 * is about the root folder and not everyone may read and enter it, or others than the owner may
 * write.
 */
QString unsafeRoot(const QByteArray &line)
{
    static const QRegularExpression folder(
        QStringLiteral(R"(^(d.{9})\S* \S+ +\S+ \S+ \S+ (.*)\n)"));
    static const QRegularExpression safe(QStringLiteral("^dr.[xs]r-[xs]r-[xt]$"));
    const auto entry = folder.match(QString::fromLocal8Bit(line));
    const QString name = QDir::cleanPath(entry.captured(2));
    const bool isRoot = name == QLatin1String(".") || name == QLatin1String("/");
    const QString permissions = entry.captured(1);
    return isRoot && !safe.match(permissions).hasMatch() ? permissions : QString();
}

/** Whether the archiver can read it to its end and finds entries, and none that takes the root
 *  folder from the module's users. */
std::optional<CommandOutcome> checkArchive(const Options &options)
{
    ForkedProcess archiver;
    archiver.start(QStringLiteral("tar"),
                   {QStringLiteral("--quoting-style=escape"), QStringLiteral("--numeric-owner"),
                    QStringLiteral("-tvjf"), QFileInfo(options.file).absoluteFilePath()},
                   QIODevice::ReadOnly);
    if (!archiver.waitForStarted())
        return CommandOutcome::failed(ProblemId::ArchiverFailed, errorsOf(archiver, options));
    // The archiver accepts a few arbitrary bytes as an archive without entries.
    bool hasEntries = false;
    QString permissions;
    const auto readLines = [&] {
        while (archiver.canReadLine()) {
            hasEntries = true;
            const QString found = unsafeRoot(archiver.readLine());
            if (!found.isEmpty())
                permissions = found;
        }
    };
    while (archiver.waitForReadyRead(noTimeOut))
        readLines();
    readLines();
    if (!endedWell(archiver))
        return CommandOutcome::failed(ProblemId::NotAnArchive, errorsOf(archiver, options));
    if (!hasEntries)
        return CommandOutcome::failed(ProblemId::NotAnArchive, options.file);
    if (!permissions.isEmpty())
        return CommandOutcome::failed(ProblemId::ArchiveRoot,
                                      options.file + QStringLiteral(": ") + permissions);
    return std::nullopt;
}

std::optional<CommandOutcome> copyArchive(const Options &options, ArchiveSink &sink,
                                          const AtomicFile &output)
{
    FileSource archive(options.file);
    if (!archive.open())
        return CommandOutcome::failed(ProblemId::FileUnreadable,
                                      options.file + QStringLiteral(": ") + archive.errorString());
    if (archive.read(0, bzip2::magicSize) != bzip2::magic)
        return CommandOutcome::failed(ProblemId::NotAnArchive, options.file);
    if (std::optional<CommandOutcome> failure = checkArchive(options))
        return failure;
    switch (copyBytes(archive, sink)) {
    case Copied::SourceChanged:
        return CommandOutcome::failed(ProblemId::ImageChanged, options.file);
    case Copied::WriteFailed:
        return cannotWrite(output, options.output);
    case Copied::All:
        break;
    }
    return std::nullopt;
}

} // namespace

CommandOutcome runMakeNet(const Options &options)
{
    const QFileInfo source(options.file);
    if (!source.exists())
        return CommandOutcome::failed(ProblemId::FileUnreadable,
                                      options.file + QStringLiteral(": No such file or folder"));
    if (isSameFile(options.file, options.output))
        return CommandOutcome::failed(ProblemId::OutputIsInput, options.output);
    if (source.isDir() && isInFolder(options.output, options.file))
        return CommandOutcome::failed(ProblemId::OutputInSource, options.output);

    AtomicFile output(options.output);
    if (!output.open())
        return cannotWrite(output, options.output);
    QByteArray head(net::archiveOffset, '\0');
    head.replace(net::versionOffset, net::versionSize, options.netVersion.toLatin1());
    if (!output.write(head))
        return cannotWrite(output, options.output);
    ArchiveSink sink(output);
    const auto failure =
        source.isDir() ? packFolder(options, sink, output) : copyArchive(options, sink, output);
    if (failure)
        return *failure;
    if (!output.overwrite(net::md5Offset, sink.md5Text()) || !output.commit())
        return cannotWrite(output, options.output);

    CommandOutcome outcome;
    const QString md5 = QString::fromLatin1(sink.md5Text());
    outcome.json = {{QStringLiteral("output"), options.output},
                    {QStringLiteral("size"), net::archiveOffset + sink.size()},
                    {QStringLiteral("version"), options.netVersion},
                    {QStringLiteral("md5"), md5}};
    outcome.text = QStringLiteral("%1: version %2, %3 bytes, MD5 %4\n")
                       .arg(printable(options.output), options.netVersion)
                       .arg(net::archiveOffset + sink.size())
                       .arg(md5);
    return outcome;
}
