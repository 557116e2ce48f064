// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QRegularExpression>
#include <QString>

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

    static QRegularExpression pattern()
    {
        return QRegularExpression(
            R"(VIC +(\d+): +(\d+)x(\d+)(i?) +([\d.]+) Hz +(\d+:\d+) .*MHz( \(native\))?)");
    }

    static ListedFormat fromMatch(const QRegularExpressionMatch &match)
    {
        ListedFormat format;
        format.vic = match.captured(1).toInt();
        format.width = match.captured(2).toInt();
        format.lines = match.captured(3);
        format.interlaced = !match.captured(4).isEmpty();
        format.rate = match.captured(5).toDouble();
        format.aspect = match.captured(6);
        format.native = !match.captured(7).isEmpty();
        return format;
    }

    /** 720 pixels sent twice each; the formats of 1440 pixels proper are progressive, 480 or 576.
     */
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
