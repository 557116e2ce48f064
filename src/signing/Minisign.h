// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

#include <optional>

/** The files of minisign: Ed25519 public keys, and signatures of the BLAKE2b-512 digest of a file.
 */
namespace signing {

/** A key's id, as its file stores it: a number without meaning. */
using KeyId = quint64;

/** The id as minisign prints it: upper-case hexadecimal without leading zeros. */
QString keyIdText(KeyId id);

struct PublicKey
{
    KeyId id = 0;
    /** 32 bytes (RFC 8032). */
    QByteArray bytes;
};

/** Reads a public-key file; none when it is not one. */
std::optional<PublicKey> parsePublicKey(const QByteArray &file);

struct Signature
{
    enum class Error {
        None,
        /** The file is not a signature of minisign. */
        Malformed,
        /** It signs the file itself instead of its digest, as old versions of minisign did. */
        Legacy,
    };

    Error error = Error::Malformed;
    /** The key that it claims to be made with; known for None and Legacy. */
    KeyId keyId = 0;
    /** 64 bytes each (RFC 8032): of the digest, and of that signature and the trusted comment. */
    QByteArray ofDigest;
    QByteArray ofComment;
    /** Trusted only after verification. Any bytes except those that end a line. */
    QByteArray trustedComment;
};

/** Reads a signature file. */
Signature parseSignature(const QByteArray &file);

/** What a signature is worth under one key. */
enum class KeyCheck {
    Right,
    /** The signature of the digest is wrong. */
    WrongDigest,
    /** Only the signature of the trusted comment is wrong. */
    WrongComment,
};

/** Checks a signature without error; the ids are not compared. `digest` is the BLAKE2b-512 digest
 *  of the signed file, 64 bytes long. */
KeyCheck checkSignature(const Signature &signature, const PublicKey &key, const QByteArray &digest);

} // namespace signing
