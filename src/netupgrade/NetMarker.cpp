// SPDX-License-Identifier: Apache-2.0
#include "netupgrade/NetMarker.h"

#include "package/NetImage.h"

#include <QList>

namespace net = package::net;

namespace netupgrade {

namespace {

using State = NetMarker::State;

const char *const firstLine = "upgrade-agent install 1";
constexpr int lineCount = 8;

/** The value of a line "key value"; empty for another key. */
QByteArray valueOf(const QByteArray &line, const char *key)
{
    const QByteArray start = QByteArray(key) + ' ';
    return line.startsWith(start) ? line.mid(start.size()) : QByteArray();
}

NetInstallVariant variantOf(const QByteArray &name)
{
    for (const auto variant : {NetInstallVariant::Quiet, NetInstallVariant::Blocks}) {
        if (nameOf(variant).toLatin1() == name)
            return variant;
    }
    return NetInstallVariant::Package;
}

bool isDigest(const QByteArray &digest)
{
    return digest.size() == net::md5Size && QByteArray::fromHex(digest).toHex() == digest;
}

} // namespace

QString nameOf(NetInstallVariant variant)
{
    switch (variant) {
    case NetInstallVariant::Package:
        return QStringLiteral("package");
    case NetInstallVariant::Quiet:
        return QStringLiteral("device");
    case NetInstallVariant::Blocks:
        break;
    }
    return QStringLiteral("blocks");
}

QString nameOf(State state)
{
    return state == State::Unpacking ? QStringLiteral("unpacking") : QStringLiteral("unpacked");
}

QByteArray netMarkerText(const NetMarker &marker)
{
    return QByteArray(firstLine) + "\narchive " + marker.digest +
           // Any bytes of the header, and so in hexadecimal.
           "\nversion " + marker.version.toHex() + "\nkind " + nameOf(marker.variant).toLatin1() +
           "\nsigned " + (marker.isSigned ? "yes" : "no") + "\nstate " +
           nameOf(marker.state).toLatin1() + "\nattempts " + QByteArray::number(marker.attempts) +
           '\n';
}

std::optional<NetMarker> parseNetMarker(const QByteArray &text)
{
    const QList<QByteArray> lines = text.split('\n');
    if (text.size() > longestNetMarker || lines.size() != lineCount)
        return {};
    NetMarker marker;
    marker.digest = valueOf(lines.at(1), "archive");
    marker.version = QByteArray::fromHex(valueOf(lines.at(2), "version"));
    marker.variant = variantOf(valueOf(lines.at(3), "kind"));
    marker.isSigned = valueOf(lines.at(4), "signed") == "yes";
    marker.state = valueOf(lines.at(5), "state") == "unpacked" ? State::Unpacked : State::Unpacking;
    marker.attempts = valueOf(lines.at(6), "attempts").toInt();
    if (!isDigest(marker.digest) || marker.version.size() != net::versionSize ||
        marker.attempts < 0)
        return {};
    // Whatever was not understood above differs here.
    return netMarkerText(marker) == text ? std::optional(marker) : std::nullopt;
}

} // namespace netupgrade
