// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QList>
#include <QRegularExpression>
#include <QStringList>

/**
 * A video format as edid-decode lists it, "VIC  97:  3840x2160   60.000000 Hz  16:9 ...", and its
 * form in the report, derived by rule and not from the tables under test.
 */
struct ListedFormat
{
    int vic = 0;
    int width = 0;
    QString lines;
    bool interlaced = false;
    double rate = 0;
    QString aspect;
    bool native = false;

    static QList<ListedFormat> allIn(const QString &text)
    {
        static const QRegularExpression pattern(
            R"(VIC +(\d+): +(\d+)x(\d+)(i?) +([\d.]+) Hz +(\d+:\d+) .*MHz( \(native\))?)");
        QList<ListedFormat> formats;
        for (auto matches = pattern.globalMatch(text); matches.hasNext();) {
            const auto match = matches.next();
            formats.append({match.captured(1).toInt(), match.captured(2).toInt(), match.captured(3),
                            !match.captured(4).isEmpty(), match.captured(5).toDouble(),
                            match.captured(6), !match.captured(7).isEmpty()});
        }
        return formats;
    }

    /** 720 pixels sent twice each; the other formats of 1440 pixels have 480 or 576 lines. */
    bool isPixelDoubled() const
    {
        return width == 1440 && (interlaced || lines == "240" || lines == "288");
    }

    QString name() const
    {
        const QString pixels =
            isPixelDoubled() ? QStringLiteral("720(1440)") : QString::number(width);
        return pixels + 'x' + lines + (interlaced ? 'i' : 'p') + exceptionalLines() + '@' +
               QString::number(int(rate + 0.5)) + "Hz  " + aspect;
    }

    /** Format 39 alone has its total of lines in its name. */
    QString exceptionalLines() const { return vic == 39 ? "(1250 total)" : ""; }
};
