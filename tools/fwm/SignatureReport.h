// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"
#include "fwm/PackageContents.h"
#include "signing/TrustedKeys.h"

#include <QJsonObject>

#include <optional>

/** Which files a report of a signature is about. */
struct SignatureFiles
{
    QString package;
    /** A key file or a folder of keys; empty for no check of the signature. */
    QString keys;
    /** The signature file; empty for the package's name with ".minisig". */
    QString signature = {};
};

/** The signature of a package: what its file says, and what the trusted keys say about it. */
class SignatureReport
{
public:
    /** Reads the keys and the signature file. The package is open already: a publisher replaces the
     *  signature first. */
    explicit SignatureReport(const SignatureFiles &files);
    /** The same with the content of a signature file that may have another name. */
    SignatureReport(const SignatureFiles &files, const bytes::SmallFile &signature);

    /** When the options name no usable key, or a signature file that does not exist. */
    const std::optional<Problem> &wrongOptions() const { return m_wrongOptions; }
    /** Compares with the package. A package whose checksum is wrong is not checked, as on a device.
     */
    void check(const package::PackageChecksum &checksum);

    /** For what a device with these keys refuses the package. */
    std::optional<Problem> problem() const;
    /** One line without its end; empty for a package without a signature and without keys. */
    QString line() const;
    /** The rows of a table: state and key id, and the trusted comment. None where line() is empty
     * and no key was asked. */
    QVector<QStringList> rows() const;
    QJsonObject json() const;

private:
    bool isSigned() const { return m_signature.error != signing::Signature::Error::Malformed; }
    bool isTrusted() const
    {
        return m_verdict && m_verdict->kind == signing::Verdict::Kind::Trusted;
    }
    signing::Verdict::Reason reason() const;
    QString state() const;
    QString stateText() const;
    QString comment() const;

    const QString m_package;
    const QString m_file;
    std::optional<Problem> m_wrongOptions;
    signing::TrustFiles m_trust;
    signing::Signature m_signature;
    /** None as long as it is not checked. */
    std::optional<signing::Verdict> m_verdict;
};
