// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>

#include <cstdlib>
#include <unistd.h>

/** While the object exists, a process of root has the permissions of an ordinary user. */
class OrdinaryUser
{
public:
    static constexpr uid_t id = 65'534;

    OrdinaryUser() : m_wasRoot(::geteuid() == 0)
    {
        if (m_wasRoot && ::setresuid(id, id, 0) != 0)
            std::abort();
    }
    ~OrdinaryUser()
    {
        if (m_wasRoot && ::setresuid(0, 0, 0) != 0)
            std::abort();
    }
    OrdinaryUser(const OrdinaryUser &) = delete;
    OrdinaryUser &operator=(const OrdinaryUser &) = delete;

    /** That user may create and remove files there. */
    static void give(const QByteArray &folder)
    {
        if (::geteuid() == 0 && ::chown(folder.constData(), id, id) != 0)
            std::abort();
    }

private:
    bool m_wasRoot;
};
