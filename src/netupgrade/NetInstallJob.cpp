// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstallJob.h"

#include "netupgrade/NetInstaller.h"

using package::NetImage;
using platform::Platform;

namespace netupgrade {

NetInstallJob::NetInstallJob(const Platform &platform, const NetImage &header, QObject *parent)
    : QObject(parent), m_platform(platform), m_header(header)
{
}

void NetInstallJob::run()
{
    NetReport report;
    report.text = [this](const QString &line) { emit message({line}); };
    report.keyed = [this](const QStringList &list) { emit message(list); };
    report.progress = [this](double percent) { emit progress(percent); };
    QString lastLine;
    report.lastLine = [&lastLine](const QString &line) { lastLine = line; };
    NetInstaller installer(m_platform, report);
    const bool succeeded = installer.install(NetInstallVariant::Blocks, m_header);
    emit done(succeeded, lastLine);
}

} // namespace netupgrade
