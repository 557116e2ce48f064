// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "common/CommandLine.h"

#include <QString>
#include <QStringList>

/** The command line of upgrade-web. */
struct WebOptions
{
    QString listen = QStringLiteral("127.0.0.1");
    quint16 port = 8353;
    QStringList hostNames;
    bool hasProxy = false;
    bool hasOpenMetrics = false;
    QString certificate;
    QString key;
    QString passwordFile = QStringLiteral("/etc/upgrade-web/password");
    QString agentHost = QStringLiteral("localhost");
    quint16 agentPort = 35353;
    double timeOut = 60.0;
    QString package;
    /** The folder of the keys whose packages the agent takes. */
    QString keys;
    QString history;
    /** In MiB. */
    int uploadLimit = 256;
};

/** The command line of upgrade-web. */
class WebOptionReader
{
public:
    WebOptionReader();

    /** As CommandLine::read(); without an answer there are options. */
    std::optional<CommandOutcome> read(const QStringList &arguments);
    const WebOptions &options() const { return m_options; }
    const CommandLine &line() const { return m_line; }
    bool isSetPassword() const { return m_line.command() == QLatin1String("set-password"); }

private:
    std::optional<CommandOutcome> check();

    CommandLine m_line;
    WebOptions m_options;
    struct Texts
    {
        std::string listen, certificate, key, password, agent, package, keys, history;
        std::vector<std::string> hosts;
        int port = 0;
        int agentPort = 0;
    } m_texts;
};
