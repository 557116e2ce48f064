// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/RunCommand.h"

using client::LineMeaning;
using client::meaningOf;
using client::messageEvent;
using client::RunConversation;

namespace {

/** Lines that users should see during the run. */
bool isNotable(const QString &line)
{
    return meaningOf(line).cause != ProblemId::None || line.contains(QLatin1String(" fail"));
}

} // namespace

RunCommand::RunCommand(const Options &options)
    : Command(options),
      m_conversation({options.host, options.port, options.timeOut, options.waitBack}),
      m_display(options.showsProgress())
{
    connect(&m_conversation, &RunConversation::listed, this,
            [this](const package::PackageDescription &package) { onListed(package); });
    connect(&m_conversation, &RunConversation::begun, this, [this] { onBegun(); });
    connect(&m_conversation, &RunConversation::lineReceived, this, &RunCommand::onLine);
    connect(&m_conversation, &RunConversation::changed, this, &RunCommand::showProgress);
    connect(&m_conversation, &RunConversation::moduleRestarts, this,
            [this] { m_display.note(QStringLiteral("the network module restarts")); });
    connect(&m_conversation, &RunConversation::notStarted, this,
            [this](ProblemId cause, const QString &detail) {
                m_display.close();
                onNotStarted(cause, detail);
            });
    connect(&m_conversation, &RunConversation::ended, this, &RunCommand::finishRun);
}

void RunCommand::interrupt()
{
    m_conversation.interrupt();
}

void RunCommand::onNotStarted(ProblemId cause, const QString &detail)
{
    fail(cause, detail);
}

void RunCommand::onLine(const QString &line)
{
    if (!isNotable(line))
        return;
    m_display.note("agent: " + m_conversation.model().labelled(line));
    writeEvent(messageEvent(m_conversation.model(), line));
}

void RunCommand::showProgress()
{
    if (options().form == OutputForm::JsonLines) {
        const auto events = m_events.changes(m_conversation.picture());
        for (const QJsonObject &event : events)
            writeEvent(event);
        return;
    }
    m_display.print(m_changes.next(m_conversation.picture()));
    m_display.draw(
        [this](const Terminal &terminal) { return liveLines(m_conversation.picture(), terminal); });
}

void RunCommand::finishRun(CommandOutcome result)
{
    m_display.close();
    QStringList lines =
        resultTable(m_conversation.model(), m_conversation.picture().now, Terminal::of(1).style);
    if (!lines.isEmpty())
        lines += QString();
    result.text = textOf(lines + QStringList{result.json["summary"].toString()});
    addRun(result);
    finish(result);
}
