// SPDX-License-Identifier: Apache-2.0
#include "fwm/Commands.h"
#include "fwm/Findings.h"
#include "fwm/ImageJson.h"
#include "fwm/OpenPackage.h"
#include "fwm/SignatureReport.h"
#include "fwm/Words.h"

#include <QJsonArray>

using package::isBareForm;
using package::PackageHeader;
using package::RecordKey;

namespace {

QString checksumText(const PackageContents &contents)
{
    if (isBareForm(contents.checksum.stored))
        return QStringLiteral("none");
    return QStringLiteral("%1 stored, %2 computed: %3")
        .arg(printable(QString::fromLatin1(contents.checksum.stored)),
             QString::fromLatin1(contents.checksum.computed),
             contents.checksum.matches() ? QStringLiteral("ok") : QStringLiteral("WRONG"));
}

QString headText(const QString &file, const PackageContents &contents,
                 const SignatureReport &signature)
{
    // Without the signature, the checksum and the version are not at their offsets.
    if (contents.header.error == PackageHeader::Error::NotAPackage)
        return tableText({{QStringLiteral("File"), printable(file)},
                          {QStringLiteral("Size"), QStringLiteral("%1 bytes").arg(contents.size)},
                          {QStringLiteral("Form"), QStringLiteral("not a package")}});
    QVector<QStringList> rows{
        {QStringLiteral("Package"), printable(file)},
        {QStringLiteral("Size"), QStringLiteral("%1 bytes").arg(contents.size)},
        {QStringLiteral("Form"), QStringLiteral("%1, version %2")
                                     .arg(formText(contents.header))
                                     .arg(contents.header.version)},
        {QStringLiteral("Checksum"), checksumText(contents)},
        {QStringLiteral("Model"), printable(contents.description.model)},
        {QStringLiteral("Release"), printable(contents.description.version)},
        {QStringLiteral("Images"), QString::number(contents.images.size())},
    };
    return tableText(rows + signature.rows());
}

QString imagesText(const PackageContents &contents)
{
    QVector<QStringList> rows{{QStringLiteral("#"), QStringLiteral("Name"), QStringLiteral("Chip"),
                               QStringLiteral("Qty"), QStringLiteral("MCU"), QStringLiteral("PCB"),
                               QStringLiteral("Speciality"), QStringLiteral("Version"),
                               QStringLiteral("Offset"), QStringLiteral("Size"),
                               QStringLiteral("SHA-256")}};
    for (int index = 0; index < contents.images.size(); ++index) {
        const ImageInfo &image = contents.images.at(index);
        const RecordKey &record = image.record.key;
        const QString name = imageName(contents, image);
        rows.append({QString::number(index + 1),
                     name.isEmpty() ? QStringLiteral("-") : printable(name),
                     QString::number(record.chipType), QString::number(record.chipQuantity),
                     QString::number(record.mcuType), QString::number(record.pcbVersion),
                     specialityText(record.speciality), versionText(record),
                     offsetText(image.record.imageOffset), QString::number(image.record.length),
                     QString::fromLatin1(image.sha256)});
    }
    return tableText(rows);
}

QString netText(const PackageContents &contents)
{
    QString text;
    for (int index = 0; index < contents.images.size(); ++index) {
        const ImageInfo &image = contents.images.at(index);
        if (image.net)
            text += QStringLiteral("\nNetwork module image %1: version %2, MD5 %3: %4\n")
                        .arg(index + 1)
                        .arg(printable(QString::fromLatin1(image.net->image.version)),
                             printable(QString::fromLatin1(image.net->image.md5Text)),
                             netVerdict(image));
    }
    return text;
}

/** Of a file that is an image of the network module, and not a package. */
CommandOutcome netOutcome(const QString &file, const ImageInfo &image)
{
    CommandOutcome outcome;
    const package::NetImage &head = image.net->image;
    outcome.json = {{QStringLiteral("file"), file},
                    {QStringLiteral("size"), image.record.length},
                    {QStringLiteral("form"), QStringLiteral("net-image")},
                    {QStringLiteral("sha256"), QString::fromLatin1(image.sha256)},
                    {QStringLiteral("net"), netJson(image)}};
    outcome.text = tableText({
        {QStringLiteral("Image"), printable(file)},
        {QStringLiteral("Size"), QStringLiteral("%1 bytes").arg(image.record.length)},
        {QStringLiteral("Form"), QStringLiteral("network module image")},
        {QStringLiteral("Version"), printable(QString::fromLatin1(head.version))},
        {QStringLiteral("MD5"),
         QStringLiteral("%1 stored, %2 computed: %3")
             .arg(printable(QString::fromLatin1(head.md5Text)),
                  QString::fromLatin1(image.net->computedMd5), netVerdict(image))},
        {QStringLiteral("SHA-256"), QString::fromLatin1(image.sha256)},
    });
    if (hasErrors(netImageFindings(image)))
        outcome.fail(ProblemId::NetImageDamaged, file);
    return outcome;
}

} // namespace

CommandOutcome runInfo(const Options &options)
{
    const OpenPackage package = openPackage(options.file, Depth::Images, options);
    if (package.problem)
        return CommandOutcome::failed(*package.problem);
    SignatureReport signature({options.file, options.keys, options.signature});
    if (signature.wrongOptions())
        return CommandOutcome::failed(*signature.wrongOptions());
    signature.check(package.contents.checksum);

    if (package.contents.netImage)
        return netOutcome(options.file, *package.contents.netImage);
    CommandOutcome outcome;
    outcome.json = infoJson(package.contents);
    outcome.json[QStringLiteral("file")] = options.file;
    outcome.json[QStringLiteral("signature")] = signature.json();
    outcome.text = headText(options.file, package.contents, signature);
    if (!package.contents.images.isEmpty())
        outcome.text += QLatin1Char('\n') + imagesText(package.contents);
    outcome.text += netText(package.contents);
    if (const std::optional<Problem> untrusted = signature.problem())
        outcome.fail(untrusted->id, untrusted->detail);
    else if (const std::optional<Problem> problem = packageProblem(package.contents))
        outcome.fail(problem->id, options.file);
    return outcome;
}
