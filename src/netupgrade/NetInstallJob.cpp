// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstallJob.h"

#include "netupgrade/NetInstaller.h"

NetInstallJob::NetInstallJob(const Platform &platform, const NetImage &header, QObject *parent)
    : QThread(parent), m_platform(platform), m_header(header)
{
}

void NetInstallJob::run()
{
    NetReport report;
    report.text = [this](const QString &line) { emit message({line}); };
    report.keyed = [this](const QStringList &list) { emit message(list); };
    report.progress = [this](double percent) { emit progress(percent); };
    emit done(NetInstaller(m_platform, report).install(NetInstallVariant::Blocks, m_header));
}
