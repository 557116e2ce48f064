// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "load/Percentiles.h"

#include <QByteArray>

#include <optional>
#include <string>

/** The device's end of a new pseudo-terminal, with a symbolic link to the host's end. */
class Pty
{
public:
    /** Replaces an existing link, but no other file. Throws std::system_error. */
    explicit Pty(std::string linkPath);
    ~Pty();
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;

    const std::string &path() const { return m_linkPath; }

    /** Waits for bytes. None after a signal. */
    std::optional<QByteArray> read();
    void write(const QByteArray &bytes);

private:
    std::optional<QByteArray> tryRead();

    int m_fd = -1;
    std::string m_linkPath;
};
