// SPDX-License-Identifier: Apache-2.0
#include "signing/Verdict.h"

#include "signing/SigningTexts.h"

using protocol::filled;

namespace signing {

namespace {

Verdict refused(Verdict::Reason reason, std::optional<KeyId> keyId = {})
{
    Verdict verdict;
    verdict.kind = Verdict::Kind::SignatureError;
    verdict.reason = reason;
    verdict.keyId = keyId;
    return verdict;
}

} // namespace

Verdict judge(const QByteArray &signatureFile, const std::vector<PublicKey> &keys,
              const QByteArray &digest)
{
    const Signature signature = parseSignature(signatureFile);
    if (signature.error == Signature::Error::Malformed)
        return refused(Verdict::Reason::Malformed);
    if (signature.error == Signature::Error::Legacy)
        return refused(Verdict::Reason::Legacy, signature.keyId);
    Verdict verdict;
    verdict.kind = Verdict::Kind::UnknownKey;
    verdict.keyId = signature.keyId;
    for (const PublicKey &key : keys) {
        if (key.id != signature.keyId)
            continue;
        const KeyCheck check = checkSignature(signature, key, digest);
        if (check == KeyCheck::Right) {
            verdict.kind = Verdict::Kind::Trusted;
            verdict.reason = Verdict::Reason::None;
            verdict.trustedComment = signature.trustedComment;
            return verdict;
        }
        verdict.kind = Verdict::Kind::SignatureError;
        if (verdict.reason != Verdict::Reason::WrongComment)
            verdict.reason = check == KeyCheck::WrongComment ? Verdict::Reason::WrongComment
                                                             : Verdict::Reason::WrongSignature;
    }
    return verdict;
}

QString lineOf(const Verdict &verdict)
{
    switch (verdict.kind) {
    case Verdict::Kind::NotRequired:
        break;
    case Verdict::Kind::Trusted:
        return filled(signtext::trusted, keyIdText(*verdict.keyId));
    case Verdict::Kind::NotSigned:
        return filled(signtext::notSigned);
    case Verdict::Kind::UnknownKey:
        return filled(signtext::unknownKey, keyIdText(*verdict.keyId));
    case Verdict::Kind::SignatureError:
        return filled(signtext::signatureError);
    case Verdict::Kind::KeysUnusable:
        return filled(signtext::keysUnusable, verdict.keyPath);
    }
    return {};
}

const char *wordOf(Verdict::Reason reason)
{
    switch (reason) {
    case Verdict::Reason::None:
        break;
    case Verdict::Reason::Unreadable:
        return "unreadable";
    case Verdict::Reason::Malformed:
        return "malformed";
    case Verdict::Reason::Legacy:
        return "legacy";
    case Verdict::Reason::WrongSignature:
        return "wrong_signature";
    case Verdict::Reason::WrongComment:
        return "wrong_comment";
    }
    return "";
}

} // namespace signing
