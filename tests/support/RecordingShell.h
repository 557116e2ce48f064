// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "platform/Platform.h"

#include <QCryptographicHash>
#include <QFile>
#include <QStringList>

#include <functional>
#include <memory>
#include <mutex>

/** A shell that only records its commands; any thread may use it. */
class RecordingShell
{
public:
    /** Called with each command, after it was recorded, in the caller's thread. */
    std::function<void(const QString &command)> onRun;
    /** The output of a digest command; by default the MD5 of its last file argument. */
    std::function<QByteArray(const QString &command)> digest = md5OfNamedFile;

    platform::Shell shell()
    {
        return {[this](const QString &command) { run(command); },
                [this](const QString &command, int count) { return read(command, count); }};
    }

    QStringList commands() const
    {
        const std::lock_guard lock(m_mutex);
        return m_commands;
    }

    static QByteArray md5OfNamedFile(const QString &command)
    {
        QFile file(command.section(QLatin1Char(' '), -1));
        if (!file.open(QIODevice::ReadOnly))
            return {};
        return QCryptographicHash::hash(file.readAll(), QCryptographicHash::Md5).toHex() + "  " +
               file.fileName().toLocal8Bit() + '\n';
    }

private:
    void run(const QString &command)
    {
        record(command);
        if (onRun)
            onRun(command);
    }

    QByteArray read(const QString &command, int count)
    {
        record(command);
        return digest(command).left(count);
    }

    void record(const QString &command)
    {
        const std::lock_guard lock(m_mutex);
        m_commands.append(command);
    }

    mutable std::mutex m_mutex;
    QStringList m_commands;
};
