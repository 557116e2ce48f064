// SPDX-License-Identifier: Apache-2.0
#include "bytes/Blake2b.h"
#include "signing/Verdict.h"
#include "support/Fuzz.h"

#include <cstddef>
#include <cstdint>

namespace signing {

using bytes::Blake2b;

namespace {

constexpr int keySize = 32;
constexpr int signatureSize = 64;

// Made by the program minisign; the seeds are these files and others of the same key.
const char *const signedText = "a firmware package";
const char *const keyFile = "untrusted comment: minisign public key 8EDC6BD35C4887E2\n"
                            "RWTih0hc02vcjiZ3Wl29dVtCw13MnNMnEcii+eXYsORMziV1klyl6YhY\n";
const char *const signatureFile =
    "untrusted comment: signature from minisign secret key\n"
    "RUTih0hc02vcjlt7zoXAubDozo9qh0iBNWZjXb1Mzdz/W7EaFps+8sISqqMuOsqaz2Xjb+dTV7kaKbQ1tDAy2UsSNdTCQ+"
    "HivQY=\n"
    "trusted comment: release 4\n"
    "CO1jzFIRewB9KM9VtjWjMhBg1RIDcT8lAr96qALGFhCb8M1RIRgLQLzgseYXF7v9lz2nAIt5banwcpqaT+B+CQ==\n";

QByteArray digestOf(const QByteArray &bytes)
{
    Blake2b digest;
    digest.add(bytes.constData(), bytes.size());
    return digest.digest();
}

const QByteArray digest = digestOf(signedText);
const PublicKey key = *parsePublicKey(keyFile);
const Signature signature = parseSignature(signatureFile);

bool isTrusted(const QByteArray &file, const PublicKey &by)
{
    return judge(file, {by}, digest).kind == Verdict::Kind::Trusted;
}

/** No other key fits the signature. */
void checkAsKey(const QByteArray &file)
{
    const auto parsed = parsePublicKey(file);
    if (!parsed)
        return;
    require(parsed->bytes.size() == keySize && !keyIdText(parsed->id).isEmpty());
    const bool isSame = parsed->id == key.id && parsed->bytes == key.bytes;
    require(isTrusted(signatureFile, *parsed) == isSame);
}

/** No other signature fits the key, however its file is written. */
void checkAsSignature(const QByteArray &file)
{
    const Signature parsed = parseSignature(file);
    const bool isTaken = isTrusted(file, key);
    if (parsed.error == Signature::Error::Malformed) {
        require(!isTaken);
        return;
    }
    require(parsed.ofDigest.size() == signatureSize && parsed.ofComment.size() == signatureSize);
    require(!parsed.trustedComment.contains('\n') && !parsed.trustedComment.contains('\0'));
    const bool isSame = parsed.error == Signature::Error::None && parsed.keyId == key.id &&
                        parsed.ofDigest == signature.ofDigest &&
                        parsed.ofComment == signature.ofComment &&
                        parsed.trustedComment == signature.trustedComment;
    require(isTaken == isSame);
}

} // namespace

/** Any bytes as a key file and as a signature file. */
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    const QByteArray file(reinterpret_cast<const char *>(data), int(size));
    require(isTrusted(signatureFile, key));
    checkAsKey(file);
    checkAsSignature(file);
    return 0;
}

} // namespace signing
