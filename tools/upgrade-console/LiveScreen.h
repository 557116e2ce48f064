// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <functional>

/**
 * A few lines at the end of a terminal that are redrawn in place; notes scroll away above them.
 * Uses only cursor-up and erase (ECMA-48).
 */
class LiveScreen
{
public:
    using Sink = std::function<void(const QByteArray &bytes)>;

    explicit LiveScreen(Sink sink) : m_sink(std::move(sink)) {}

    /** Each line must fit the terminal's width. */
    void show(const QStringList &lines);
    void note(const QString &line);

private:
    QByteArray upToFirst() const;
    QByteArray drawn() const;

    Sink m_sink;
    QStringList m_lines;
};
