// SPDX-License-Identifier: Apache-2.0
#include "common/Progress.h"
#include "fwm/Commands.h"
#include "fwm/ImageFile.h"
#include "fwm/OpenPackage.h"
#include "fwm/RequestFile.h"
#include "fwm/RequestFindings.h"
#include "fwm/Words.h"
#include "fwm/WriteOutput.h"
#include "package/DescriptionKeys.h"
#include "package/MergeRequest.h"

#include <QDir>
#include <QFileInfo>
#include <QJsonArray>
#include <QSet>

#include <algorithm>

using bytes::AtomicFile;
using package::MergeImage;
using package::MergeRequest;
using package::PackageWriter;
using package::parseMergeRequest;

namespace {

using Severity = Finding::Severity;

/** One package on its way from a request to a file. */
class Build
{
public:
    Build(const Options &options, const RequestFile &request)
        : m_options(options), m_request(request), m_output(options.output)
    {
    }

    CommandOutcome run();

private:
    std::optional<CommandOutcome> checkRequest();
    std::optional<CommandOutcome> checkImage(const MergeImage &image) const;
    std::optional<CommandOutcome> write();
    std::optional<CommandOutcome> writeImage(PackageWriter &writer, const MergeImage &image);
    void noteConversion(const ImageFile::Conversion &conversion, const MergeImage &image,
                        qint64 size);
    std::optional<CommandOutcome> checkPackage();
    CommandOutcome refused(ProblemId problem) const;
    CommandOutcome done();

    QString imagePath(const MergeImage &image) const;
    QString whereFile(const MergeImage &image) const;

