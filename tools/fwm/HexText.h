// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QString>
#include <QVector>

/** The two text forms in which linkers write firmware images. */
enum class HexForm { None, IntelHex, SRecord };

/** What the first bytes of a file look like; the rest may still be invalid. */
HexForm hexFormOf(const QByteArray &beginning);

/** "Intel HEX", "S-record"; empty for HexForm::None. */
QString hexFormText(HexForm form);
/** The same for scripts: "intel-hex", "s-record". */
QString hexFormId(HexForm form);

/** The bytes that such a text places at one address, up to the next gap. */
struct HexSegment
{
    quint32 address = 0;
    QByteArray bytes;

    qint64 end() const { return qint64(address) + bytes.size(); }
};

struct HexText
{
    /** Empty for a valid text. */
    QString error;
    /** Of the error, from 1. */
    int line = 0;
    /** In ascending order, none of which touches the next one. */
    QVector<HexSegment> segments;

    quint32 baseAddress() const;
    /** From the base address to the end of the last segment, in bytes. */
    qint64 imageSize() const;
    /** All segments, with `fill` between them. */
    QByteArray image(char fill) const;
};

/**
 * Reads an Intel HEX file (record types 0 to 5) or a Motorola S-record file (S0 to S9). It is
 * strict: every checksum and count must be right, no address may be given twice, there must be an
 * end record (or, in an S-record file, a count of the records, as some programs write no end), and
 * nothing but empty lines may follow the end. A start address is ignored.
 */
HexText parseHexText(const QByteArray &text);
