// SPDX-License-Identifier: Apache-2.0
#include "signing/Minisign.h"

#include <QtEndian>

#include <algorithm>
#include <cstring>
#include <sodium.h>

namespace signing {

namespace {

// Both structures begin with an algorithm and the key's id.
constexpr int algorithmSize = 2;
constexpr int idSize = int(sizeof(KeyId));
constexpr int bodyOffset = algorithmSize + idSize;
constexpr int keySize = crypto_sign_ed25519_PUBLICKEYBYTES;
constexpr int signatureSize = crypto_sign_ed25519_BYTES;

const char *const ed25519 = "Ed";
/** Of a digest. */
const char *const ed25519Hashed = "ED";

const char *const untrustedPrefix = "untrusted comment: ";
const char *const trustedPrefix = "trusted comment: ";

/** The lines of a text file one by one, without their ends: LF, or any number of CRs and LF. */
class Lines
{
public:
    explicit Lines(const QByteArray &file) : m_rest(file) {}

    /** None after the last line. The end of that line may be missing. */
    std::optional<QByteArray> next()
    {
        if (m_rest.isEmpty())
            return {};
        const int end = m_rest.indexOf('\n');
        QByteArray line = m_rest.mid(0, end);
        m_rest = end < 0 ? QByteArray() : m_rest.mid(end + 1);
        while (line.endsWith('\r'))
            line.chop(1);
        return line;
    }

private:
    QByteArray m_rest;
};

QByteArray upToNul(const QByteArray &line)
{
    return line.mid(0, line.indexOf('\0'));
}

bool isBase64Digit(char c)
{
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '+' ||
           c == '/';
}

/** The bytes that a line encodes (RFC 4648, with padding); none when there are not `size` of them.
 *  The unused bits of the last digit have no meaning. */
std::optional<QByteArray> fromBase64(const QByteArray &line, int size)
{
    const int padding = (3 - size % 3) % 3;
    const int digits = (size + 2) / 3 * 4 - padding;
    const bool isRight = line.size() == digits + padding &&
                         std::all_of(line.begin(), line.begin() + digits, isBase64Digit) &&
                         line.count('=') == padding;
    if (!isRight)
        return {};
    return QByteArray::fromBase64(line);
}

KeyId idOf(const QByteArray &bytes)
{
    return qFromLittleEndian<KeyId>(bytes.constData() + algorithmSize);
}

/** What follows a prefix; none for another line. No comment contains a NUL. */
std::optional<QByteArray> comment(const std::optional<QByteArray> &line, const char *prefix)
{
    if (!line || !line->startsWith(prefix) || line->contains('\0'))
        return {};
    return line->mid(int(std::strlen(prefix)));
}

const unsigned char *unsignedBytes(const QByteArray &bytes)
{
    return reinterpret_cast<const unsigned char *>(bytes.constData());
}

bool verifies(const QByteArray &signature, const QByteArray &message, const PublicKey &key)
{
    return crypto_sign_ed25519_verify_detached(unsignedBytes(signature), unsignedBytes(message),
                                               quint64(message.size()),
                                               unsignedBytes(key.bytes)) == 0;
}

} // namespace

QString keyIdText(KeyId id)
{
    return QString::number(id, 16).toUpper();
}

std::optional<PublicKey> parsePublicKey(const QByteArray &file)
{
    Lines lines(file);
    lines.next(); // any comment
    const auto line = lines.next();
    const auto bytes =
        line ? fromBase64(upToNul(*line), bodyOffset + keySize) : std::optional<QByteArray>();
    if (!bytes || !bytes->startsWith(ed25519))
        return {};
    return PublicKey{idOf(*bytes), bytes->mid(bodyOffset)};
}

Signature parseSignature(const QByteArray &file)
{
    Lines lines(file);
    const auto untrusted = comment(lines.next(), untrustedPrefix);
    const auto ofDigest = lines.next();
    const auto trusted = comment(lines.next(), trustedPrefix);
    const auto ofComment = lines.next();
    if (!untrusted || !trusted || !ofComment)
        return {};
    const auto bytes = fromBase64(*ofDigest, bodyOffset + signatureSize);
    const auto commentBytes = fromBase64(upToNul(*ofComment), signatureSize);
    if (!bytes || !commentBytes)
        return {};
    Signature signature;
    if (bytes->startsWith(ed25519Hashed))
        signature.error = Signature::Error::None;
    else if (bytes->startsWith(ed25519))
        signature.error = Signature::Error::Legacy;
    else
        return {};
    signature.keyId = idOf(*bytes);
    signature.ofDigest = bytes->mid(bodyOffset);
    signature.ofComment = *commentBytes;
    signature.trustedComment = *trusted;
    return signature;
}

KeyCheck checkSignature(const Signature &signature, const PublicKey &key, const QByteArray &digest)
{
    Q_ASSERT(signature.error == Signature::Error::None);
    if (!verifies(signature.ofDigest, digest, key))
        return KeyCheck::WrongDigest;
    if (!verifies(signature.ofComment, signature.ofDigest + signature.trustedComment, key))
        return KeyCheck::WrongComment;
    return KeyCheck::Right;
}

} // namespace signing
