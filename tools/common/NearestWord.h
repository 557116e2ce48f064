// SPDX-License-Identifier: Apache-2.0
#pragma once

#include <QString>
#include <QStringList>

/** The number of insertions, deletions, substitutions and swaps of neighbours between two words
 *  (the "optimal string alignment" distance). */
int editDistance(const QString &a, const QString &b);

/** The candidate nearest to a mistyped word; empty when none is near. */
QString nearestWord(const QString &word, const QStringList &candidates);
