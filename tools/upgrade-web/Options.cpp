// SPDX-License-Identifier: Apache-2.0
#include "upgrade-web/Options.h"

#include "platform/Platform.h"

#include <CLI/CLI.hpp>

#include <QFileInfo>
#include <QHostAddress>

namespace {

const CommandLine::Program program{"upgrade-web", PROJECT_VERSION,
                                   "Serves the upgrades of a device over HTTP."};

constexpr int highestPort = 65535;
constexpr int largestUpload = 2047;
constexpr double longestTimeOut = 24.0 * 3600.0;

QString text(const std::string &bytes)
{
    return QString::fromStdString(bytes);
}

} // namespace

WebOptionReader::WebOptionReader() : m_line(program)
{
    m_texts.listen = m_options.listen.toStdString();
    m_texts.agent = m_options.agentHost.toStdString();
    m_texts.password = m_options.passwordFile.toStdString();
    m_texts.package = platform::Paths().package.toStdString();
    m_texts.keys = platform::Paths().keys.toStdString();
    m_texts.port = m_options.port;
    m_texts.agentPort = m_options.agentPort;
    const auto add = [this](CLI::App &to, const char *name, auto &value, const char *type,
                            const char *help) {
        CLI::Option *option = to.add_option(name, value, help);
        option->type_name(type);
        return option;
    };
    m_line.takesFile(add(m_line.app(), "--password-file", m_texts.password, "FILE",
                         "The password's file; default /etc/upgrade-web/password."));
    CLI::App &serve = m_line.addCommand("serve", "Serve HTTP until the end of the program.");
    add(serve, "--listen", m_texts.listen, "ADDRESS",
        "The address to listen on; default 127.0.0.1. Any other than a loopback address needs a "
        "password, and --certificate and --key or --behind-proxy.");
    add(serve, "--port", m_texts.port, "PORT", "The TCP port, default 8353; 0 takes any.")
        ->check(CLI::Range(0, highestPort));
    add(serve, "--host-name", m_texts.hosts, "NAME",
        "Another name by which browsers reach the server. May be repeated.")
        ->type_size(1)
        ->expected(1)
        ->multi_option_policy(CLI::MultiOptionPolicy::TakeAll);
    m_line.takesFile(add(serve, "--certificate", m_texts.certificate, "FILE",
                         "The certificate chain for TLS, PEM."));
    m_line.takesFile(add(serve, "--key", m_texts.key, "FILE", "Its private key, PEM."));
    serve.add_flag("--behind-proxy", m_options.hasProxy,
                   "A proxy on the way speaks TLS to the browsers and sets X-Forwarded-For.");
    serve.add_flag("--open-metrics", m_options.hasOpenMetrics, "Serve /metrics without a login.");
    m_line.takesHost(add(serve, "--agent-host", m_texts.agent, "HOST",
                         "The agent's name or address; default localhost."));
    add(serve, "--agent-port", m_texts.agentPort, "PORT", "The agent's port; default 35353.")
        ->check(CLI::Range(1, highestPort));
    add(serve, "--timeout", m_options.timeOut, "SECONDS",
        "The longest wait for a reply of the agent; default 60.")
        ->check(CLI::Range(0.1, longestTimeOut));
    m_line.takesFile(add(serve, "--package", m_texts.package, "FILE",
                         "The package that the agent upgrades from; default /data/FW.fwm."));
    m_line.takesFile(add(serve, "--keys", m_texts.keys, "FOLDER",
                         "The keys whose packages the agent takes; default "
                         "/etc/upgrade-agent/keys."));
    m_line.takesFile(add(serve, "--history", m_texts.history, "FILE",
                         "The list of the last runs; default upgrade-web-history.json beside the "
                         "package."));
    add(serve, "--upload-limit", m_options.uploadLimit, "MIB",
        "The largest package that is accepted, in MiB; default 256.")
        ->check(CLI::Range(1, largestUpload));
    m_line.addCommand("set-password", "Read a password from standard input and store it.");
    m_line.addExitStatuses({ExitCode::Done, ExitCode::Failed, ExitCode::Usage});
}

std::optional<CommandOutcome> WebOptionReader::read(const QStringList &arguments)
{
    if (auto answer = m_line.read(arguments))
        return answer;
    m_options.listen = text(m_texts.listen);
    m_options.port = quint16(m_texts.port);
    m_options.agentHost = text(m_texts.agent);
    m_options.agentPort = quint16(m_texts.agentPort);
    m_options.certificate = text(m_texts.certificate);
    m_options.key = text(m_texts.key);
    m_options.passwordFile = text(m_texts.password);
    m_options.package = text(m_texts.package);
    m_options.keys = text(m_texts.keys);
    m_options.history = text(m_texts.history);
    for (const std::string &name : m_texts.hosts)
        m_options.hostNames += text(name);
    if (m_options.history.isEmpty())
        m_options.history = QFileInfo(m_options.package).absolutePath() +
                            QLatin1String("/upgrade-web-history.json");
    return check();
}

std::optional<CommandOutcome> WebOptionReader::check()
{
    const QHostAddress address(m_options.listen);
    if (address.isNull())
        return m_line.wrong(
            QStringLiteral("--listen: '%1' is not a valid address").arg(m_options.listen));
    if (m_options.certificate.isEmpty() != m_options.key.isEmpty())
        return m_line.wrong(QStringLiteral("--certificate and --key belong together"));
    if (!m_options.key.isEmpty() && m_options.hasProxy)
        return m_line.wrong(QStringLiteral("--behind-proxy excludes --certificate and --key"));
    const bool isSafe = !m_options.key.isEmpty() || m_options.hasProxy;
    if (!address.isLoopback() && !isSafe)
        return m_line.wrong(QStringLiteral("--listen with an address that is not a loopback "
                                           "address needs --certificate and --key, or "
                                           "--behind-proxy"));
    return std::nullopt;
}
