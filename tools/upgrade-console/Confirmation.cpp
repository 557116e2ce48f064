// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/Confirmation.h"

#include <algorithm>
#include <unistd.h>

namespace {

/** Of the user's answer, in bytes. */
constexpr int longestConfirmation = 64;

} // namespace

Confirmation::Confirmation(ProgressDisplay &display)
    : m_display(display), m_input(STDIN_FILENO, QSocketNotifier::Read)
{
    m_input.setEnabled(false);
    connect(&m_input, &QSocketNotifier::activated, this, &Confirmation::onAnswer);
}

bool Confirmation::canAsk()
{
    return ::isatty(STDIN_FILENO) == 1 && ::isatty(STDERR_FILENO) == 1;
}

void Confirmation::ask()
{
    m_display.note(QStringLiteral("Mode 5 writes every image that fits: neither the device's model "
                                  "nor any version is compared."));
    m_display.ask(QStringLiteral("Write the package to the device? [yes/no] "));
    m_input.setEnabled(true);
}

void Confirmation::onAnswer()
{
    m_input.setEnabled(false);
    QByteArray line(longestConfirmation, '\0');
    const auto count = ::read(STDIN_FILENO, line.data(), size_t(line.size()));
    const QByteArray answer = line.left(int(std::max<ssize_t>(count, 0))).trimmed().toLower();
    emit answered(answer == "yes" || answer == "y");
}
