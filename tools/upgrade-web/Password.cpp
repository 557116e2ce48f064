// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Password.h"

#include "bytes/AtomicFile.h"

#include <QFile>

#include <sodium.h>

#include <array>
#include <sys/stat.h>
#include <unistd.h>

namespace web {

namespace {

constexpr mode_t ofOthers = 077;

/** Initializes the library; no random numbers and no hashes without it. */
void prepareLibrary()
{
    if (sodium_init() < 0)
        qFatal("libsodium cannot be initialized");
}

} // namespace

QByteArray hashPassword(const QByteArray &password)
{
    prepareLibrary();
    std::array<char, crypto_pwhash_STRBYTES> hash{};
    const int error =
        crypto_pwhash_str_alg(hash.data(), password.constData(), quint64(password.size()),
                              crypto_pwhash_OPSLIMIT_INTERACTIVE,
                              crypto_pwhash_MEMLIMIT_INTERACTIVE, crypto_pwhash_ALG_ARGON2ID13);
    return error == 0 ? QByteArray(hash.data()) : QByteArray();
}

bool isPassword(const QByteArray &hash, const QByteArray &password)
{
    prepareLibrary();
    // The library reads this many bytes.
    QByteArray text = hash.leftJustified(crypto_pwhash_STRBYTES, '\0', true);
    return crypto_pwhash_str_verify(text.constData(), password.constData(),
                                    quint64(password.size())) == 0;
}

QByteArray randomSecret()
{
    prepareLibrary();
    std::array<char, 32> bytes{};
    randombytes_buf(bytes.data(), bytes.size());
    return QByteArray(bytes.data(), int(bytes.size())).toHex();
}

PasswordFile readPasswordFile(const QString &path)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return {{}, file.errorString()};
    struct stat info = {};
    if (::fstat(file.handle(), &info) != 0 || !S_ISREG(info.st_mode))
        return {{}, QStringLiteral("not a regular file")};
    if ((info.st_mode & ofOthers) != 0 || info.st_uid != ::geteuid())
        return {{},
                QStringLiteral("only its user may have access, and that must be the user of "
                               "the server")};
    const QByteArray hash = file.read(crypto_pwhash_STRBYTES).trimmed();
    if (!hash.startsWith(crypto_pwhash_STRPREFIX))
        return {{}, QStringLiteral("not made by set-password")};
    return {hash, {}};
}

QString writePasswordFile(const QString &path, const QByteArray &hash)
{
    const mode_t old = ::umask(ofOthers);
    bytes::AtomicFile file(path);
    const QByteArray line = hash + '\n';
    const bool isWritten =
        file.open() && file.write(line.constData(), line.size()) && file.commit();
    ::umask(old);
    return isWritten ? QString() : file.errorString();
}

} // namespace web
