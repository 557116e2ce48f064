// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QByteArray>
#include <QHash>
#include <QJsonObject>
#include <QString>
#include <QStringList>

/** A JSON text, and where in it each value stands, for messages about it. */
struct JsonPlaces
{
    QByteArray text;
    /** What is wrong with the text; empty for a JSON object. */
    QString error;
    /** Of the byte at which the error was found. */
    int errorOffset = 0;
    QJsonObject object;
    /** By path, such as "chips[0].name"; the empty path is that of the whole text. */
    QHash<QString, int> offsets;
    /** The paths of the keys that an object has twice. */
    QStringList repeated;

    /** "3:18": the line and the column of a byte, in characters from 1. */
    QString lineAndColumn(int offset) const;
    /** Of a value; of the object that should have it for a value that is missing. */
    int offsetOf(const QString &path) const;
    QString lineAndColumn(const QString &path) const { return lineAndColumn(offsetOf(path)); }
};

/** Whether a text may have C++ comments, which JSON itself does not have. */
enum class JsonComments { Refused, Allowed };

/**
 * Reads a JSON text in UTF-8 with the parser of nlohmann-json (a header library of Debian): Qt's
 * own reports neither where a value stands nor what it expected in the place of an error.
 */
JsonPlaces readJsonPlaces(const QByteArray &text, JsonComments comments);
