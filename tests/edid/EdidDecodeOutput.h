// SPDX-License-Identifier: Apache-2.0
#pragma once

#include "edid/VideoFormatStyle.h"

#include <QList>
#include <QString>
#include <QStringList>

/** The output of Debian's edid-decode for a dump, as far as our report contains it. */
struct EdidDecodeOutput
{
    struct Audio
    {
        QString format;
        QString channels;
        /** kHz and bits, lowest first. */
        QStringList rates;
        QStringList sizes;
    };

    struct Hdmi
    {
        QStringList deepColor;
        bool deepColorY444 = false;
        bool video3d = false;
        QList<int> vics;
    };

    struct Y420
    {
        bool isMap = false;
        QList<ListedFormat> formats;
    };

    bool hasExtension = false;
    /** Of the base block and the extension. */
    QList<bool> sumsValid;
    QString manufacturer;
    QString productCode;
    QString productName;
    bool digital = false;
    QString bitsPerColor;
    /** Minimum and maximum Hz, minimum and maximum kHz, maximum MHz. */
    QStringList rangeLimits;
    QStringList baseTimings;

    bool hasCta = false;
    QStringList ctaTimings;
    QList<QList<ListedFormat>> videoBlocks;
    QList<QList<Audio>> audioBlocks;
    bool basicAudio = false;
    bool ycbcr444 = false;
    bool ycbcr422 = false;
    bool hasHdmi = false;
    Hdmi hdmi;
    QList<Y420> y420;
    bool hdr = false;
    /** Descriptors that have the native bit without being native. */
    int extraNative = 0;

    /** Runs edid-decode on a file. */
    static EdidDecodeOutput ofFile(const QString &path);

    /** The report for these facts, made without the code under test. */
    QString status() const;
    QString identification() const;
    QString timings() const;
    QString extension() const;
    QStringList lines() const;

private:
    void readBaseLine(const QString &line);
    void readCtaLine(const QString &section, const QString &line);
    void readFlag(const QString &line);
    void readAudio(const QString &line);
    void readHdmi(const QString &line);
    QStringList baseLines() const;
    QStringList shortVideoLines() const;
    QStringList audioLines() const;
    QStringList hdmiLines() const;
    QStringList y420Lines() const;
};
