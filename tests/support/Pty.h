// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

/** The master side of a pseudo-terminal; a serial link opens the other side. */
class Pty
{
public:
    Pty();
    Pty(const Pty &) = delete;
    Pty &operator=(const Pty &) = delete;
    ~Pty() { hangUp(); }

    QString port() const;
    int master() const { return m_master; }
    /** The speed that the other side has set, in baud as <termios.h> codes it. */
    unsigned speed() const;

    void write(const QByteArray &bytes);
    /** All received bytes; waits until there are `count` bytes or no more arrive. */
    QByteArray read(int count);
    QByteArray readNow();

    void hangUp();

private:
    int m_master;
};
