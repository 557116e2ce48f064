// SPDX-License-Identifier: Apache-2.0
#include "common/Output.h"
#include "common/Signals.h"
#include "upgrade-web/HttpServer.h"
#include "upgrade-web/Options.h"
#include "upgrade-web/Password.h"

#include <QCoreApplication>
#include <QFile>
#include <QSocketNotifier>

#include <unistd.h>

namespace {

constexpr int shortestPassword = 8;
constexpr int longestLine = 1024;
constexpr qint64 bytesPerMib = qint64{1024} * 1024;
constexpr qint64 longestPem = qint64{64} * 1024;

CommandOutcome setPassword(const WebOptions &options)
{
    QFile input;
    if (!input.open(STDIN_FILENO, QIODevice::ReadOnly))
        return CommandOutcome::failed(ProblemId::FileUnreadable, QStringLiteral("standard input"));
    if (::isatty(STDIN_FILENO) != 0)
        writeAll(STDERR_FILENO, "New password, which is shown while you type: ");
    QByteArray password = input.readLine(longestLine);
    while (password.endsWith('\n') || password.endsWith('\r'))
        password.chop(1);
    if (password.size() < shortestPassword)
        return CommandOutcome::failed(
            {ProblemId::PasswordUnusable, QStringLiteral("it is shorter than 8 bytes"), {}});
    const QByteArray hash = web::hashPassword(password);
    if (hash.isEmpty())
        return CommandOutcome::failed(ProblemId::PasswordUnusable,
                                      QStringLiteral("too little memory"));
    const QString error = web::writePasswordFile(options.passwordFile, hash);
    if (!error.isEmpty())
        return CommandOutcome::failed(ProblemId::CannotWrite,
                                      options.passwordFile + QStringLiteral(": ") + error);
    CommandOutcome outcome;
    outcome.json = {{"file", options.passwordFile}};
    outcome.text = QStringLiteral("The password is set. Restart upgrade-web to use it.\n");
    return outcome;
}

/** A file of PEM; empty with the problem when it cannot be read. */
QByteArray pemOf(const QString &path, std::optional<CommandOutcome> &problem)
{
    if (path.isEmpty())
        return {};
    QFile file(path);
    const QByteArray bytes = file.open(QIODevice::ReadOnly) ? file.read(longestPem) : QByteArray();
    if (bytes.isEmpty())
        problem = CommandOutcome::failed(ProblemId::FileUnreadable,
                                         path + QStringLiteral(": ") + file.errorString());
    return bytes;
}

/** The names and addresses that a browser may use; addresses of IPv6 as QUrl::host() has them. */
QStringList hostsOf(const WebOptions &options)
{
    QStringList hosts{QStringLiteral("localhost"), QStringLiteral("127.0.0.1"),
                      QStringLiteral("::1")};
    const QHostAddress address(options.listen);
    if (address != QHostAddress(QHostAddress::AnyIPv4) &&
        address != QHostAddress(QHostAddress::AnyIPv6))
        hosts += address.toString();
    return hosts + options.hostNames;
}

std::optional<CommandOutcome> serve(const WebOptions &options, int signalDescriptor)
{
    const bool isLocal = QHostAddress(options.listen).isLoopback() && !options.hasProxy;
    const bool hasFile = QFile::exists(options.passwordFile);
    web::PasswordFile password;
    if (hasFile || !isLocal) {
        password = web::readPasswordFile(options.passwordFile);
        if (!password.error.isEmpty())
            return CommandOutcome::failed(ProblemId::PasswordUnusable, options.passwordFile +
                                                                           QStringLiteral(": ") +
                                                                           password.error);
    }
    std::optional<CommandOutcome> problem;
    web::HttpSettings http{QHostAddress(options.listen),
                           options.port,
                           pemOf(options.certificate, problem),
                           pemOf(options.key, problem),
                           {}};
    if (problem)
        return problem;
    const bool hasTls = !http.key.isEmpty();
    const std::chrono::milliseconds timeOut(qint64(options.timeOut * 1000.0));
    web::ServiceSettings settings{{options.agentHost, options.agentPort, timeOut},
                                  options.package,
                                  options.keys,
                                  options.history,
                                  options.uploadLimit * bytesPerMib,
                                  {hostsOf(options), options.port, !password.hash.isEmpty(), hasTls,
                                   options.hasProxy, options.hasOpenMetrics},
                                  password.hash};
    web::Service service(settings);
    web::HttpServer server(service, http);
    if (!server.start())
        return CommandOutcome::failed(
            ProblemId::NotListening,
            QStringLiteral("%1, port %2").arg(options.listen).arg(options.port));
    service.setPort(server.port());
    const QString address = http.address.protocol() == QAbstractSocket::IPv6Protocol
                                ? '[' + options.listen + ']'
                                : options.listen;
    writeAll(STDOUT_FILENO, QStringLiteral("%1://%2:%3/\n")
                                .arg(hasTls ? "https" : "http", address)
                                .arg(server.port())
                                .toUtf8());
    service.start();
    QSocketNotifier endSignal(signalDescriptor, QSocketNotifier::Read);
    QObject::connect(&endSignal, &QSocketNotifier::activated, [] { QCoreApplication::exit(0); });
    QCoreApplication::exec();
    return std::nullopt;
}

} // namespace

int main(int argc, char *argv[])
{
    ignoreWriteSignals();
    const int signalDescriptor = catchEndSignals();
    const QCoreApplication application(argc, argv);
    WebOptionReader reader;
    if (const auto answer = reader.read(QCoreApplication::arguments()))
        return reader.line().write(*answer);
    if (reader.isSetPassword())
        return reader.line().write(setPassword(reader.options()));
    const auto problem = serve(reader.options(), signalDescriptor);
    return problem ? reader.line().write(*problem) : int(ExitCode::Done);
}
