// SPDX-License-Identifier: Apache-2.0
#include "upgrade-console/PutCommand.h"

#include "bytes/FileSource.h"
#include "client/Messages.h"
#include "client/PackageListing.h"
#include "common/Output.h"
#include "common/PackageRows.h"
#include "common/Printable.h"
#include "fwm/Findings.h"
#include "fwm/Words.h"
#include "platform/Platform.h"
#include "protocol/ConsoleTexts.h"
#include "protocol/Progress.h"
#include "signing/TrustedKeys.h"
#include "upgrade-console/Bars.h"
#include "upgrade-console/Terminal.h"

#include <algorithm>
#include <unistd.h>

namespace consoletext = protocol::consoletext;
using bytes::FileSource;
using bytes::readSmallFile;
using bytes::SmallFile;
using client::AgentReply;
using client::bytesOf;
using client::LineEvent;
using client::LineMeaning;
using client::listProblem;
using client::meaningOf;
using client::packageJson;
using package::PackageDescription;
using package::parseDescription;
using platform::Paths;
using protocol::wholeProgress;
using signing::signatureFileLimit;
using signing::signaturePath;

namespace {

using Kind = AgentReply::Kind;

SshAccess accessOf(const Options &options)
{
    SshAccess access;
    access.program = options.sftp;
    access.host = options.host;
    access.user = options.sshUser;
    access.port = options.sshPort;
    access.options = options.sshOptions;
    access.timeOut = options.timeOut;
    return access;
}

QString nameOf(const PackageDescription &package)
{
    return printable(package.model) + ' ' + printable(package.version);
}

} // namespace

PutCommand::PutCommand(const Options &options)
    : Command(options), m_upload(accessOf(options)), m_display(options.showsProgress())
{
    connect(&m_upload, &PackageUpload::copied, this,
            [this](qint64 bytes) { showProgress(false, bytes); });
    connect(&m_upload, &PackageUpload::readBack, this,
            [this](qint64 bytes) { showProgress(true, bytes); });
    connect(&m_upload, &PackageUpload::done, this, &PutCommand::onCopied);
    connect(&m_upload, &PackageUpload::failed, this, &PutCommand::onCopyFailed);
}

/** The checks of 'fwm verify': a package with an error is never sent to a module. */
bool PutCommand::prepare(CommandOutcome &result)
{
    m_package.path = options().file;
    FileSource source(m_package.path);
    if (!source.open()) {
        result = CommandOutcome::failed(ProblemId::FileUnreadable,
                                        m_package.path + ": " + source.errorString());
        return false;
    }
    const PackageContents contents = readContents(source);
    for (const Finding &finding : findingsIn(contents)) {
        const QString where = m_package.path + ':' + offsetText(finding.offset);
        if (finding.severity == Finding::Severity::Error) {
            result = CommandOutcome::failed(
                ProblemId::PackageUnsound, where + ": " + finding.text + " [" + finding.name + ']');
            return false;
        }
        m_warnings.append({finding.name, finding.text, where});
    }
    if (!readSignature(result))
        return false;
    m_package.size = contents.size;
    m_package.sha256 = sha256OfFile(m_package.path);
    m_description = contents.description;
    return true;
}

/** Who made it is for the module to check: it has the keys. */
bool PutCommand::readSignature(CommandOutcome &result)
{
    const QString path = signaturePath(m_package.path);
    const SmallFile file = readSmallFile(path, signatureFileLimit);
    if (file.state == SmallFile::State::Unusable) {
        result = CommandOutcome::failed(ProblemId::FileUnreadable, path);
        return false;
    }
    if (file.state == SmallFile::State::Complete)
        m_package.signature = file.bytes;
    return true;
}

void PutCommand::note(const QString &line)
{
    if (options().form != OutputForm::JsonLines)
        writeAll(STDERR_FILENO, printable(line).toUtf8() + '\n');
}

void PutCommand::onConnected()
{
    if (m_stage == Stage::Copying) {
        list(Stage::ListingAgain);
        return;
    }
    // A request without rows starts nothing, but is refused while a run is active.
    agent().request(bytesOf(consoletext::upgrade));
    request(consoletext::heartbeat);
    awaitReply();
}

void PutCommand::list(Stage stage)
{
    m_stage = stage;
    m_listProblem = ProblemId::None;
    request(consoletext::getFirmwareList);
    awaitReply();
}

void PutCommand::onReply(const AgentReply &reply)
{
    const LineMeaning meaning = reply.kind == Kind::Log ? meaningOf(reply.text) : LineMeaning();
    if (m_stage == Stage::Asking) {
        if (meaning.event == LineEvent::Busy)
            fail(ProblemId::Busy);
        else if (reply.kind == Kind::Heartbeat)
            list(Stage::Listing);
    } else if (meaning.cause != ProblemId::None) {
        m_listProblem = meaning.cause;
    } else if (reply.kind == Kind::FirmwareList && m_stage == Stage::Listing) {
        onListed(reply.text);
    } else if (reply.kind == Kind::FirmwareList && m_stage == Stage::ListingAgain) {
        compare(reply.text);
    }
}

