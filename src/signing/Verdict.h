// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "signing/Minisign.h"

#include <optional>
#include <vector>

namespace signing {

/** Whether a package may be used, and why not. */
struct Verdict
{
    enum class Kind {
        /** No keys are installed: every package may be used. */
        NotRequired,
        Trusted,
        /** There is no signature file. */
        NotSigned,
        UnknownKey,
        SignatureError,
        /** A key file or the folder, `keyPath`, cannot be used. */
        KeysUnusable,
    };
    /** The reason of a SignatureError. */
    enum class Reason {
        None,
        /** The signature file is not a regular file of at most signatureFileLimit bytes that can be
         *  read. */
        Unreadable,
        Malformed,
        Legacy,
        WrongSignature,
        WrongComment,
    };

    Kind kind = Kind::NotRequired;
    Reason reason = Reason::None;
    /** Of a signature that could be parsed. */
    std::optional<KeyId> keyId;
    /** Of a trusted package only. */
    QByteArray trustedComment;
    QString keyPath;

    bool allowsUse() const { return kind == Kind::NotRequired || kind == Kind::Trusted; }
};

/** Checks the content of a signature file against the BLAKE2b-512 digest of the signed file. Every
 *  key with the signature's id is tried. */
Verdict judge(const QByteArray &signatureFile, const std::vector<PublicKey> &keys,
              const QByteArray &digest);

/** The line about a package with this verdict; empty when no keys are installed. */
QString lineOf(const Verdict &verdict);
/** A word for logs and documents, empty without a reason: "legacy". */
const char *wordOf(Verdict::Reason reason);

} // namespace signing
