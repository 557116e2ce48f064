// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/SftpSession.h"

/**
 * The size of a file on the module while another session writes it: sftp reports no progress to
 * programs. It uses a separate session, which never asks for a password; without such a session
 * no size is known.
 */
class RemoteSize : public QObject
{
    Q_OBJECT

public:
    RemoteSize(const SshAccess &access, const QString &path);
    ~RemoteSize() override;

    /** Returns at once; found() follows when the module answers. The first call connects. */
    void ask();

signals:
    void found(qint64 bytes);

private:
    void onOutput();

    const SshAccess m_access;
    const QByteArray m_path;
    SftpProcess m_process;
    bool m_isStarted = false;
    bool m_isAsked = false;
};
