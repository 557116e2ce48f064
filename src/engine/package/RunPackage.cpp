// SPDX-License-Identifier: Apache-2.0
#include "engine/package/RunPackage.h"

#include "signing/TrustedKeys.h"

using bytes::ByteSource;
using bytes::SumKind;
using package::checkPackage;
using package::PackageChecksum;
using signing::readTrustFiles;
using signing::signaturePath;
using signing::TrustFiles;

namespace engine {

RunPackage::RunPackage(const QString &keyFolder) : m_keyFolder(keyFolder) {}

PackageCheck RunPackage::open(const QString &path)
{
    close();
    const PackageCheck opened = openPackage(m_file.emplace(path), path);
    if (opened != PackageCheck::NotChecked) {
        m_file.reset();
        return opened;
    }
    const TrustFiles files = readTrustFiles(m_keyFolder, signaturePath(path));
    PackageChecksum checksum =
        checkPackage(*m_file, files.needDigest() ? SumKind::Blake2b : SumKind::Crc32);
    m_trust = files.judge(checksum.digest);
    const PackageCheck verdict = packageVerdict(checksum);
    m_checkError = checksum.readError;
    m_verified.emplace(*m_file, std::move(checksum.chunks));
    return verdict;
}

void RunPackage::close()
{
    m_verified.reset();
    m_file.reset();
    m_checkError = 0;
    m_trust = {};
}

ByteSource &RunPackage::source()
{
    if (m_verified)
        return *m_verified;
    return m_nothing;
}

RunPackage::Fault RunPackage::fault() const
{
    if (m_checkError != 0)
        return Fault::ReadError;
    return m_verified ? m_verified->fault() : Fault::None;
}

int RunPackage::error() const
{
    if (m_checkError != 0)
        return m_checkError;
    return m_verified ? m_verified->error() : 0;
}

} // namespace engine
