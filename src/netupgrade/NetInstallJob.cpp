// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetInstallJob.h"

#include "netupgrade/NetInstaller.h"

#include <QTimer>

#include <system_error>

using package::NetImage;

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
        // No thread is to be had: better late answers on the console than no install. It runs in a
        // turn of the event loop that is its own, and not in that of the request that brought the
        // last block, whose replies are collected until it is done.
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
    QString lastWords;
    report.lastWords = [&lastWords](const QString &line) { lastWords = line; };
    NetInstaller installer(m_platform, report);
    const bool succeeded = installer.install(NetInstallVariant::Blocks, m_header);
    emit done(succeeded, lastWords);
}

} // namespace netupgrade
