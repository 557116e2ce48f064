// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Terminal.h"

#include <sys/ioctl.h>
#include <unistd.h>

QString Style::in(Colour colour, const QString &text) const
{
    static const char *const codes[] = {"", "32", "31", "33", "2"};
    if (!colours || colour == Colour::Plain)
        return text;
    return QStringLiteral("\x1b[%1m%2\x1b[0m").arg(QLatin1String(codes[int(colour)]), text);
}

Terminal Terminal::of(int descriptor)
{
    Terminal terminal;
    terminal.isTerminal = ::isatty(descriptor) == 1;
    terminal.style.colours =
        terminal.isTerminal && qEnvironmentVariableIsEmpty("NO_COLOR") && qgetenv("TERM") != "dumb";
    winsize size{};
    if (::ioctl(descriptor, TIOCGWINSZ, &size) == 0 && size.ws_col > 0 && size.ws_row > 0) {
        terminal.columns = size.ws_col;
        terminal.lines = size.ws_row;
    }
    return terminal;
}
