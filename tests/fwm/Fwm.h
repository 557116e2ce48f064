// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/ForkedProcess.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QTemporaryDir>
#include <QtTest>

/** The result of a program: exit status, standard output and standard error. */
struct Ran
{
    int status = -1;
    QByteArray out;
    QByteArray err;

    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
};

inline Ran runProgram(const QString &program, const QStringList &arguments, const QString &folder)
{
    ForkedProcess process;
    process.setWorkingDirectory(folder);
    process.start(program, arguments);
    if (!process.waitForStarted())
        return {};
    constexpr int enough = 180'000;
    if (!process.waitForFinished(enough))
        process.kill();
    return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
            process.readAllStandardOutput(), process.readAllStandardError()};
}

/** A folder for each test, in which the real program runs. */
class Fwm
{
public:
    Ran run(const QStringList &arguments) const
    {
        return runProgram(QStringLiteral(FWM_PROGRAM), arguments, m_folder.path());
    }
    Ran shell(const QString &line) const
    {
        return runProgram(QStringLiteral("bash"), {QStringLiteral("-c"), line}, m_folder.path());
    }

    QString path(const QString &name) const { return m_folder.filePath(name); }

    void write(const QString &name, const QByteArray &bytes) const
    {
        QDir(m_folder.path()).mkpath(QFileInfo(path(name)).path());
        QFile file(path(name));
        QVERIFY(file.open(QIODevice::WriteOnly));
        QCOMPARE(file.write(bytes), bytes.size());
    }
    QByteArray read(const QString &name) const
    {
        QFile file(path(name));
        return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
    }
    /** Everything in the folder, hidden or not. */
    QStringList names() const
    {
        return QDir(m_folder.path())
            .entryList(QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot,
                       QDir::Name);
    }

private:
    QTemporaryDir m_folder;
};

inline QString goldenPath(const QString &name)
{
    return QStringLiteral(GOLDEN_DIR "/%1.fwm").arg(name);
}

inline QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}
