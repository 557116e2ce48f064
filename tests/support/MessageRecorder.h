// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QMutex>
#include <QStringList>

#include <utility>

/** Records the log lines of one category, each after the first letter of its level. */
class MessageRecorder
{
public:
    explicit MessageRecorder(const char *category)
    {
        wanted = category;
        lines.clear();
        m_before = qInstallMessageHandler(keep);
    }
    ~MessageRecorder() { qInstallMessageHandler(m_before); }
    MessageRecorder(const MessageRecorder &) = delete;
    MessageRecorder &operator=(const MessageRecorder &) = delete;

    static QStringList take()
    {
        const QMutexLocker lock(&mutex);
        return std::exchange(lines, {});
    }

private:
    static void keep(QtMsgType type, const QMessageLogContext &context, const QString &text)
    {
        const QMutexLocker lock(&mutex);
        if (qstrcmp(context.category, wanted) == 0)
            lines.append((type == QtInfoMsg ? "I " : type == QtDebugMsg ? "D " : "W ") + text);
    }

    inline static QMutex mutex;
    inline static QStringList lines;
    inline static const char *wanted = "";
    QtMessageHandler m_before = nullptr;
};
