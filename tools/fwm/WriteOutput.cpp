// SPDX-License-Identifier: Apache-2.0
#include "fwm/WriteOutput.h"

#include "bytes/Chunks.h"
#include "fwm/Findings.h"
#include "fwm/OpenPackage.h"
#include "fwm/Words.h"

#include <QFileInfo>

using bytes::AtomicFile;
using bytes::ByteSink;
using bytes::ByteSource;
using bytes::forEachChunk;
using package::PackageWriter;

namespace {

constexpr qint64 copyChunk = 65'536;
/** The maximum number of links that Linux follows. */
constexpr int mostLinks = 40;

/** The folder in which a file of this name is written, after its links are resolved. */
QString folderOf(const QString &file)
{
    QFileInfo info(file);
    for (int links = 0; info.isSymLink() && links < mostLinks; ++links)
        info.setFile(info.symLinkTarget());
    return QFileInfo(info.path()).canonicalFilePath();
}

} // namespace

bool isSameFile(const QString &a, const QString &b)
{
    const QString first = QFileInfo(a).canonicalFilePath();
    return !first.isEmpty() && first == QFileInfo(b).canonicalFilePath();
}

bool isInFolder(const QString &file, const QString &folder)
{
    QString whole = QFileInfo(folder).canonicalFilePath();
    if (!whole.endsWith(QLatin1Char('/')))
        whole += QLatin1Char('/');
    return (folderOf(file) + QLatin1Char('/')).startsWith(whole);
}

Copied copyBytes(ByteSource &source, ByteSink &sink)
{
    bool isWritten = true;
    const auto write = [&](const char *bytes, qint64 count) {
        isWritten = sink.write(bytes, count);
        return isWritten;
    };
    const qint64 size = source.size();
    if (forEachChunk(source, 0, copyChunk, write) == size)
        return Copied::All;
    return isWritten ? Copied::SourceChanged : Copied::WriteFailed;
}

CommandOutcome cannotWrite(const AtomicFile &file, const QString &output)
{
    return CommandOutcome::failed(ProblemId::CannotWrite,
                                  output + QStringLiteral(": ") + file.errorString());
}

CommandOutcome writeFailure(PackageWriter::Error error, const AtomicFile &file,
                            const QString &output, const QString &input)
{
    switch (error) {
    case PackageWriter::Error::ImageTooLarge:
        return CommandOutcome::failed(ProblemId::ImageTooLarge, input);
    case PackageWriter::Error::WriteFailed:
        return cannotWrite(file, output);
    case PackageWriter::Error::ImageCutShort:
    case PackageWriter::Error::None:
        break;
    }
    return CommandOutcome::failed(ProblemId::ImageChanged, input);
}

CommandOutcome describePackage(const QString &output, const PackageContents &contents)
{
    CommandOutcome outcome;
    const QString checksum = QString::fromLatin1(contents.checksum.computed);
    outcome.json = {{QStringLiteral("output"), output},
                    {QStringLiteral("size"), contents.size},
                    {QStringLiteral("image_count"), contents.images.size()},
                    {QStringLiteral("checksum"), checksum}};
    outcome.text = QStringLiteral("%1: %2, %3 bytes, checksum %4\n")
                       .arg(printable(output), imageCountText(contents.images.size()))
                       .arg(contents.size)
                       .arg(checksum);
    return outcome;
}

CommandOutcome describeOutput(const QString &output, const Options &options)
{
    const OpenPackage package = openPackage(output, Depth::Images, options);
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    CommandOutcome outcome = describePackage(output, package.contents);
    const QVector<Finding> findings = findingsIn(package.contents);
    for (const Finding &finding : findings)
        outcome.warnings.append(
            {finding.name, finding.text, output + QLatin1Char(':') + offsetText(finding.offset)});
    return outcome;
}
