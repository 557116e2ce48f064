// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>

namespace web {

// Passwords are stored as argon2id (RFC 9106) makes them, through libsodium.

/** Empty when there is too little memory. Takes about a tenth of a second and 64 MiB. */
QByteArray hashPassword(const QByteArray &password);

/** Takes as long as hashPassword(). */
bool isPassword(const QByteArray &hash, const QByteArray &password);

/** 256 random bits as text. */
QByteArray randomSecret();

struct PasswordFile
{
    QByteArray hash;
    /** Why it cannot be used; empty when it can. */
    QString error;
};

/** A file that others than its user may read is not used. */
PasswordFile readPasswordFile(const QString &path);

/** Writes the file with the mode 0600; returns what is wrong, or nothing. */
QString writePasswordFile(const QString &path, const QByteArray &hash);

} // namespace web