void PutCommand::onListed(const QString &text)
{
    const ProblemId problem = listProblem(text, m_listProblem);
    if (problem != ProblemId::None) {
        note(QStringLiteral("The module has no package to upgrade from: %1.")
                 .arg(QLatin1String(problemRow(problem).text)));
        copy();
        return;
    }
    const PackageDescription before = parseDescription(text.toUtf8());
    m_before = packageJson(before);
    note(QStringLiteral("The module has %1.").arg(nameOf(before)));
    if (before.model != m_description.model)
        note(QStringLiteral("The model differs: this package is for %1.")
                 .arg(printable(m_description.model)));
    else if (before.object == m_description.object)
        note(QStringLiteral("This package has the same description; it is copied anyway."));
    copy();
}

void PutCommand::copy()
{
    m_stage = Stage::Copying;
    stopAwaiting();
    agent().close();
    note(QStringLiteral("Copying %1, %2 bytes%3, to %4.")
             .arg(nameOf(m_description))
             .arg(m_package.size)
             .arg(m_package.signature ? QStringLiteral(" and a signature") : QString(),
                  options().host));
    writeEvent({{"event", "copy"}, {"bytes", m_package.size}, {"name", m_upload.copyName()}});
    m_copyBegun = now();
    m_upload.start(m_package);
}

void PutCommand::showProgress(bool isReadBack, qint64 bytes)
{
    const double share = double(bytes) / double(std::max<qint64>(m_package.size, 1));
    const double percent = std::clamp(share, 0.0, 1.0) * wholeProgress;
    const QString state = isReadBack ? QStringLiteral("reading back") : QStringLiteral("copying");
    m_display.draw([&](const Terminal &terminal) {
        const QString line = bars::head(QStringLiteral("package"), state) + bars::separator +
                             bars::bar(percent, terminal.columns) + bars::percent(percent);
        return QStringList{line.left(terminal.columns - 1)};
    });
    if (int(percent) == m_percent && isReadBack == m_isReadingBack)
        return;
    const bool isTenth = int(percent) / 10 != m_percent / 10 || isReadBack != m_isReadingBack;
    m_percent = int(percent);
    m_isReadingBack = isReadBack;
    if (isTenth && options().form != OutputForm::JsonLines)
        m_display.print({QStringLiteral("%1: %2 %").arg(state).arg(m_percent)});
    writeEvent({{"event", "progress"},
                {"phase", isReadBack ? "reading-back" : "copying"},
                {"percent", m_percent}});
}

void PutCommand::onCopied()
{
    m_display.close();
    m_copyTook = now() - m_copyBegun;
    reconnect();
}

void PutCommand::onCopyFailed(ProblemId cause, const QString &detail)
{
    m_display.close();
    fail(cause, detail);
}

/** The agent checks the package before it lists it. */
void PutCommand::compare(const QString &text)
{
    const ProblemId problem = listProblem(text, m_listProblem);
    if (problem != ProblemId::None) {
        fail(problem, text.startsWith('{') ? QString() : text);
        return;
    }
    const PackageDescription listed = parseDescription(text.toUtf8());
    if (listed.object != m_description.object)
        fail(ProblemId::CopyNotListed, nameOf(listed));
    else
        succeed();
}

void PutCommand::succeed()
{
    CommandOutcome result;
    const double seconds = std::chrono::duration<double>(m_copyTook).count();
    QJsonObject package = packageJson(m_description);
    package["chips"] = rowsOf(m_description, Numbering::FromZero).size();
    result.json = {{"host", options().host},  {"file", m_package.path},
                   {"bytes", m_package.size}, {"sha256", QString(m_package.sha256)},
                   {"package", package},      {"package_before", m_before},
                   {"copy_seconds", seconds}, {"signed", m_package.signature.has_value()}};
    result.text =
        textOf({QStringLiteral("%1 has %2 now: %3 bytes, copied, read back and compared in %4 s.")
                    .arg(options().host, nameOf(m_description))
                    .arg(m_package.size)
                    .arg(seconds, 0, 'f', 1),
                QStringLiteral("SHA-256 ") + QString(m_package.sha256)});
    result.warnings = m_warnings;
    finish(result);
}

void PutCommand::interrupt()
{
    m_display.close();
    CommandOutcome result = CommandOutcome::failed(ProblemId::Interrupted, {});
    if (m_stage == Stage::Copying)
        result.problem->advice =
            QStringList{
                QStringLiteral("The module may still have a part of the copy, as %1; the next copy "
                               "removes it.")
                    .arg(m_upload.copyName()),
                QStringLiteral("%1 is the package from before, or the whole new one.")
                    .arg(Paths().package)}
                .join(QLatin1Char('\n'));
    finish(result);
}
