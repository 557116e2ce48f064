// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/** Insertions, deletions, substitutions and swaps of neighbours that make one word the other (the
 *  "optimal string alignment" distance). */
int editDistance(const QString &a, const QString &b);

/** The candidate that a word was most likely meant to be; empty when none is near. */
QString nearestWord(const QString &word, const QStringList &candidates);
