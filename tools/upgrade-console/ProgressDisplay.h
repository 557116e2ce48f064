// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "upgrade-console/LiveScreen.h"
#include "upgrade-console/Terminal.h"

#include <QElapsedTimer>
#include <QStringList>

#include <functional>

/**
 * Progress on standard error: a live screen on a terminal, plain lines otherwise. Drawing is slower
 * than the agent may be, so the screen is drawn a few times a second at most.
 */
class ProgressDisplay
{
public:
    using Picture = std::function<QStringList(const Terminal &terminal)>;

    explicit ProgressDisplay(bool mayDraw);

    bool isLive() const { return m_isLive; }
    /** Draws the picture on a live screen if the last drawing is old enough. */
    void draw(const Picture &picture);
    /** Prints the lines unless there is a live screen. */
    void print(const QStringList &lines);
    /** Shows a line in both cases. */
    void note(const QString &line);
    /** A question; the answer comes on the same line. */
    void ask(const QString &question);
    /** Removes the live screen. */
    void close();

private:
    Terminal m_terminal;
    bool m_isLive;
    LiveScreen m_screen;
    QElapsedTimer m_sinceDrawn;
};
