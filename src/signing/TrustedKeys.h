// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "bytes/SmallFile.h"
#include "signing/Verdict.h"

#include <QString>

#include <vector>

namespace signing {

/** In bytes. */
constexpr qint64 keyFileLimit = qint64{64} * 1024;
constexpr qint64 signatureFileLimit = qint64{64} * 1024;

/** The keys whose packages a device takes. */
struct TrustedKeys
{
    std::vector<PublicKey> keys;
    /** The first key file that cannot be used, or the folder; empty when all of them can. */
    QString unusable;

    bool areUsable() const { return unusable.isEmpty(); }
    /** Whether packages must be signed. Also true when a key cannot be used. */
    bool areInstalled() const { return !areUsable() || !keys.empty(); }
};

/**
 * Reads every file of a folder whose name ends in ".pub", in the order of the names; links are
 * followed, and nothing blocks. No keys when there is no such folder or no such file. A folder that
 * exists and cannot be read is unusable.
 */
TrustedKeys readKeyFolder(const QString &folder);

/** Reads one key file. A file that does not exist is unusable. */
TrustedKeys readKeyFile(const QString &path);

/** The path of a package's signature file. */
QString signaturePath(const QString &packagePath);

/** Everything but the package itself that decides whether it may be used, as it was when read. */
struct TrustFiles
{
    TrustedKeys keys;
    /** Not read when no key can verify it. */
    bytes::SmallFile signature;

    /** Whether judge() needs the digest of the package. */
    bool needDigest() const { return keys.areUsable() && !keys.keys.empty(); }
    /** `digest` is the BLAKE2b-512 digest of the package, or empty when it is not needed. */
    Verdict judge(const QByteArray &digest) const;
};

/** The package must be open already: a publisher replaces the signature first, so the signature of
 *  an open package is never older than the package. */
TrustFiles readTrustFiles(const QString &keyFolder, const QString &signatureFile);

} // namespace signing
