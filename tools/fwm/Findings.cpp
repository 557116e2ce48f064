// SPDX-License-Identifier: Apache-2.0
#include "fwm/Findings.h"

#include "fwm/Words.h"
#include "package/DescriptionKeys.h"
#include "package/PackageLayout.h"

#include <QHash>

#include <algorithm>

namespace description = package::description;
namespace net = package::net;
using package::ImageEntry;
using package::PackageChecksum;
using package::PackageDescription;
using package::PackageHeader;
using package::RecordKey;
using package::RecordWalker;

namespace {

using Severity = Finding::Severity;

class Collector
{
public:
    explicit Collector(const PackageContents &contents) : m_contents(contents) {}

    QVector<Finding> collect();

private:
    void error(const char *name, qint64 offset, const QString &text, const QString &place = {},
               int image = -1)
    {
        m_findings.append({Severity::Error, QString::fromLatin1(name), offset, text, place, image});
    }

    bool head();
    void checksum();
    bool description();
    void ending();
    void entriesAndRecords();
    void recordOf(int index);
    void duplicates();

    const PackageContents &m_contents;
    QVector<Finding> m_findings;
};

QVector<Finding> Collector::collect()
{
    const bool isHead = head();
    if (m_contents.header.error != PackageHeader::Error::NotAPackage)
        checksum();
    if (!isHead)
        return m_findings;
    if (description())
        m_findings += schemaFindings(m_contents) + nameFindings(m_contents);
    entriesAndRecords();
    duplicates();
    m_findings += imageFindings(m_contents);
    for (int index = 0; index < m_contents.images.size(); ++index)
        m_findings += netImageFindings(m_contents.images.at(index), index);
    ending();
    std::stable_sort(m_findings.begin(), m_findings.end(),
                     [](const Finding &a, const Finding &b) { return a.offset < b.offset; });
    return m_findings;
}

bool Collector::head()
{
    const PackageHeader &header = m_contents.header;
    if (header.error == PackageHeader::Error::NotAPackage) {
        error("not-a-package", package::magicOffset,
              QStringLiteral("no \"MTU\" here: not a package"));
        return false;
    }
    if (header.error == PackageHeader::Error::BadHead) {
        error("bad-head", package::versionOffset,
              QStringLiteral("the head is cut short or of unknown version %1").arg(header.version));
        return false;
    }
    if (header.form == PackageHeader::Form::Bare)
        error("no-checksum", 0,
              QStringLiteral("old form without a checksum: it can be listed only"));
    else if (header.version < package::newestVersion)
        error("old-version", package::versionOffset,
              QStringLiteral("version %1: devices upgrade from version %2 only")
                  .arg(header.version)
                  .arg(package::newestVersion));
    return true;
}

void Collector::checksum()
{
    const PackageChecksum &sum = m_contents.checksum;
    if (m_contents.header.form == PackageHeader::Form::Bare || sum.matches())
        return;
    const QString stored = QString::fromLatin1(sum.stored);
    const QString computed = QString::fromLatin1(sum.computed);
    if (sum.stored.toLower() == sum.computed)
        error("checksum-in-uppercase", 0,
              QStringLiteral("the checksum %1 is right but not in lowercase").arg(stored));
    else
        error("checksum-wrong", 0,
              QStringLiteral("the checksum is %1 and should be %2").arg(stored, computed));
}

bool Collector::description()
{
    const PackageHeader &header = m_contents.header;
    const PackageDescription &text = m_contents.description;
    if (header.recordsOffset() > m_contents.size)
        error("description-cut", header.jsonOffset,
              QStringLiteral("the description should have %1 bytes, but the package ends before")
                  .arg(header.jsonLength));
    switch (text.error) {
    case PackageDescription::Error::None:
        return true;
    case PackageDescription::Error::NotJson:
        error("description-not-json", header.jsonOffset,
              QStringLiteral("the description is not JSON: %1").arg(text.parseError));
        break;
    case PackageDescription::Error::NotAnObject:
        error("description-not-an-object", header.jsonOffset,
              QStringLiteral("the description is a list, not an object"));
        break;
    case PackageDescription::Error::ChipsNotAnArray:
        error("chips-not-a-list", header.jsonOffset,
              QStringLiteral("\"chips\" is missing or not a list"), package::key::chips);
        break;
    }
    return false;
}

void Collector::ending()
{
    if (m_contents.hasTooManyImages) {
        error("too-many-records", m_contents.endOffset,
              QStringLiteral("more records than a description can have entries"));
        return;
    }
    const qint64 left = m_contents.size - m_contents.endOffset;
    if (m_contents.end == RecordWalker::State::ShortHeader)
        error("record-header-cut", m_contents.endOffset,
              QStringLiteral("%1 bytes are left over, too few for a record").arg(left));
    else if (m_contents.end == RecordWalker::State::LengthBeyondEnd && left >= 0)
        error("record-cut", m_contents.endOffset,
              QStringLiteral("the record claims more bytes than the package has"));
}

void Collector::entriesAndRecords()
{
    for (int index = 0; index < m_contents.entries.size(); ++index) {
        if (m_contents.imageOfEntry.at(index) >= 0)
            continue;
        const ImageEntry &entry = m_contents.entries.at(index);
        error("record-missing", m_contents.header.jsonOffset,
              QStringLiteral("%1 \"%2\" has no image (%3)")
                  .arg(placeText(entry), description::text(entry.pcb, package::key::name),
                       keyText(keyOfEntry(entry))),
              placeText(entry));
    }
    for (int record = 0; record < m_contents.images.size(); ++record)
        recordOf(record);
}

void Collector::recordOf(int index)
{
    const ImageInfo &image = m_contents.images.at(index);
    const qint64 offset = image.record.headerOffset;
    if (image.record.length == 0)
        error("record-empty", offset, QStringLiteral("the image has no bytes"), {}, index);
    if (image.entry < 0) {
        error("entry-missing", offset,
              QStringLiteral("the description has no entry for this image (%1, version %2)")
                  .arg(keyText(image.record.key), versionText(image.record.key)),
              {}, index);
    } else if (!image.isExact) {
        const ImageEntry &entry = m_contents.entries.at(image.entry);
        const auto hex = [](const RecordKey &key) {
            return QString::fromLatin1(key.bytes().toHex(' '));
        };
        error("record-differs", offset,
              QStringLiteral("the key bytes are %1, but %2 \"%3\" describes %4")
                  .arg(hex(image.record.key), placeText(entry),
                       description::text(entry.pcb, package::key::name), hex(keyOfEntry(entry))),
              {}, index);
    }
}

/** A device uses the first matching record, so a second one is never used. */
void Collector::duplicates()
{
    QHash<QByteArray, qint64> first;
    for (int index = 0; index < m_contents.images.size(); ++index) {
        const ImageInfo &image = m_contents.images.at(index);
        const QByteArray identity = identityOf(image.record.key);
        if (first.contains(identity))
            error("record-duplicate", image.record.headerOffset,
                  QStringLiteral("never used: the record at %1 is for the same chip (%2)")
                      .arg(offsetText(first.value(identity)), keyText(image.record.key)),
                  {}, index);
        else
            first.insert(identity, image.record.headerOffset);
    }
    QHash<QByteArray, QString> entries;
    for (const ImageEntry &entry : m_contents.entries) {
        const QByteArray identity = identityOf(keyOfEntry(entry));
        if (entries.contains(identity))
            error("entry-duplicate", m_contents.header.jsonOffset,
                  QStringLiteral("%1 describes the same chip as %2")
                      .arg(placeText(entry), entries.value(identity)),
                  placeText(entry));
        else
            entries.insert(identity, placeText(entry));
    }
}

} // namespace

