// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "netupgrade/NetInstallPlan.h"

#include <QByteArray>
#include <QString>

#include <optional>

namespace netupgrade {

/**
 * An install that has begun and not ended, as it is recorded in /data. With it the agent completes
 * the install after a power cut.
 */
struct NetMarker
{
    enum class State {
        /** Files of the archive may be missing or empty. */
        Unpacking,
        /** All files of the archive are on the disk. */
        Unpacked,
    };

    State state = State::Unpacking;
    NetInstallVariant variant = NetInstallVariant::Package;
    /** MD5 of the archive in lowercase hexadecimal, from the image's header. It detects that the
     *  archive is not the one of this install; it does not protect against a forged archive. */
    QByteArray digest;
    /** 4 bytes, from the image's header. */
    QByteArray version;
    /** The module took signed packages only when the install began. */
    bool isSigned = false;
    /** How often the install was resumed. */
    int attempts = 0;
};

/** Longer files are not markers, in bytes. */
constexpr qint64 longestNetMarker = 256;
/** An install is resumed this often. */
constexpr int mostResumeAttempts = 2;

QByteArray netMarkerText(const NetMarker &marker);
/** None for anything but a complete text of netMarkerText(). */
std::optional<NetMarker> parseNetMarker(const QByteArray &text);

/** The words of the marker's text, for the log, too. */
QString nameOf(NetInstallVariant variant);
QString nameOf(NetMarker::State state);

} // namespace netupgrade
