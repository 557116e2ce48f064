// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstallJob.h"

#include "netupgrade/NetInstaller.h"

#include <QTimer>

#include <system_error>

using package::NetImage;
using platform::Platform;

namespace netupgrade {

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
        // Without a thread, late answers on the console are better than no install. It runs from
        // the event loop, not within the request with the last block, whose replies are collected
        // until that request ends.
        QTimer::singleShot(0, this, &NetInstallJob::run);
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
    QString lastLine;
    report.lastLine = [&lastLine](const QString &line) { lastLine = line; };
    NetInstaller installer(m_platform, report);
    const bool succeeded = installer.install(NetInstallVariant::Blocks, m_header);
    emit done(succeeded, lastLine);
}

} // namespace netupgrade
