// SPDX-License-Identifier: Apache-2.0
#include "engine/package/RunPackage.h"

using bytes::ByteSource;
using package::checkPackage;
using package::PackageChecksum;

namespace engine {

PackageCheck RunPackage::open(const QString &path)
{
    close();
    const PackageCheck opened = openPackage(m_file.emplace(path), path);
    if (opened != PackageCheck::NotChecked) {
        m_file.reset();
        return opened;
    }
    PackageChecksum checksum = checkPackage(*m_file);
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
