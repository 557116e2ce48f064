// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QLoggingCategory>
#include <QMutex>
#include <QStringList>

#include <utility>

/** Records the log lines of one category, each after the first letter of its level. Which levels
 *  are on does not depend on the logging rules. */
class MessageRecorder
{
public:
    enum class Debug { Off, On };

    explicit MessageRecorder(const char *category, Debug debug = Debug::Off)
    {
        wanted = category;
        withDebug = debug == Debug::On;
        lines.clear();
        m_before = qInstallMessageHandler(keep);
        rules = QLoggingCategory::installFilter(filter);
    }
    ~MessageRecorder()
    {
        QLoggingCategory::installFilter(rules);
        qInstallMessageHandler(m_before);
    }
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
    static void filter(QLoggingCategory *category)
    {
        if (rules != nullptr) // not while it is installed
            rules(category);
        if (qstrcmp(category->categoryName(), wanted) != 0)
            return;
        category->setEnabled(QtDebugMsg, withDebug);
        category->setEnabled(QtInfoMsg, true);
    }

    inline static QMutex mutex;
    inline static QStringList lines;
    inline static const char *wanted = "";
    inline static bool withDebug = false;
    inline static QLoggingCategory::CategoryFilter rules = nullptr;
    QtMessageHandler m_before = nullptr;
};
