// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>

enum class Colour { Plain, Green, Red, Yellow, Faint };

/** How an output shows texts. */
struct Style
{
    bool colours = false;

    /** The text in a colour, or as it is. */
    QString in(Colour colour, const QString &text) const;
};

/** What an output is. */
struct Terminal
{
    bool isTerminal = false;
    int columns = 80;
    int lines = 24;
    Style style;

    /** Of an open descriptor. Colours need a terminal and no NO_COLOR in the environment. */
    static Terminal of(int descriptor);
};
