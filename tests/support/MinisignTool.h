// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "support/TestFolder.h"

#include <QByteArray>
#include <QProcess>
#include <QStringList>

/** The program minisign with a private folder, in which it makes keys and signatures. */
class MinisignTool : public TestFolder
{
public:
    QByteArray load(const QString &name) const { return contents(name); }

    /** Makes NAME.pub and the secret key NAME.key; returns the public key's file. */
    QByteArray makeKey(const QString &name) const
    {
        run({"-G", "-W", "-f", "-p", path(name + ".pub"), "-s", path(name + ".key")});
        return load(name + ".pub");
    }

    /** Signs `bytes` and returns the signature's file. */
    QByteArray sign(const QByteArray &bytes, const QString &key, const QString &comment,
                    const QStringList &options = {}) const
    {
        store("signed", bytes);
        run(QStringList{"-S", "-W", "-s", path(key + ".key"), "-m", path("signed"), "-x",
                        path("signed.minisig"), "-t", comment} +
            options);
        return load("signed.minisig");
    }

    /** Whether the program accepts the signature. */
    bool accepts(const QByteArray &bytes, const QByteArray &key, const QByteArray &signature) const
    {
        store("checked", bytes);
        store("checked.pub", key);
        store("checked.minisig", signature);
        return run({"-V", "-q", "-p", path("checked.pub"), "-m", path("checked")}) == 0;
    }

private:
    /** The exit status. */
    static int run(const QStringList &arguments)
    {
        QProcess program;
        program.start("minisign", arguments);
        return program.waitForFinished(-1) ? program.exitCode() : -1;
    }
};
