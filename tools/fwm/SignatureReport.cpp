// SPDX-License-Identifier: Apache-2.0
#include "fwm/SignatureReport.h"

#include "common/Printable.h"

#include <QFileInfo>

using bytes::readSmallFile;
using bytes::SmallFile;
using package::PackageChecksum;
using signing::keyIdText;
using signing::parseSignature;
using signing::readKeyFile;
using signing::readKeyFolder;
using signing::Signature;
using signing::signatureFileLimit;
using signing::signaturePath;
using signing::TrustedKeys;
using signing::Verdict;
using signing::wordOf;
using Kind = Verdict::Kind;
using Reason = Verdict::Reason;

namespace {

QString fileOf(const SignatureFiles &files)
{
    return files.signature.isEmpty() ? signaturePath(files.package) : files.signature;
}

/** None when the keys can be used. */
std::optional<Problem> keyProblem(const TrustedKeys &keys, const QString &path)
{
    const QString advice = QStringLiteral("Give a public-key file of minisign, or a folder of such "
                                          "files with names that end in .pub.");
    if (!keys.areUsable())
        return Problem{
            ProblemId::Usage,
            QStringLiteral("--keys: '%1' is not a public key that can be read").arg(keys.unusable),
            advice};
    if (keys.keys.empty())
        return Problem{ProblemId::Usage,
                       QStringLiteral("--keys: no name in '%1' ends in .pub").arg(path), advice};
    return std::nullopt;
}

QString reasonText(Reason reason)
{
    switch (reason) {
    case Reason::None:
        break;
    case Reason::Unreadable:
        return QStringLiteral("it is not a regular file of at most 64 KiB that can be read");
    case Reason::Malformed:
        return QStringLiteral("it is not a signature file of minisign");
    case Reason::Legacy:
        return QStringLiteral("it is in the legacy format; sign without -l, and with -H if "
                              "minisign is older than 0.10");
    case Reason::WrongSignature:
        return QStringLiteral("it signs other bytes");
    case Reason::WrongComment:
        return QStringLiteral("its trusted comment was changed");
    }
    return {};
}

ProblemId problemOf(Kind kind)
{
    switch (kind) {
    case Kind::NotRequired:
    case Kind::Trusted:
        break;
    case Kind::NotSigned:
        return ProblemId::PackageNotSigned;
    case Kind::UnknownKey:
        return ProblemId::PackageKeyUnknown;
    case Kind::SignatureError:
        return ProblemId::PackageSignatureWrong;
    case Kind::KeysUnusable:
        return ProblemId::KeysUnusable;
    }
    return ProblemId::None;
}

} // namespace

SignatureReport::SignatureReport(const SignatureFiles &files)
    : SignatureReport(files, readSmallFile(fileOf(files), signatureFileLimit))
{
    if (m_trust.signature.state == SmallFile::State::Absent && !files.signature.isEmpty())
        m_wrongOptions = Problem{ProblemId::FileUnreadable, m_file};
}

SignatureReport::SignatureReport(const SignatureFiles &files, const SmallFile &signature)
    : m_package(files.package), m_file(fileOf(files))
{
    const QString &keys = files.keys;
    if (!keys.isEmpty()) {
        m_trust.keys = QFileInfo(keys).isDir() ? readKeyFolder(keys) : readKeyFile(keys);
        m_wrongOptions = keyProblem(m_trust.keys, keys);
    }
    m_trust.signature = signature;
    if (signature.state == SmallFile::State::Complete)
        m_signature = parseSignature(signature.bytes);
}

void SignatureReport::check(const PackageChecksum &checksum)
{
    if (m_trust.needDigest() && checksum.matches())
        m_verdict = m_trust.judge(checksum.digest);
}

std::optional<Problem> SignatureReport::problem() const
{
    const ProblemId id = m_verdict ? problemOf(m_verdict->kind) : ProblemId::None;
    switch (id) {
    case ProblemId::None:
        return std::nullopt;
    case ProblemId::PackageNotSigned:
        return Problem{id, m_package};
    case ProblemId::PackageKeyUnknown:
        return Problem{id, QStringLiteral("%1: key %2").arg(m_file, keyIdText(m_signature.keyId))};
    default:
        return Problem{id, m_file + QLatin1String(": ") + reasonText(m_verdict->reason)};
    }
}

Reason SignatureReport::reason() const
{
    if (m_verdict)
        return m_verdict->reason;
    if (m_trust.signature.state == SmallFile::State::Absent)
        return Reason::None;
    if (m_trust.signature.state == SmallFile::State::Unusable)
        return Reason::Unreadable;
    switch (m_signature.error) {
    case Signature::Error::None:
        break;
    case Signature::Error::Malformed:
        return Reason::Malformed;
    case Signature::Error::Legacy:
        return Reason::Legacy;
    }
    return Reason::None;
}

QString SignatureReport::state() const
{
    if (m_trust.signature.state == SmallFile::State::Absent)
        return QStringLiteral("none");
    if (!m_verdict)
        return QStringLiteral("not-checked");
    if (isTrusted())
        return QStringLiteral("trusted");
    return m_verdict->kind == Kind::UnknownKey ? QStringLiteral("unknown-key")
                                               : QStringLiteral("wrong");
}

QString SignatureReport::stateText() const
{
    if (m_trust.signature.state == SmallFile::State::Absent)
        return QStringLiteral("none");
    QString text = QStringLiteral("not checked");
    if (isTrusted())
        text = QStringLiteral("ok");
    else if (m_verdict)
        text = m_verdict->kind == Kind::UnknownKey ? QStringLiteral("of an unknown key")
                                                   : QStringLiteral("WRONG");
    if (isSigned())
        text += QStringLiteral(", key ") + keyIdText(m_signature.keyId);
    const QString why = reasonText(reason());
    return why.isEmpty() ? text : text + QLatin1String(": ") + why;
}

QString SignatureReport::comment() const
{
    return QString::fromUtf8(m_signature.trustedComment);
}

QString SignatureReport::line() const
{
    if (m_trust.signature.state == SmallFile::State::Absent)
        return {};
    QString text = m_package + QLatin1String(": signature ") + stateText();
    if (isTrusted())
        text += QLatin1String(": ") + comment();
    return printable(text);
}

QVector<QStringList> SignatureReport::rows() const
{
    const bool isAbsent = m_trust.signature.state == SmallFile::State::Absent;
    if (isAbsent && !m_verdict)
        return {};
    QVector<QStringList> rows{{QStringLiteral("Signature"), stateText()}};
    if (isSigned()) {
        const QString mark = isTrusted() ? QString() : QStringLiteral("(unverified) ");
        rows.append({QStringLiteral("Comment"), mark + printable(comment())});
    }
    return rows;
}

QJsonObject SignatureReport::json() const
{
    const char *const word = wordOf(reason());
    QJsonObject json{{QStringLiteral("file"), m_file},
                     {QStringLiteral("state"), state()},
                     {QStringLiteral("reason"), QJsonValue::Null},
                     {QStringLiteral("key"), QJsonValue::Null},
                     {QStringLiteral("trusted_comment"), QJsonValue::Null},
                     {QStringLiteral("verified"), isTrusted()}};
    if (*word != '\0')
        json[QStringLiteral("reason")] = QString::fromLatin1(word);
    if (isSigned()) {
        json[QStringLiteral("key")] = keyIdText(m_signature.keyId);
        json[QStringLiteral("trusted_comment")] = comment();
    }
    return json;
}
