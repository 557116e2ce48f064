// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetArchive.h"

#include <QFileInfo>

namespace netupgrade {

bool NetArchive::create()
{
    m_file.close();
    return open() || (removeUnwritable() && open());
}

bool NetArchive::open()
{
    // Unbuffered, so that a full disk is reported by the write that hits it.
    return m_file.open(QIODevice::WriteOnly | QIODevice::Truncate | QIODevice::Unbuffered);
}

bool NetArchive::removeUnwritable()
{
    const QFileInfo old(m_file.fileName());
    return (old.isSymLink() || old.isFile()) && !old.isWritable() && m_file.remove();
}

bool NetArchive::append(const QByteArray &bytes)
{
    if (!m_file.isOpen())
        return false;
    const qint64 before = m_file.pos();
    if (m_file.write(bytes) == bytes.size())
        return true;
    m_file.resize(before);
    m_file.seek(before);
    return false;
}

void NetArchive::clear()
{
    m_file.resize(0);
    m_file.seek(0);
}

void NetArchive::remove()
{
    clear();
    m_file.remove();
}

} // namespace netupgrade
