// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/ParseEDID.h"

#include <QByteArray>
#include <QDir>
#include <QFile>
#include <QMetaType>
#include <QStringList>

/** The real dumps beside the tests, by file name without ".bin". */
inline QStringList realDumpNames()
{
    QStringList names;
    for (const QString &file : QDir(QStringLiteral(TEST_DATA_DIR)).entryList({"*.bin"}))
        names.append(file.chopped(4));
    return names;
}

inline QString dataPath(const QString &file)
{
    return QStringLiteral(TEST_DATA_DIR "/") + file;
}

inline QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

inline QByteArray realDump(const QString &name)
{
    return readFile(dataPath(name + ".bin"));
}

/** All outputs of one parse. */
struct Outcome
{
    /** Of all signals. */
    QStringList items;
    QStringList lines;
    QString status;
    QString dump;
    QByteArray lastLine;
};

inline Outcome outcomeOf(const QByteArray &dump)
{
    Q_ASSERT(dump.size() == 256);
    Outcome outcome;
    ParseEDID edid;
    edid.setLineSink([&outcome](const QString &line) { outcome.lines.append(line); });
    QObject::connect(&edid, &ParseEDID::signalEDID,
                     [&outcome](const QList<QString> &result) { outcome.items += result; });
    edid.parse(reinterpret_cast<const unsigned char *>(dump.constData()));
    outcome.status = edid.status();
    outcome.dump = edid.dump();
    outcome.lastLine = edid.videoInfo();
    return outcome;
}

/** Each line without its "\r\n", or with a mark where it has none. */
inline QStringList withoutEnds(QStringList lines)
{
    for (QString &line : lines)
        line = line.endsWith("\r\n") ? line.chopped(2) : line + "<no line end>";
    return lines;
}

/**
 * An artificial dump in which a test sets only the values that it needs. bytes() sets the
 * checksums, unless the test breaks them there.
 */
class DumpBuilder
{
public:
    DumpBuilder() { set(0, "00ffffffffffff0010ac"); }

    DumpBuilder &set(int offset, const QByteArray &hex)
    {
        const QByteArray bytes = QByteArray::fromHex(hex);
        m_bytes.replace(offset, bytes.size(), bytes);
        return *this;
    }

    /** Declares a CTA-861 extension whose timings start where the given data blocks end. */
    DumpBuilder &extension(const QByteArray &blocksHex = {}, const QByteArray &supportHex = "00")
    {
        const int end = 4 + QByteArray::fromHex(blocksHex).size();
        set(126, "01");
        set(128, "0203" + QByteArray(1, char(end)).toHex() + supportHex);
        return set(132, blocksHex);
    }

    /** The start of the extension's timings, regardless of the data blocks. */
    DumpBuilder &timingsStart(int d) { return set(130, QByteArray(1, char(d)).toHex()); }

    QByteArray bytes() const
    {
        QByteArray summed = m_bytes;
        for (const int block : {0, 128}) {
            unsigned sum = 0;
            for (int i = 0; i < 127; ++i)
                sum += quint8(summed.at(block + i));
            summed[block + 127] = char(-sum);
        }
        return summed;
    }

private:
    QByteArray m_bytes = QByteArray(256, '\0');
};

Q_DECLARE_METATYPE(DumpBuilder)

/** 1920x1080, 148.5 MHz, 2200 x 1125 in all. */
inline QByteArray fullHdTiming()
{
    return "023a801871382d40582c450000000000001e";
}

/** 1920x1080 interlaced, 74.25 MHz, 540 lines in a field. */
inline QByteArray interlacedTiming()
{
    return "011d8018711c1620582c250000000000009e";
}
