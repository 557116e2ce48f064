// SPDX-License-Identifier: Apache-2.0
#include "signing/TrustedKeys.h"

#include <QFile>

#include <algorithm>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

using bytes::readSmallFile;
using bytes::SmallFile;

namespace signing {

namespace {

const char *const keySuffix = ".pub";

struct CloseFolder
{
    void operator()(DIR *folder) const { ::closedir(folder); }
};
using Folder = std::unique_ptr<DIR, CloseFolder>;

Folder openFolder(const QByteArray &path)
{
    const int descriptor =
        ::open(path.constData(), O_RDONLY | O_DIRECTORY | O_NONBLOCK | O_CLOEXEC);
    if (descriptor < 0)
        return {};
    DIR *const folder = ::fdopendir(descriptor);
    if (folder == nullptr)
        ::close(descriptor);
    return Folder(folder);
}

/** Whether there is nothing with this path. A path that leads through a link without a target is
 *  not absent: its folder may come back. */
bool isAbsent(const QByteArray &path)
{
    int end = 0;
    while (end >= 0) {
        end = path.indexOf('/', end + 1);
        const QByteArray front = path.mid(0, end);
        struct stat status = {};
        if (::lstat(front.constData(), &status) != 0)
            return errno == ENOENT;
        if (::stat(front.constData(), &status) != 0)
            return false;
    }
    return false;
}

/** The names of the key files in order; none when the folder cannot be read to its end. */
std::optional<std::vector<QByteArray>> keyNames(DIR *folder)
{
    std::vector<QByteArray> names;
    errno = 0;
    while (const dirent *const entry = ::readdir(folder)) {
        const QByteArray name(entry->d_name);
        if (name.endsWith(keySuffix))
            names.push_back(name);
        errno = 0;
    }
    if (errno != 0)
        return {};
    std::sort(names.begin(), names.end());
    return names;
}

TrustedKeys unusable(const QString &path)
{
    return {{}, path};
}

/** Adds a key; false when the file cannot be used. */
bool add(TrustedKeys &keys, const SmallFile &file)
{
    const auto key = file.state == SmallFile::State::Complete ? parsePublicKey(file.bytes)
                                                              : std::optional<PublicKey>();
    if (key)
        keys.keys.push_back(*key);
    return key.has_value();
}

} // namespace

TrustedKeys readKeyFolder(const QString &path)
{
    const QByteArray encoded = QFile::encodeName(path);
    const Folder folder = openFolder(encoded);
    // Without a free descriptor the error is not that of the path.
    if (!folder)
        return isAbsent(encoded) ? TrustedKeys() : unusable(path);
    const auto names = keyNames(folder.get());
    if (!names)
        return unusable(path);
    TrustedKeys keys;
    for (const QByteArray &name : *names) {
        // A name that is gone by now may have been renamed, so it counts as unusable, too.
        if (!add(keys, readSmallFile(::dirfd(folder.get()), name.constData(), keyFileLimit)))
            return unusable(path + QLatin1Char('/') + QFile::decodeName(name));
    }
    return keys;
}

TrustedKeys readKeyFile(const QString &path)
{
    TrustedKeys keys;
    return add(keys, readSmallFile(path, keyFileLimit)) ? keys : unusable(path);
}

QString signaturePath(const QString &packagePath)
{
    return packagePath + QLatin1String(".minisig");
}

TrustFiles readTrustFiles(const QString &keyFolder, const QString &signatureFile)
{
    TrustFiles files;
    files.keys = readKeyFolder(keyFolder);
    if (files.needDigest())
        files.signature = readSmallFile(signatureFile, signatureFileLimit);
    return files;
}

Verdict TrustFiles::judge(const QByteArray &digest) const
{
    Verdict verdict;
    if (!keys.areInstalled())
        return verdict;
    if (!keys.areUsable()) {
        verdict.kind = Verdict::Kind::KeysUnusable;
        verdict.keyPath = keys.unusable;
        return verdict;
    }
    switch (signature.state) {
    case SmallFile::State::Absent:
        verdict.kind = Verdict::Kind::NotSigned;
        return verdict;
    case SmallFile::State::Unusable:
        verdict.kind = Verdict::Kind::SignatureError;
        verdict.reason = Verdict::Reason::Unreadable;
        return verdict;
    case SmallFile::State::Complete:
        break;
    }
    return signing::judge(signature.bytes, keys.keys, digest);
}

} // namespace signing
