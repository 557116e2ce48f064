// SPDX-License-Identifier: Apache-2.0
#include "runtime/JournalStream.h"

#include <QList>

#include <sys/stat.h>

namespace runtime::journalStream {

namespace {

QByteArray priorityOf(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return "<7>";
    case QtInfoMsg:
        return "<6>";
    case QtWarningMsg:
        return "<4>";
    case QtCriticalMsg:
        return "<3>";
    case QtFatalMsg:
        return "<2>";
    }
    return "<6>";
}

} // namespace

bool isJournal(const QByteArray &variable, int descriptor)
{
    struct stat status = {};
    if (variable.isEmpty() || fstat(descriptor, &status) != 0)
        return false;
    return variable == QByteArray::number(quint64(status.st_dev)) + ':' +
                           QByteArray::number(quint64(status.st_ino));
}

QByteArray withPriority(QtMsgType type, const QString &text)
{
    const QByteArray priority = priorityOf(type);
    QByteArray lines;
    const QList<QByteArray> parts = text.toUtf8().split('\n');
    for (const QByteArray &line : parts)
        lines += priority + line + '\n';
    return lines;
}

} // namespace runtime::journalStream
