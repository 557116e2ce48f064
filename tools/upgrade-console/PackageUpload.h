// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/Problems.h"
#include "upgrade-console/RemoteSize.h"
#include "upgrade-console/SftpSession.h"

#include <QTemporaryDir>

#include <memory>
#include <optional>

/** A checked package on the disk of this machine. */
struct CheckedPackage
{
    QString path;
    qint64 size = 0;
    QByteArray sha256;
    /** The content of its signature file; none when there is no such file. */
    std::optional<QByteArray> signature;
};

/**
 * Puts a package on the module: copies it beside the name of the package, reads the copy back,
 * compares the two, and only then gives it the name. The name never belongs to half a package.
 * Its signature file goes the same way and gets its name first, so that a module never has a new
 * package with an old signature; the signature file of an older package is removed afterwards.
 */
class PackageUpload : public QObject
{
    Q_OBJECT

public:
    explicit PackageUpload(const SshAccess &access);

    void start(const CheckedPackage &package);
    /** The temporary name on the module. */
    QString copyName() const { return m_copy; }

signals:
    /** About once a second during a long copy: first the bytes on the module, then those that were
     *  read back. */
    void copied(qint64 bytes);
    void readBack(qint64 bytes);
    void done();
    void failed(ProblemId cause, const QString &detail);

private:
    enum class Step { Copying, Renaming, Cleaning };

    void begin(Step step, const QByteArray &commands, std::chrono::milliseconds limit);
    void onEnded(const QString &error);
    void giveUp(ProblemId cause, const QString &detail);
    bool storeSignature() const;
    QByteArray copyCommands() const;
    QByteArray renameCommands() const;
    bool isCopyRight() const;
    void onPoll();

    const SshAccess m_access;
    const QString m_copy;
    QTemporaryDir m_folder;
    std::unique_ptr<SftpSession> m_session;
    std::unique_ptr<RemoteSize> m_size;
    QTimer m_poll;
    CheckedPackage m_package;
    Step m_step = Step::Copying;
    ProblemId m_cause = ProblemId::None;
    QString m_detail;
};

/** Of a file, in hexadecimal; empty when it cannot be read. */
QByteArray sha256OfFile(const QString &path);
