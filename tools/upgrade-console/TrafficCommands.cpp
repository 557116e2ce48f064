// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/TrafficCommands.h"

#include "common/Output.h"
#include "common/Printable.h"
#include "protocol/ConsoleTexts.h"
#include "upgrade-console/Terminal.h"

#include <QDateTime>
#include <QJsonDocument>

#include <unistd.h>

namespace consoletext = protocol::consoletext;
using client::AgentReply;
using client::replyKindName;

namespace {

const char *const jsonStart = "{\"replies\": [";

using Kind = AgentReply::Kind;

QString timeNow()
{
    return QDateTime::currentDateTime().toString(QStringLiteral("HH:mm:ss.zzz"));
}

QString trimmed(QLatin1String word)
{
    return QString(word).trimmed();
}

QJsonObject replyJson(const AgentReply &reply)
{
    QJsonObject object{
        {"time", QDateTime::currentDateTime().toString(Qt::ISODateWithMs)},
        {"kind", replyKindName(reply.kind)},
    };
    if (!reply.text.isEmpty())
        object["text"] = reply.text;
    if (reply.kind == Kind::Progress)
        object["percent"] = reply.percent;
    if (reply.kind == Kind::ModuleStatus) {
        object["word"] = reply.word;
        object["status"] = reply.status;
    }
    return object;
}

} // namespace

QString wireText(const AgentReply &reply)
{
    switch (reply.kind) {
    case Kind::Heartbeat:
        return consoletext::heartbeat;
    case Kind::Version:
        return consoletext::versionKey + reply.text;
    case Kind::FirmwareList:
        return consoletext::firmwareListKey + reply.text;
    case Kind::Log:
        return consoletext::logKey + reply.text;
    case Kind::Progress:
        return consoletext::progressKey + reply.text;
    case Kind::NetVersion:
        return consoletext::netVersionKey + reply.text;
    case Kind::EdidReport:
        return consoletext::edidResultKey + reply.text;
    case Kind::EdidError:
        return consoletext::parseEdid + consoletext::separator + reply.text;
    case Kind::Connected:
        return trimmed(consoletext::connectSuccess);
    case Kind::Disconnected:
        return trimmed(consoletext::disconnected);
    case Kind::UpgradeSuccess:
        return trimmed(consoletext::upgradeSuccess);
    case Kind::UpgradeFail:
        return trimmed(consoletext::upgradeFail);
    case Kind::ModuleStatus:
        return consoletext::fragmentKey + QStringLiteral("(answer to %1: %2)")
                                              .arg(reply.word, 4, 16, QLatin1Char('0'))
                                              .arg(reply.status);
    case Kind::ModuleText:
        return consoletext::fragmentKey + reply.text;
    case Kind::Unknown:
        return reply.text;
    case Kind::Overlong:
        break;
    }
    return QStringLiteral("(a line that is too long)");
}

void TrafficCommand::interrupt()
{
    finish({});
}

void TrafficCommand::onReply(const AgentReply &reply)
{
    if (options().form == OutputForm::Text) {
        show(printable(lineFor(reply)));
        return;
    }
    if (options().form == OutputForm::JsonLines) {
        QJsonObject event = replyJson(reply);
        event["event"] = QStringLiteral("reply");
        if (!writeEvent(event))
            fail(ProblemId::OutputUnwritable);
        return;
    }
    const QByteArray before = m_hasReplies ? ",\n" : QByteArray(jsonStart) + '\n';
    m_hasReplies = true;
    print(before + QJsonDocument(replyJson(reply)).toJson(QJsonDocument::Compact));
}

int TrafficCommand::write(const CommandLine &line, const CommandOutcome &outcome)
{
    if (options().form != OutputForm::Json)
        return Command::write(line, outcome);
    const QJsonObject document = resultDocument(line.command(), outcome);
    const QByteArray before = m_hasReplies ? "" : jsonStart;
    const QByteArray rest = QJsonDocument(document).toJson(QJsonDocument::Compact);
    const bool isWritten = writeAll(STDOUT_FILENO, before + "\n],\n" + rest.mid(1) + '\n');
    if (isWritten)
        return int(outcome.exit);
    // As a separate line, since the document cannot be completed.
    return writeOutcome(QStringLiteral("upgrade-console"), line.command(), OutputForm::Text,
                        CommandOutcome::failed(ProblemId::OutputUnwritable, {}));
}

void TrafficCommand::show(const QString &line)
{
    print(line.toUtf8() + '\n');
}

/** Replies that cannot be shown end the command. */
void TrafficCommand::print(const QByteArray &bytes)
{
    if (!writeAll(STDOUT_FILENO, bytes))
        fail(ProblemId::OutputUnwritable);
}

/** The agent sends only to clients that have sent a request. */
void WatchCommand::onConnected()
{
    request(consoletext::heartbeat);
    agent().watchLife(true);
}

QString WatchCommand::lineFor(const AgentReply &reply) const
{
    return timeNow() + ' ' + wireText(reply);
}

ShellCommand::ShellCommand(const Options &options) : TrafficCommand(options) {}

void ShellCommand::onConnected()
{
    agent().watchLife(true);
    m_editor = std::make_unique<LineEditor>();
    connect(m_editor.get(), &LineEditor::line, this, &ShellCommand::onLine);
    connect(m_editor.get(), &LineEditor::ended, this, &ShellCommand::onEnd);
    m_editor->start();
}

void ShellCommand::onLine(const QString &line)
{
    const QString text = line.trimmed();
    if (m_isEnding || text.isEmpty())
        return;
    if (text == QLatin1String("quit") || text == QLatin1String("exit"))
        onEnd();
    else
        agent().request(text.toUtf8());
}

/** All requests are answered before this last heartbeat. */
void ShellCommand::onEnd()
{
    if (m_isEnding)
        return;
    m_isEnding = true;
    agent().watchLife(false);
    request(consoletext::heartbeat);
    awaitReply();
}

void ShellCommand::onReply(const AgentReply &reply)
{
    if (m_isEnding && reply.kind == Kind::Heartbeat && agent().heartbeatsInFlight() == 0)
        finish({});
    else
        TrafficCommand::onReply(reply);
}

QString ShellCommand::lineFor(const AgentReply &reply) const
{
    return wireText(reply);
}

void ShellCommand::show(const QString &line)
{
    if (!m_editor)
        TrafficCommand::show(line);
    else if (!m_editor->print(line))
        fail(ProblemId::OutputUnwritable);
}