QVector<Finding> findingsIn(const PackageContents &contents)
{
    return Collector(contents).collect();
}

QVector<Finding> netImageFindings(const ImageInfo &image, int index)
{
    QVector<Finding> findings;
    const auto add = [&](Severity severity, const char *name, qint64 offset, const QString &text) {
        findings.append({severity, QString::fromLatin1(name), offset, text, {}, index});
    };
    if (!image.net)
        return findings;
    const qint64 start = image.record.imageOffset;
    if (image.record.length < net::archiveOffset) {
        add(Severity::Error, "net-cut", start,
            QStringLiteral("the network module image is shorter than its head of %1 bytes")
                .arg(net::archiveOffset));
        return findings;
    }
    const QString text = QString::fromLatin1(image.net->image.version);
    if (!isNetVersion(text))
        add(Severity::Warning, "net-version", start,
            QStringLiteral("the version \"%1\" is not like 1.23").arg(text));
    if (!image.net->matches())
        add(Severity::Error, "net-md5-wrong", start + net::md5Offset,
            QStringLiteral("the MD5 is %1 and should be %2")
                .arg(QString::fromLatin1(image.net->image.md5Text),
                     QString::fromLatin1(image.net->computedMd5)));
    else if (!image.net->installs())
        add(Severity::Error, "net-md5-in-uppercase", start + net::md5Offset,
            QStringLiteral("the MD5 is right but not in lowercase: installing it fails"));
    if (!image.looksLikeBzip2)
        add(Severity::Warning, "net-archive", start + net::archiveOffset,
            QStringLiteral("the archive does not begin like one of bzip2"));
    return findings;
}

bool hasErrors(const QVector<Finding> &findings)
{
    return std::any_of(findings.begin(), findings.end(),
                       [](const Finding &finding) { return finding.severity == Severity::Error; });
}

QString findingText(const Finding &finding)
{
    const QString severity =
        finding.severity == Severity::Error ? QStringLiteral("error") : QStringLiteral("warning");
    return QStringLiteral("%1: %2: %3 [%4]")
        .arg(offsetText(finding.offset), severity, finding.text, finding.name);
}