    const Options &m_options;
    const RequestFile &m_request;
    MergeRequest m_merge;
    PackageContents m_contents;
    AtomicFile m_output;
    QVector<Finding> m_findings;
    QString m_conversionText;
    QJsonArray m_conversions;
};

/** An image's file key: what is wrong with an image stands there in the request. */
QString filePlace(const MergeImage &image)
{
    return placeText(image.entry) + QLatin1Char('.') + package::key::file;
}

QString Build::imagePath(const MergeImage &image) const
{
    // An empty name would lead to the folder itself, which exists.
    if (image.file.isEmpty())
        return {};
    return QDir(QFileInfo(m_request.path).path()).filePath(image.file);
}

QString Build::whereFile(const MergeImage &image) const
{
    return m_request.where(filePlace(image));
}

CommandOutcome Build::refused(ProblemId problem) const
{
    CommandOutcome outcome = CommandOutcome::failed(problem, m_request.path);
    outcome.warnings = m_request.shown(m_findings, Severity::Warning);
    outcome.errors = m_request.shown(m_findings, Severity::Error);
    return outcome;
}

/** What is wrong before any image is opened. */
std::optional<CommandOutcome> Build::checkRequest()
{
    m_findings = m_request.findings;
    // A short request with wrong values has no long form to look at.
    if (std::none_of(m_findings.begin(), m_findings.end(), isRequestError)) {
        m_merge = parseMergeRequest(QString::fromLatin1(m_request.description));
        if (m_merge.error != MergeRequest::Error::None)
            return CommandOutcome::failed(ProblemId::RequestUnreadable, m_request.path +
                                                                            QStringLiteral(": ") +
                                                                            m_merge.parseError);
        m_findings += requestFindings(m_merge);
    }
    if (std::any_of(m_findings.begin(), m_findings.end(), isRequestError))
        return refused(ProblemId::RequestValue);
    return std::nullopt;
}

/** Everything that can be wrong with one image before a byte of it is read. */
std::optional<CommandOutcome> Build::checkImage(const MergeImage &image) const
{
    const QString path = imagePath(image);
    if (!QFileInfo::exists(path))
        return CommandOutcome::failed(ProblemId::ImageFileMissing,
                                      whereFile(image) + QStringLiteral(": ") +
                                          (path.isEmpty() ? QStringLiteral("no name") : path));
    if (isSameFile(path, m_options.output))
        return CommandOutcome::failed(ProblemId::OutputIsInput, m_options.output);
    return std::nullopt;
}

void Build::noteConversion(const ImageFile::Conversion &conversion, const MergeImage &image,
                           qint64 size)
{
    const QString form = hexFormText(conversion.form);
    m_conversionText += QStringLiteral("%1: %2, %3 bytes from address %4\n")
                            .arg(printable(image.file), form)
                            .arg(size)
                            .arg(offsetText(conversion.baseAddress));
    m_conversions.append(
        QJsonObject{{QStringLiteral("file"), image.file},
                    {QStringLiteral("form"), hexFormId(conversion.form)},
                    {QStringLiteral("base_address"), qint64(conversion.baseAddress)},
                    {QStringLiteral("size"), size},
                    {QStringLiteral("gap_bytes"), conversion.gapBytes}});
    if (conversion.gapCount == 0)
        return;
    const QString gaps =
        QStringLiteral("%1 leaves %2 bytes open, the first at address %3; %4")
            .arg(image.file)
            .arg(conversion.gapBytes)
            .arg(offsetText(conversion.firstGap),
                 m_options.fillGaps ? QStringLiteral("they are filled with 0xFF")
                                    : QStringLiteral("--fill-gaps fills them with 0xFF"));
    m_findings.append({m_options.fillGaps ? Severity::Warning : Severity::Error,
                       QStringLiteral("image-gaps"), 0, gaps, filePlace(image)});
}

std::optional<CommandOutcome> Build::writeImage(PackageWriter &writer, const MergeImage &image)
{
    if (std::optional<CommandOutcome> failure = checkImage(image))
        return failure;
    const QString path = imagePath(image);
    ImageFile file(path);
    if (std::optional<Problem> problem = file.open()) {
        problem->detail =
            whereFile(image) + QStringLiteral(": ") + path + QStringLiteral(": ") + problem->detail;
        return CommandOutcome::failed(*problem);
    }
    if (file.conversion())
        noteConversion(*file.conversion(), image, file.bytes().size());
    Progress progress(path, file.bytes().size(), m_options.progress);
    ProgressSource source(file.bytes(), progress);
    if (!writer.writeRecord(image.key, source))
        return writeFailure(writer.error(), m_output, m_options.output, path);
    return std::nullopt;
}

std::optional<CommandOutcome> Build::write()
{
    if (!m_output.open())
        return cannotWrite(m_output, m_options.output);
    PackageWriter writer(m_output);
    writer.writeHeader(m_merge.json, m_merge.jsonLength);
    for (const MergeImage &image : qAsConst(m_merge.images)) {
        if (std::optional<CommandOutcome> failure = writeImage(writer, image))
            return failure;
    }
    if (!writer.finish())
        return cannotWrite(m_output, m_options.output);
    return std::nullopt;
}

/** What 'verify' finds in the package, as far as the request has not shown it already. */
std::optional<CommandOutcome> Build::checkPackage()
{
    const OpenPackage package = openPackage(m_output.temporaryPath(), Depth::Images, m_options);
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    m_contents = package.contents;
    // These follow from values of the request that do not fit, or from another finding.
    const QSet<QString> consequences{
        QStringLiteral("record-differs"), QStringLiteral("record-missing"),
        QStringLiteral("entry-missing"), QStringLiteral("record-duplicate")};
    const bool isExplained =
        std::any_of(m_findings.begin(), m_findings.end(),
                    [](const Finding &finding) { return finding.severity == Severity::Error; });
    const QVector<Finding> found = findingsIn(m_contents);
    for (Finding finding : found) {
        if (finding.image >= 0 && finding.image < m_merge.images.size())
            finding.place = filePlace(m_merge.images.at(finding.image));
        const bool isKnown =
            std::any_of(m_findings.begin(), m_findings.end(), [&](const Finding &known) {
                return known.name == finding.name && known.place == finding.place;
            });
        const bool isConsequence =
            consequences.contains(finding.name) &&
            (isExplained || finding.name == QLatin1String("record-duplicate"));
        if (!isKnown && !isConsequence)
            m_findings.append(finding);
    }
    const bool isRefused = hasErrors(m_findings) && !m_options.force;
    return isRefused ? std::optional<CommandOutcome>(refused(ProblemId::RequestFindings))
                     : std::nullopt;
}

CommandOutcome Build::done()
{
    if (!m_output.commit())
        return cannotWrite(m_output, m_options.output);
    CommandOutcome outcome = describePackage(m_options.output, m_contents);
    // With force, errors are among them.
    for (Finding &finding : m_findings)
        finding.severity = Severity::Warning;
    outcome.warnings = m_request.shown(m_findings, Severity::Warning);
    outcome.text.prepend(m_conversionText);
    outcome.json.insert(QStringLiteral("converted"), m_conversions);
    return outcome;
}

CommandOutcome Build::run()
{
    for (const auto step : {&Build::checkRequest, &Build::write, &Build::checkPackage}) {
        if (const std::optional<CommandOutcome> failure = (this->*step)())
            return *failure;
    }
    return done();
}

} // namespace

CommandOutcome runBuild(const Options &options)
{
    const RequestFile request = readRequest(options.file);
    if (request.failure)
        return *request.failure;
    if (isSameFile(options.file, options.output))
        return CommandOutcome::failed(ProblemId::OutputIsInput, options.output);
    return Build(options, request).run();
}
