// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstallJob.h"

#include "netupgrade/NetInstaller.h"

#include <system_error>

NetInstallJob::NetInstallJob(const Platform &platform, const NetImage &header, QObject *parent)
    : QObject(parent), m_platform(platform), m_header(header)
{
}

NetInstallJob::~NetInstallJob()
{
    wait();
}

void NetInstallJob::start()
{
    try {
        m_thread = std::thread([this] { run(); });
    } catch (const std::system_error &) {
        // No thread is to be had: better late answers on the console than no install.
        run();
    }
}

void NetInstallJob::wait()
{
    if (m_thread.joinable())
        m_thread.join();
}

void NetInstallJob::run()
{
    NetReport report;
    report.text = [this](const QString &line) { emit message({line}); };
    report.keyed = [this](const QStringList &list) { emit message(list); };
    report.progress = [this](double percent) { emit progress(percent); };
    QString lastWords;
    report.lastWords = [&lastWords](const QString &line) { lastWords = line; };
    NetInstaller installer(m_platform, report);
    const bool succeeded = installer.install(NetInstallVariant::Blocks, m_header);
    emit done(succeeded, lastWords);
}
