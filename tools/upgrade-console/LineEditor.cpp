// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/LineEditor.h"

#include "common/Output.h"
#include "upgrade-console/Terminal.h"

#include <cstdio>
#include <cstdlib>
#include <unistd.h>

#include <editline/readline.h>

namespace {

constexpr int longestLine = 1024 * 1024;
const char *const prompt = "> ";

/** The library's callback has no user argument; there is only one standard input anyway. */
LineEditor *theEditor = nullptr;

} // namespace

LineEditor::LineEditor(QObject *parent)
    : QObject(parent),
      m_isTerminal(Terminal::of(STDIN_FILENO).isTerminal && Terminal::of(STDOUT_FILENO).isTerminal),
      m_notifier(STDIN_FILENO, QSocketNotifier::Read)
{
    m_notifier.setEnabled(false);
    connect(&m_notifier, &QSocketNotifier::activated, this, [this] { onReadable(); });
}

LineEditor::~LineEditor()
{
    if (m_isEditing)
        rl_callback_handler_remove();
    theEditor = nullptr;
}

void LineEditor::start()
{
    theEditor = this;
    if (m_isTerminal) {
        rl_catch_signals = 0;
        using_history();
        rl_callback_handler_install(prompt, takeEdited);
        m_isEditing = true;
    }
    m_notifier.setEnabled(true);
}

bool LineEditor::print(const QString &line)
{
    const QByteArray erase = m_isEditing ? "\r\x1b[K" : "";
    const bool isWritten = writeAll(STDOUT_FILENO, erase + line.toUtf8() + '\n');
    if (m_isEditing)
        rl_forced_update_display();
    return isWritten;
}

void LineEditor::onReadable()
{
    if (!m_isEditing) {
        readPlain();
        return;
    }
    rl_callback_read_char();
}

void LineEditor::readPlain()
{
    QByteArray chunk(4096, '\0');
    const auto count = ::read(STDIN_FILENO, chunk.data(), size_t(chunk.size()));
    if (count > 0)
        m_rest += chunk.left(int(count));
    for (int end = m_rest.indexOf('\n'); end >= 0; end = m_rest.indexOf('\n')) {
        emit line(QString::fromUtf8(m_rest.left(end)));
        m_rest.remove(0, end + 1);
    }
    if (count > 0 && m_rest.size() <= longestLine)
        return;
    m_notifier.setEnabled(false);
    if (!m_rest.isEmpty())
        emit line(QString::fromUtf8(m_rest));
    emit ended();
}

void LineEditor::takeEdited(char *text)
{
    if (text == nullptr) {
        theEditor->m_notifier.setEnabled(false);
        rl_callback_handler_remove();
        theEditor->m_isEditing = false;
        writeAll(STDOUT_FILENO, "\n");
        emit theEditor->ended();
        return;
    }
    if (*text != '\0')
        add_history(text);
    const QString line = QString::fromLocal8Bit(text);
    std::free(text); // NOLINT(cppcoreguidelines-no-malloc): the library's own memory
    // The library resets the terminal after a line.
    rl_callback_handler_install(prompt, takeEdited);
    emit theEditor->line(line);
}
