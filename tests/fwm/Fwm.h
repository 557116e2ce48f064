// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/ForkedProcess.h"
#include "support/TestFolder.h"

#include <QDir>
#include <QFile>
#include <QJsonDocument>
#include <QJsonObject>
#include <QtTest>

/** The result of a program: exit status, standard output and standard error. */
struct Ran
{
    int status = -1;
    QByteArray out;
    QByteArray err;

    QJsonObject json() const { return QJsonDocument::fromJson(out).object(); }
    /** A value in the document, by its path: "images.0.size". */
    QJsonValue at(const QString &path) const
    {
        QJsonValue value = json();
        for (const QString &step : path.split('.')) {
            bool isIndex = false;
            const int index = step.toInt(&isIndex);
            value = isIndex ? value[index] : value[step];
        }
        return value;
    }
    /** The exit status and the id of the error: "7 checksum-wrong" or "0 ". */
    QString problem() const { return QString("%1 %2").arg(status).arg(at("error.id").toString()); }
};

inline QByteArray fileBytes(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray("(no file)");
}

inline QString goldenPath(const QString &name)
{
    return QStringLiteral(GOLDEN_DIR "/%1.fwm").arg(name);
}

/** A folder for each test, in which the real program runs. */
class Fwm
{
public:
    Ran run(const QStringList &arguments) const
    {
        return runProgram(QStringLiteral(FWM_PROGRAM), arguments);
    }
    /** Words with a blank between them; "{good}" is the golden package of this name. */
    Ran run(const QString &line) const
    {
        QStringList words = line.split(' ');
        for (QString &word : words) {
            if (word.startsWith('{'))
                word = goldenPath(word.mid(1, word.size() - 2));
        }
        return run(words);
    }
    Ran shell(const QString &line) const
    {
        return runProgram(QStringLiteral("bash"), {QStringLiteral("-c"), line});
    }

    QString path(const QString &name) const { return m_folder->path(name); }

    void write(const QString &name, const QByteArray &bytes) const
    {
        QDir(m_folder->path()).mkpath(QFileInfo(path(name)).path());
        m_folder->store(name, bytes);
    }
    QByteArray read(const QString &name) const { return m_folder->contents(name); }
    /** Everything in the folder, hidden or not. */
    QStringList names() const { return m_folder->names(); }

protected:
    /** Begins a test with an empty folder. */
    void renew() { m_folder.reset(new TestFolder); }

private:
    Ran runProgram(const QString &program, const QStringList &arguments) const
    {
        ForkedProcess process;
        process.setWorkingDirectory(m_folder->path());
        process.start(program, arguments);
        if (!process.waitForStarted())
            return {};
        constexpr int enough = 180'000;
        if (!process.waitForFinished(enough))
            process.kill();
        return {process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1,
                process.readAllStandardOutput(), process.readAllStandardError()};
    }

    QScopedPointer<TestFolder> m_folder{new TestFolder};
};
