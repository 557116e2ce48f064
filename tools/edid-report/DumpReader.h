// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QIODevice>
#include <QString>

/** A base block and its first extension block, or why there is none. */
struct DumpReading
{
    /** 256 bytes; empty when `error` is set. */
    QByteArray bytes;
    QString error;
    /** The dump ends before the extension block that it declares; zeros stand in for it. */
    bool extensionMissing = false;
};

/**
 * Takes the dump out of a file's content: binary, or hexadecimal text with blanks, line ends or
 * commas between its bytes or none, and "0x" before them or not. Of more than 256 bytes the first
 * 256 count.
 */
DumpReading readDump(const QByteArray &content);

/** The same from an open file or pipe, of which no more is read than a dump can have. */
DumpReading readDump(QIODevice &input);
