// SPDX-License-Identifier: Apache-2.0
#include "device-simulator/ControlServer.h"

#include <QFile>
#include <QFileInfo>
#include <QLocalSocket>

#include <sys/stat.h>

namespace {

constexpr int longestLine = 64 * 1024;

void answerLines(QLocalSocket &client, ControlCommands &commands)
{
    while (client.canReadLine()) {
        const QString line = QString::fromUtf8(client.readLine(longestLine));
        client.write(commands.execute(line).toUtf8() + '\n');
    }
    client.flush();
    if (client.bytesAvailable() >= longestLine)
        client.abort();
}

} // namespace

ControlServer::ControlServer(ControlCommands &commands, QObject *parent)
    : QObject(parent), m_commands(commands)
{
    m_server.setSocketOptions(QLocalServer::UserAccessOption);
    connect(&m_server, &QLocalServer::newConnection, this, &ControlServer::onNewConnection);
}

bool ControlServer::listen(const QString &path, QString *error)
{
    // Only the socket of an earlier run may be replaced. Qt would search a relative name in the
    // folder for temporary files.
    struct stat found
    {
    };
    if (::lstat(QFile::encodeName(path).constData(), &found) == 0 && !S_ISSOCK(found.st_mode)) {
        *error = QStringLiteral("%1: exists and is not a socket").arg(path);
        return false;
    }
    const QString name = QFileInfo(path).absoluteFilePath();
    QLocalServer::removeServer(name);
    if (m_server.listen(name))
        return true;
    *error = QStringLiteral("%1: %2").arg(path, m_server.errorString());
    return false;
}

void ControlServer::onNewConnection()
{
    while (QLocalSocket *client = m_server.nextPendingConnection()) {
        connect(client, &QLocalSocket::disconnected, client, &QObject::deleteLater);
        connect(client, &QLocalSocket::readyRead, this,
                [this, client] { answerLines(*client, m_commands); });
    }
}
